#include "update/utf8.hpp"

#include <boost/locale/utf.hpp>

namespace
{

namespace utf = boost::locale::utf;

bool isCarried(utf::code_point character)
{
    // What is no UTF-8 reads as larger than all characters.
    constexpr utf::code_point largest = 0x10FFFF;
    constexpr utf::code_point firstNoncharacter = 0xFDD0;
    constexpr utf::code_point lastNoncharacter = 0xFDEF;
    constexpr utf::code_point lastTwoOfAPlane = 0xFFFE;
    return character != 0 && character <= largest &&
           (character < firstNoncharacter || character > lastNoncharacter) &&
           (character & lastTwoOfAPlane) != lastTwoOfAPlane;
}

} // namespace

std::string withoutInvalidUtf8(std::string text)
{
    for (auto place = text.begin(); place != text.end();)
    {
        auto behind = place;
        if (isCarried(utf::utf_traits<char>::decode(behind, text.end())))
        {
            place = behind;
        }
        else
        {
            *place++ = '?';
        }
    }
    return text;
}
