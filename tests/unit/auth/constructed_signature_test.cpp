#include "auth/constructed_signature.hpp"

#include "auth/verification_test.hpp"

#include <tuple>

namespace
{

/** A point, by whose x coordinate r is chosen. */
struct Point
{
    const char* name;
    PointPtr (*make)();
};

/** A number for s. */
struct Number
{
    const char* name;
    BignumPtr (*make)();
};

using Choice = std::tuple<Point, Number>;

using p384::difference;
using p384::multiple;
using p384::number;
using p384::order;
using p384::pointNear;
using p384::prime;
using p384::sum;

/** A number of 2 to the power of a multiple of four, in hexadecimal. */
std::string power(std::size_t exponent)
{
    constexpr std::size_t bitsPerDigit = 4;
    return "1" + std::string(exponent / bitsPerDigit, '0');
}

BignumPtr below(const BignumPtr& number)
{
    return difference(number, p384::number("1"));
}

const auto points = testing::Values(
    Point{"BasePoint", [] { return multiple(number("1")); }},
    Point{"NegatedBasePoint", [] { return multiple(below(order())); }},
    Point{"TwiceTheBasePoint", [] { return multiple(number("2")); }},
    Point{"MultipleWithALeadingZero", [] { return p384::multipleWithALeadingZero(); }},
    Point{"SmallestEvenY", [] { return pointNear(number("1"), 1, false); }},
    Point{"SmallestOddY", [] { return pointNear(number("1"), 1, true); }},
    Point{"OneByteWithTheHighestBit", [] { return pointNear(number("80"), 1, false); }},
    Point{"TwoBytes", [] { return pointNear(number("100"), 1, true); }},
    Point{"HalfTheBytesZero", [] { return pointNear(number(power(192)), -1, false); }},
    Point{"TwoLeadingZeroes", [] { return pointNear(number(power(368)), -1, true); }},
    Point{"OneLeadingZero", [] { return pointNear(below(number(power(376))), -1, false); }},
    Point{"HighestByteOne", [] { return pointNear(number(power(376)), 1, true); }},
    Point{"HighestBitSet", [] { return pointNear(number("8" + std::string(95, '0')), 1, false); }},
    Point{"BelowTheOrder", [] { return pointNear(below(order()), -1, false); }},
    Point{"AboveTheOrder", [] { return pointNear(sum(order(), number("1")), 1, true); }},
    Point{"LargestCoordinate", [] { return pointNear(below(prime()), -1, false); }});

const auto numbers = testing::Values(
    Number{"One", [] { return number("1"); }}, Number{"Two", [] { return number("2"); }},
    Number{"LargestPositiveByte", [] { return number("7F"); }},
    Number{"ByteWithTheHighestBit", [] { return number("80"); }},
    Number{"LargestByte", [] { return number("FF"); }},
    Number{"TwoBytes", [] { return number("100"); }},
    Number{"HalfTheBytesZero", [] { return number(power(192)); }},
    Number{"OneLeadingZeroAndTheHighestBit", [] { return below(number(power(376))); }},
    Number{"HighestByteOne", [] { return number(power(376)); }},
    Number{"LargestPositive", [] { return number("7" + std::string(95, 'F')); }},
    Number{"OnlyTheHighestBit", [] { return number("8" + std::string(95, '0')); }},
    Number{"BelowTheOrder", [] { return below(order()); }});

/** Whether the service's check agrees with the arithmetic, for numbers that no signing makes. */
class ConstructedSignatureOf : public Verification, public testing::WithParamInterface<Choice>
{
  protected:
    ConstructedSignatureOf() { fakes::write(fakes::placeOf(defaultKey), signature.publicPem); }

    const std::string data = payloadData(140);
    const ConstructedSignature signature = constructSignature(
        data, std::get<Point>(GetParam()).make(), std::get<Number>(GetParam()).make());
};

TEST_P(ConstructedSignatureOf, IsAcceptedForItsDataOnly)
{
    payloadIs(data + signature.bytes());
    EXPECT_TRUE(verify());
    expectLog({accepted()});

    auto other = data;
    other.back() = static_cast<char>(other.back() ^ 0x01);
    payloadIs(other + signature.bytes());
    fakes::clearPlatformLog();
    expectRefusal({notSigned()});
}

INSTANTIATE_TEST_SUITE_P(Table, ConstructedSignatureOf, testing::Combine(points, numbers),
                         [](const auto& test)
                         {
                             return std::string("R") + std::get<Point>(test.param).name + "_S" +
                                    std::get<Number>(test.param).name;
                         });

TEST(ConstructedSignature, ReachesTheNumbersThatItIsMeantFor)
{
    const auto rOf = [](const PointPtr& point)
    { return p384::bytesOf(constructSignature("data", point, number("1")).r); };
    // Of the coordinates 1 and 2 the curve has the second only.
    EXPECT_EQ(rOf(pointNear(number("1"), 1, false)), p384::bytesOf(number("2")));
    EXPECT_EQ(rOf(p384::multipleWithALeadingZero()).front(), '\0');
    EXPECT_EQ(rOf(pointNear(below(prime()), -1, false)).substr(0, 24), std::string(24, '\0'));
}

} // namespace
