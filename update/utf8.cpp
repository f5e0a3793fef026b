#include "update/utf8.hpp"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace
{

/** The smallest characters of one byte and more; what is smaller has a shorter form, or is zero. */
constexpr std::array<std::uint32_t, 4> smallest{1, 0x80, 0x800, 0x10000};

bool isCharacter(std::uint32_t value)
{
    constexpr std::uint32_t firstSurrogate = 0xD800;
    constexpr std::uint32_t lastSurrogate = 0xDFFF;
    constexpr std::uint32_t firstNoncharacter = 0xFDD0;
    constexpr std::uint32_t lastNoncharacter = 0xFDEF;
    constexpr std::uint32_t lastTwoOfAPlane = 0xFFFE;
    constexpr std::uint32_t largest = 0x10FFFF;
    return value <= largest && (value < firstSurrogate || value > lastSurrogate) &&
           (value < firstNoncharacter || value > lastNoncharacter) &&
           (value & lastTwoOfAPlane) != lastTwoOfAPlane;
}

/** The number of bytes of the character that the text begins with; 0 where it is none. */
std::size_t lengthOfFirst(std::string_view text)
{
    const auto lead = static_cast<std::uint8_t>(text.front());
    const auto ones = static_cast<std::size_t>(std::countl_one(lead));
    const std::size_t length = ones == 0 ? 1 : ones;
    if (ones == 1 || length > smallest.size() || length > text.size())
    {
        return 0;
    }
    std::uint32_t value = lead & (0xFFU >> (ones + 1));
    for (const char next : text.substr(1, length - 1))
    {
        const auto byte = static_cast<std::uint8_t>(next);
        if (std::countl_one(byte) != 1)
        {
            return 0;
        }
        value = value << 6U | (byte & 0x3FU);
    }
    return value >= smallest.at(length - 1) && isCharacter(value) ? length : 0;
}

} // namespace

std::string withoutInvalidUtf8(std::string text)
{
    std::size_t place = 0;
    while (place < text.size())
    {
        const std::size_t length = lengthOfFirst(std::string_view(text).substr(place));
        if (length == 0)
        {
            text[place] = '?';
        }
        place += length == 0 ? 1 : length;
    }
    return text;
}
