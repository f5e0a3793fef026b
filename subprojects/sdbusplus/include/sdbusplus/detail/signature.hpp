#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

/** @file D-Bus type signatures as values that the compiler can join. */

namespace sdbusplus::detail
{

/** A text of fixed length, terminated as C wants it. */
template <std::size_t Length>
struct signature_text
{
    std::array<char, Length + 1> characters{};

    constexpr signature_text() = default;

    // A literal turns into a signature without a word, so that signatures can be written as sums.
    // NOLINTNEXTLINE(google-explicit-constructor, *-avoid-c-arrays)
    constexpr signature_text(const char (&literal)[Length + 1])
    {
        std::copy_n(literal, Length, characters.begin());
    }

    constexpr const char* c_str() const { return characters.data(); }
};

template <std::size_t Size>
signature_text(const char (&)[Size]) -> signature_text<Size - 1>;

template <std::size_t Left, std::size_t Right>
constexpr signature_text<Left + Right> operator+(const signature_text<Left>& left,
                                                 const signature_text<Right>& right)
{
    signature_text<Left + Right> joined;
    std::copy_n(left.characters.begin(), Left, joined.characters.begin());
    std::copy_n(right.characters.begin(), Right, joined.characters.begin() + Left);
    return joined;
}

} // namespace sdbusplus::detail
