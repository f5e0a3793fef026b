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
    std::optional<InstanceIndex> index;
};

class FqddReading : public testing::TestWithParam<Reading>
{
};

TEST_P(FqddReading, GivesTheKind)
{
    EXPECT_EQ(kindOfFqdd(GetParam().fqdd), GetParam().kind);
}

TEST_P(FqddReading, GivesTheInstance)
{
    EXPECT_EQ(instanceOfFqdd(GetParam().fqdd), GetParam().index);
}

const ComponentKind* const none = nullptr;
const ComponentKind* const pbb = findKind(KindCode::pbb);
const ComponentKind* const pdb = findKind(KindCode::pdb);
const ComponentKind* const flop = findKind(KindCode::flop);

INSTANTIATE_TEST_SUITE_P(
    Table, FqddReading,
    testing::Values(Reading{"FirstPbb", "PBBCPLD.Embedded.1", pbb, InstanceIndex(0)},
                    Reading{"SecondPbb", "PBBCPLD.Embedded.2", pbb, InstanceIndex(1)},
                    Reading{"FirstPdb", "PDBCPLD.Embedded.1", pdb, InstanceIndex(0)},
                    Reading{"FirstFlop", "CPLD.IOBay.1", flop, InstanceIndex(0)},
                    Reading{"TwoDigits", "CPLD.IOBay.12", flop, InstanceIndex(11)},
                    Reading{"LeadingZeroes", "CPLD.IOBay.007", flop, InstanceIndex(6)},
                    Reading{"NumberZero", "PBBCPLD.Embedded.0", pbb, std::nullopt},
                    Reading{"NoNumber", "PBBCPLD.Embedded.", pbb, InstanceIndex(0)},
                    Reading{"LastNumber", "CPLD.IOBay.255", flop, InstanceIndex(254)},
                    Reading{"NextToTheLast", "CPLD.IOBay.256", flop, std::nullopt},
                    Reading{"LargestNumber", "CPLD.IOBay.2147483647", flop, std::nullopt},
                    Reading{"LowerCase", "pbbcpld.embedded.1", none, InstanceIndex(0)},
                    Reading{"BlankBeforeTheNumber", "CPLD.IOBay. 2", none, InstanceIndex(1)},
                    Reading{"SignedNumber", "CPLD.IOBay.-2", none, std::nullopt},
                    Reading{"TextBehindTheNumber", "CPLD.IOBay.2x", none, InstanceIndex(1)},
                    Reading{"TextBeforeThePrefix", "xCPLD.IOBay.2", none, InstanceIndex(1)},
                    Reading{"BlankBeforeThePrefix", " CPLD.IOBay.2", none, InstanceIndex(1)},
                    Reading{"DigitsInsideThePrefix", "CPLD.IOBay.2.3", none, InstanceIndex(2)},
                    Reading{"DotOnly", ".", none, InstanceIndex(0)},
                    Reading{"DigitsOnly", "12", none, InstanceIndex(0)},
                    Reading{"Empty", "", none, InstanceIndex(0)}),
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

TEST(FqddInstance, OutOfRangeIsAnErrorOfTheConversion)
{
    EXPECT_THROW(instanceOfFqdd("CPLD.IOBay.2147483648"), std::out_of_range);
    EXPECT_THROW(instanceOfFqdd("CPLD.IOBay.99999999999"), std::out_of_range);
}

TEST(FqddInstance, OfNoNumberIsAnErrorOfTheConversion)
{
    EXPECT_THROW(instanceOfFqdd("PBBCPLD.Embedded"), std::invalid_argument);
}

} // namespace
