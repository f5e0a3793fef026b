#include "update/fqdd.hpp"

#include "case_name.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

struct Reading
{
    const char* name;
    const char* fqdd;
    const ComponentKind* kind;
    std::int32_t index;
};

class FqddReading : public testing::TestWithParam<Reading>
{
};

TEST_P(FqddReading, GivesTheKind)
{
    EXPECT_EQ(kindOfFqdd(GetParam().fqdd), GetParam().kind);
}

TEST_P(FqddReading, GivesTheDeviceIndex)
{
    EXPECT_EQ(deviceIndexOfFqdd(GetParam().fqdd), GetParam().index);
}

const ComponentKind* const none = nullptr;
const ComponentKind* const pbb = findKind(KindCode::pbb);
const ComponentKind* const pdb = findKind(KindCode::pdb);
const ComponentKind* const flop = findKind(KindCode::flop);

INSTANTIATE_TEST_SUITE_P(
    Table, FqddReading,
    testing::Values(Reading{"FirstPbb", "PBBCPLD.Embedded.1", pbb, 0},
                    Reading{"SecondPbb", "PBBCPLD.Embedded.2", pbb, 1},
                    Reading{"FirstPdb", "PDBCPLD.Embedded.1", pdb, 0},
                    Reading{"FirstFlop", "CPLD.IOBay.1", flop, 0},
                    Reading{"TwoDigits", "CPLD.IOBay.12", flop, 11},
                    Reading{"LeadingZeroes", "CPLD.IOBay.007", flop, 6},
                    Reading{"NumberZero", "PBBCPLD.Embedded.0", pbb, -1},
                    Reading{"NoNumber", "PBBCPLD.Embedded.", pbb, 0},
                    Reading{"LargestNumber", "CPLD.IOBay.2147483647", flop, 2147483646},
                    Reading{"LowerCase", "pbbcpld.embedded.1", none, 0},
                    Reading{"BlankBeforeTheNumber", "CPLD.IOBay. 2", none, 1},
                    Reading{"SignedNumber", "CPLD.IOBay.-2", none, -3},
                    Reading{"TextBehindTheNumber", "CPLD.IOBay.2x", none, 1},
                    Reading{"TextBeforeThePrefix", "xCPLD.IOBay.2", none, 1},
                    Reading{"BlankBeforeThePrefix", " CPLD.IOBay.2", none, 1},
                    Reading{"DigitsInsideThePrefix", "CPLD.IOBay.2.3", none, 2},
                    Reading{"DotOnly", ".", none, 0}, Reading{"DigitsOnly", "12", none, 0},
                    Reading{"Empty", "", none, 0}),
    CaseName{});

TEST(FqddKind, NeedsTheDot)
{
    EXPECT_EQ(kindOfFqdd("PBBCPLD.Embedded"), nullptr);
    EXPECT_EQ(kindOfFqdd("PBBCPLD.Embedded1"), nullptr);
}

TEST(FqddKind, IsTheKindsThoughTheNumberIsOutOfRange)
{
    EXPECT_EQ(kindOfFqdd("CPLD.IOBay.99999999999"), flop);
}

TEST(FqddDeviceIndex, OutOfRangeIsAnErrorOfTheConversion)
{
    EXPECT_THROW(deviceIndexOfFqdd("CPLD.IOBay.2147483648"), std::out_of_range);
    EXPECT_THROW(deviceIndexOfFqdd("CPLD.IOBay.99999999999"), std::out_of_range);
}

TEST(FqddDeviceIndex, OfNoNumberIsAnErrorOfTheConversion)
{
    EXPECT_THROW(deviceIndexOfFqdd("PBBCPLD.Embedded"), std::invalid_argument);
}

} // namespace
