#include "hw/version.hpp"

#include "case_name.hpp"

#include <gtest/gtest.h>

namespace
{

struct Decoding
{
    const char* name;
    KindCode kind;
    VersionBytes bytes;
    const char* text;
};

class VersionDecoding : public testing::TestWithParam<Decoding>
{
};

TEST_P(VersionDecoding, TakesTheNibblesOfItsKind)
{
    const auto& [name, kind, bytes, text] = GetParam();
    EXPECT_EQ(versionText(decodeVersion(*findKind(kind), bytes)), text);
}

constexpr auto pbb = KindCode::pbb;
constexpr auto pdb = KindCode::pdb;
constexpr auto flop = KindCode::flop;

INSTANTIATE_TEST_SUITE_P(
    Bytes, VersionDecoding,
    testing::Values(Decoding{"PbbOfZeroes", pbb, {0x00, 0x00}, "0.0.0"},
                    Decoding{"Pbb", pbb, {0x21, 0x03}, "1.2.3"},
                    Decoding{"PbbIgnoresTheLastHighNibble", pbb, {0x21, 0xF3}, "1.2.3"},
                    Decoding{"PbbInDecimal", pbb, {0xCB, 0x0A}, "11.12.10"},
                    Decoding{"Pdb", pdb, {0x21, 0x03}, "1.2.3"},
                    Decoding{"PdbIgnoresTheLastHighNibble", pdb, {0xFF, 0xFF}, "15.15.15"},
                    Decoding{"Flop", flop, {0x23, 0x10}, "1.2.3"},
                    Decoding{"FlopIgnoresTheLastLowNibble", flop, {0x5A, 0x3F}, "3.5.10"},
                    Decoding{"FlopOfZeroes", flop, {0x00, 0x0F}, "0.0.0"}),
    CaseName{});

TEST(VersionRegister, IsTheFirstOnPbbAndPdb)
{
    EXPECT_EQ(findKind(pbb)->versionRegister, 0x00);
    EXPECT_EQ(findKind(pdb)->versionRegister, 0x00);
}

TEST(VersionRegister, IsByte12OnTheFlop)
{
    EXPECT_EQ(findKind(flop)->versionRegister, 0x0C);
}

TEST(InstanceFqdd, CountsFromOne)
{
    EXPECT_EQ(instanceFqdd(*findKind(pbb), InstanceIndex(0)), "PBBCPLD.Embedded.1");
    EXPECT_EQ(instanceFqdd(*findKind(pdb), InstanceIndex(1)), "PDBCPLD.Embedded.2");
    EXPECT_EQ(instanceFqdd(*findKind(flop), InstanceIndex(0)), "CPLD.IOBay.1");
}

TEST(InstanceFqdd, NamesTheLastInstanceOfAll)
{
    EXPECT_EQ(instanceFqdd(*findKind(flop), InstanceIndex(254)), "CPLD.IOBay.255");
}

} // namespace
