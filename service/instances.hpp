#pragma once

/** @file How the instances of a kind are counted. */

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>

/** Largest number of instances of a kind: they are counted in eight bits. */
inline constexpr std::uint32_t maxInstances = 255;

/**
 * Place of an instance in its kind's lists, from 0 on, as I2C accesses count.
 *
 * FQDDs, object paths and display names count from 1: that is its number.
 */
class InstanceIndex
{
  public:
    /** @param value where it is too large, the index lies behind every instance */
    constexpr explicit InstanceIndex(std::uint32_t value) noexcept :
        value_(static_cast<std::uint8_t>(std::min(value, maxInstances)))
    {
    }

    constexpr std::uint8_t value() const noexcept { return value_; }
    constexpr int number() const noexcept { return value_ + 1; }

    bool operator==(const InstanceIndex&) const = default;

  private:
    std::uint8_t value_;
};

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
    /** At most maxInstances; 0 until the description has been read. Any thread. */
    std::uint32_t get() const noexcept { return *count_; }

    /** Tells all copies. Any thread. */
    void set(std::uint32_t count) noexcept { *count_ = count; }

  private:
    std::shared_ptr<std::atomic<std::uint32_t>> count_ =
        std::make_shared<std::atomic<std::uint32_t>>(0);
};
