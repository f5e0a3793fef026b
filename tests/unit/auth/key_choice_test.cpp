#include "auth/key_choice.hpp"

#include "case_name.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"
#include "service_test.hpp"

namespace
{

using fakes::traceLine;

constexpr std::size_t codeOffset = 88;

TEST(RevisionCode, IsLittleEndianAtOffset88)
{
    PayloadHeader header{};
    header.at(codeOffset) = 0x78;
    header.at(codeOffset + 1) = 0x56;
    header.at(codeOffset + 2) = 0x34;
    header.at(codeOffset + 3) = 0xF2;
    EXPECT_EQ(revisionCode(header), 0xF2345678);
}

TEST(RevisionCode, IsNothingElseOfTheHeader)
{
    PayloadHeader header{};
    header.fill(0xFF);
    for (std::size_t i = 0; i < 4; ++i)
    {
        header.at(codeOffset + i) = 0;
    }
    EXPECT_EQ(revisionCode(header), 0U);
}

TEST(RevisionCode, WrittenBigEndianIsAnotherCode)
{
    PayloadHeader header{};
    header.at(codeOffset + 3) = 16;
    EXPECT_EQ(revisionCode(header), 0x10000000U);
    EXPECT_EQ(keyRevision(revisionCode(header)), KeyRevision::standard);
}

TEST(KeyRevision, Of2IsX)
{
    EXPECT_EQ(keyRevision(2), KeyRevision::x);
}

TEST(KeyRevision, Of16IsA)
{
    EXPECT_EQ(keyRevision(16), KeyRevision::a);
}

TEST(KeyRevision, OfAnyOtherCodeIsTheStandard)
{
    for (const std::uint32_t code : {0U, 1U, 3U, 15U, 17U, 18U, 0x0202U, 0xFFFFFFFFU})
    {
        EXPECT_EQ(keyRevision(code), KeyRevision::standard) << code;
    }
}

/** A component and a code, the key file they choose, and the two lines that tell of the choice. */
struct Choice
{
    const char* name;
    std::uint32_t componentId;
    std::uint8_t code;
    const char* path;
    const char* componentLine;
    const char* revisionLine;
};

class KeyChoiceOf : public ServiceTest, public testing::WithParamInterface<Choice>
{
  protected:
    KeyChoiceOf()
    {
        updateRequest().CompId = GetParam().componentId;
        header.at(codeOffset) = GetParam().code;
    }

    PayloadHeader header{};
    std::string keyPath = "of the job before";
};

TEST_P(KeyChoiceOf, NamesTheFile)
{
    Tavrinupdate::pub_key_setter(header, keyPath);
    EXPECT_EQ(keyPath, GetParam().path);
}

TEST_P(KeyChoiceOf, IsTraced)
{
    constexpr auto function = "pub_key_setter";
    Tavrinupdate::pub_key_setter(header, keyPath);
    const auto line = [](const char* format)
    {
        return fakes::LogLine{4, 352, format,
                              "[pub_key_setter]" + std::string(format).substr(sizeof("[%s]") - 1)};
    };
    EXPECT_EQ(fakes::platformLog(),
              (Log{line(GetParam().componentLine), line(GetParam().revisionLine),
                   traceLine("[%s] : Selected public key file: %s\n", function, GetParam().path)}));
}

constexpr std::uint32_t pbb = 114678;
constexpr std::uint32_t pdb = 114747;
constexpr std::uint32_t flop = 112102;

INSTANTIATE_TEST_SUITE_P(
    Table, KeyChoiceOf,
    testing::Values(
        Choice{"PbbX", pbb, 2, "/etc/shared_keys/i2cpld/K4/xrev.pub",
               "[%s] : Processing PBB component\n", "[%s] : Processing pbb xrev public key\n"},
        Choice{"PbbA", pbb, 16, "/etc/shared_keys/i2cpld/K4/arev.pub",
               "[%s] : Processing PBB component\n", "[%s] : Processing pbb arev public key\n"},
        Choice{"PbbDefault", pbb, 0, "/etc/shared_keys/i2cpld/K4/default.pub",
               "[%s] : Processing PBB component\n", "[%s] : Processing default pbb public key\n"},
        Choice{"PdbX", pdb, 2, "/etc/shared_keys/i2cpld/K4/xrev.pub",
               "[%s] : Processing PDB component\n", "[%s] : Processing pdb xrev public key\n"},
        Choice{"PdbA", pdb, 16, "/etc/shared_keys/i2cpld/K4/arev.pub",
               "[%s] : Processing PDB component\n", "[%s] : Processing pdb arev public key\n"},
        Choice{"PdbDefault", pdb, 1, "/etc/shared_keys/i2cpld/K4/default.pub",
               "[%s] : Processing PDB component\n", "[%s] : Processing default pdb public key\n"},
        Choice{"FlopX", flop, 2, "/etc/shared_keys/flop/K4/Xrev/flop.pub",
               "[%s] : Processing FLOP component\n", "[%s] : Processing flop xrev public key\n"},
        Choice{"FlopA", flop, 16, "/etc/shared_keys/flop/K4/Arev/flop.pub",
               "[%s] : Processing FLOP component\n", "[%s] : Processing flop arev public key\n"},
        Choice{"FlopDefault", flop, 3, "/etc/shared_keys/flop/K4/flop.pub",
               "[%s] : Processing FLOP component\n",
               "[%s] : Processing default flop public key\n"}),
    CaseName{});

class KeyChoiceOfAnUnknownComponent : public ServiceTest
{
  protected:
    KeyChoiceOfAnUnknownComponent() { updateRequest().CompId = 4294967295; }

    std::string keyPath = "of the job before";
};

TEST_F(KeyChoiceOfAnUnknownComponent, IsNoFile)
{
    Tavrinupdate::pub_key_setter({}, keyPath);
    EXPECT_EQ(keyPath, "");
}

TEST_F(KeyChoiceOfAnUnknownComponent, IsTracedWithItsNumber)
{
    Tavrinupdate::pub_key_setter({}, keyPath);
    EXPECT_EQ(fakes::platformLog(),
              (Log{traceLine("[%s] : Unknown component ID: %u\n", "pub_key_setter", 4294967295U),
                   traceLine("[%s] : Selected public key file: %s\n", "pub_key_setter", "")}));
}

} // namespace
