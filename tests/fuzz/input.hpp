#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz
{

/**
 * What a target was given, read from front to back as lines of text.
 *
 * Nothing is malformed: whatever is missing or no number is empty or 0. So every input means
 * something, and a person can read and write one.
 */
class Input
{
  public:
    Input(const std::uint8_t* data, std::size_t size);

    /** @param text must outlive the object */
    explicit Input(std::string_view text) : rest_(text) {}

    bool empty() const { return rest_.empty(); }

    /** The next byte; NUL at the end. */
    char byte();

    /** Up to the end of the line, which is not part of it. */
    std::string line();

    /** A line as a decimal number; one that is too large is the largest. */
    std::int64_t number();

    /** Up to a line of two hyphens, which is not part of it. */
    Input section();

    /** The next bytes, at most as many as there are. */
    std::string take(std::size_t size);

    /** All that is left. */
    std::string rest() { return take(rest_.size()); }

  private:
    std::string_view rest_;
};

} // namespace fuzz
