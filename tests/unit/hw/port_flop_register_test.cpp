#include "case_name.hpp"
#include "hw/port_test.hpp"
#include "hw/programming_port.hpp"

namespace
{

constexpr std::uint8_t byte3 = 0x03;
constexpr std::uint8_t byte8 = 0x08;

/** Which register a FLOP has by its version bytes and by what the platform service answers. */
struct Register
{
    const char* name;
    std::uint8_t first;
    std::uint8_t second;
    std::deque<std::int32_t> identities;
    std::uint8_t expected;
    /** How often the platform service is asked. */
    std::size_t questions;
};

class FlopRegister : public PortTest, public testing::WithParamInterface<Register>
{
  protected:
    FlopRegister() : PortTest("enable_disable_programingNode_for_flop")
    {
        device[0x0C] = GetParam().first;
        device[0x0D] = GetParam().second;
        fakes::platformIdentity() = {GetParam().identities, 99};
    }

    /** The whole course of switching the port; the register holds one value and gets another. */
    Lines course(const char* value) const
    {
        const auto number = GetParam().expected == byte3 ? std::string("03") : std::string("08");
        Lines events{opened(device), "write 0c, read 2"};
        events.insert(events.end(), GetParam().questions, "ask for the platform identity");
        events.insert(events.end(),
                      {"write " + number + ", read 1", "write " + number + value + ", read 0",
                       "write " + number + ", read 1", closed(device)});
        return events;
    }

    fakes::LogLine choice() const
    {
        return GetParam().expected == byte3 ? trace("[%s]:HIP_SW_EN is BYTE3.0 \n")
                                            : trace("[%s]:HIP_SW_EN is BYTE8.0 \n");
    }
};

TEST_P(FlopRegister, DependsOnVersionAndPlatformWhereThePortIsOpened)
{
    device[GetParam().expected] = 0x40;
    EXPECT_TRUE(enable_disable_programingNode_for_flop(InstanceIndex(1), 1, flop));
    EXPECT_EQ(fakes::journal(), course(" 41"));
    EXPECT_EQ(ownLog().at(3), choice());
}

TEST_P(FlopRegister, DependsOnVersionAndPlatformWhereThePortIsClosed)
{
    device[GetParam().expected] = 0xFF;
    EXPECT_TRUE(enable_disable_programingNode_for_flop(InstanceIndex(1), 0, flop));
    EXPECT_EQ(fakes::journal(), course(" 00"));
    EXPECT_EQ(ownLog().at(3), choice());
}

INSTANTIATE_TEST_SUITE_P(
    Table, FlopRegister,
    testing::Values(Register{"Version000OnPlatform3", 0x00, 0x00, {3, 3}, byte8, 2},
                    Register{"Version000OnPlatform4", 0x00, 0x00, {4}, byte3, 1},
                    Register{"Version000OnPlatform5", 0x00, 0x00, {5, 5}, byte3, 2},
                    Register{"Version005OnPlatform3", 0x05, 0x00, {3, 3}, byte8, 2},
                    Register{"Version005OnPlatform4", 0x05, 0x00, {4}, byte3, 1},
                    Register{"Version005OnPlatform5", 0x05, 0x00, {5, 5}, byte3, 2},
                    Register{"Version005OnPlatform6", 0x05, 0x00, {6, 6}, byte8, 2},
                    // What a platform service that fails or knows nothing comes to.
                    Register{"Version005OnAnUnknownPlatform", 0x05, 0x00, {0, 0}, byte8, 2},
                    Register{"Version005WhereOnlyTheFirstAnswerComes", 5, 0, {5, 0}, byte8, 2},
                    Register{"Version005WhereOnlyTheSecondAnswerComes", 5, 0, {0, 5}, byte3, 2},
                    Register{"AskedAfreshTheSecondTime", 0x05, 0x00, {6, 5}, byte3, 2},
                    Register{"FirstAnswer5SecondAnswer4", 0x05, 0x00, {5, 4}, byte8, 2},
                    Register{"NegativeAnswers", 0x05, 0x00, {-4, -5}, byte8, 2},
                    Register{"TheUnusedNibbleDoesNotCount", 0x05, 0x0F, {4}, byte3, 1},
                    Register{"Version006OnPlatform3", 0x06, 0x00, {}, byte8, 0},
                    Register{"Version006OnPlatform4", 0x06, 0x00, {}, byte8, 0},
                    Register{"Version006OnPlatform5", 0x06, 0x00, {}, byte8, 0},
                    Register{"Version010OnPlatform3", 0x10, 0x00, {}, byte8, 0},
                    Register{"Version010OnPlatform4", 0x10, 0x00, {}, byte8, 0},
                    Register{"Version010OnPlatform5", 0x10, 0x00, {}, byte8, 0},
                    Register{"Version100OnPlatform4", 0x00, 0x10, {}, byte8, 0},
                    Register{"Version100OnPlatform5", 0x00, 0x10, {}, byte8, 0}),
    CaseName{});

/** The bytes of the six early versions: high nibbles zero, the first byte at most 5. */
TEST(EarlyFlopFirmware, IsToldApartFromAllOthersByItsBytes)
{
    for (int first = 0; first <= 0xFF; ++first)
    {
        for (int second = 0; second <= 0xFF; ++second)
        {
            const VersionBytes bytes{static_cast<std::uint8_t>(first),
                                     static_cast<std::uint8_t>(second)};
            ASSERT_EQ(mayUseByte3(decodeVersion(*findKind(KindCode::flop), bytes)),
                      first <= 5 && second < 0x10)
                << first << " " << second;
        }
    }
}

} // namespace
