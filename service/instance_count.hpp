#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

/**
 * How many instances of a kind the platform description named when it was last asked.
 *
 * All copies are one number, which lives as long as the last of them: an update worker that closes
 * a port tells the main thread and the registration thread what it read. One that was moved from
 * may only be destroyed.
 */
class InstanceCount
{
  public:
    /** At most 255; 0 until the description has been read. Any thread. */
    std::uint32_t get() const noexcept { return *count_; }

    /** Tells all copies. Any thread. */
    void set(std::uint32_t count) noexcept { *count_ = count; }

  private:
    std::shared_ptr<std::atomic<std::uint32_t>> count_ =
        std::make_shared<std::atomic<std::uint32_t>>(0);
};
