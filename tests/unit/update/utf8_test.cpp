#include "update/utf8.hpp"

#include "case_name.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

struct Text
{
    const char* name;
    std::string given;
    std::string left;
};

class Utf8 : public testing::TestWithParam<Text>
{
};

TEST_P(Utf8, IsLeftAsItIsAndTheRestBecomesQuestionMarks)
{
    EXPECT_EQ(withoutInvalidUtf8(GetParam().given), GetParam().left);
}

Text kept(const char* name, const std::string& text)
{
    return {name, text, text};
}

// The first and the last character of each length, and what lies beside them.
INSTANTIATE_TEST_SUITE_P(
    Table, Utf8,
    testing::Values(kept("Nothing", ""), kept("Ascii", "\x01 ~\x7F"),
                    kept("TwoBytes", "\xC2\x80\xDF\xBF"),
                    kept("ThreeBytes", "\xE0\xA0\x80\xEF\xBF\xBD"),
                    kept("AroundTheSurrogates", "\xED\x9F\xBF\xEE\x80\x80"),
                    kept("FourBytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBD"),
                    kept("AroundTheNoncharacters", "\xEF\xB7\x8F\xEF\xB7\xB0"),
                    kept("AWord", "gr\xC3\xB6\xC3\x9F"
                                  "e"),
                    Text{"Zero", "a\0b"s, "a?b"}, Text{"LoneContinuations", "\x80 \xBF", "? ?"},
                    Text{"OverlongTwoBytes", "\xC0\x80\xC1\xBF", "????"},
                    Text{"OverlongThreeBytes", "\xE0\x9F\xBF", "???"},
                    Text{"OverlongFourBytes", "\xF0\x8F\xBF\xBF", "????"},
                    Text{"FirstSurrogate", "\xED\xA0\x80", "???"},
                    Text{"LastSurrogate", "\xED\xBF\xBF", "???"},
                    Text{"Noncharacters", "\xEF\xB7\x90\xEF\xB7\xAF", "??????"},
                    Text{"LastTwoOfAPlane", "\xEF\xBF\xBE\xF0\x9F\xBF\xBF", "???????"},
                    Text{"BeyondTheLast", "\xF4\x90\x80\x80", "????"},
                    Text{"FarBeyondTheLast", "\xF7\xBF\xBF\xBF", "????"},
                    Text{"FiveBytes", "\xF8\x88\x80\x80\x80", "?????"},
                    Text{"SixBytes", "\xFC\x84\x80\x80\x80\x80", "??????"},
                    Text{"NeverUsed", "\xFE\xFF", "??"}, Text{"CutAtTheEnd", "a\xE2\x82", "a??"},
                    Text{"CutByAnother", "\xE2\x82\xC3\xA4", "??\xC3\xA4"},
                    Text{"CutByAscii", "\xF0\x90[\xC3[", "?\?[?["},
                    Text{"ContinuedTooLong", "\xC3\xA4\x80", "\xC3\xA4?"}),
    CaseName{});

} // namespace
