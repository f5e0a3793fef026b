#pragma once

/**
 * @file
 * The control file: the numbers that Python and the libraries change while the world runs. It is
 * mapped by everybody and outlives each process.
 */

#include "board/files.hpp"

#include <atomic>
#include <cstdint>
#include <string>

namespace sim
{

/** Thread-safe: every number is changed in one step. */
class Control
{
  public:
    /** Faults that one board can have in its life. */
    static constexpr unsigned int counters = 65536;

    explicit Control(const std::string& directory);

    /** Grows with every new description, so that nobody has to look at the file itself. */
    [[nodiscard]] std::uint64_t generation() const;

    /** The power-on hold line. */
    void setHoldLine(std::uint8_t value);

    /** Counts one matching event. @return how many there were before it */
    std::uint64_t countEvent(unsigned int fault);

  private:
    [[nodiscard]] std::atomic_ref<std::uint64_t> number(std::size_t index) const;

    MappedFile file_;
};

} // namespace sim
