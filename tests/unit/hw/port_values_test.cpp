#include "case_name.hpp"
#include "hw/port_test.hpp"
#include "service/update_request.hpp"

#include <cstdio>

namespace
{

/** What a kind's programming port does with its register. */
struct PortKind
{
    const char* name;
    std::uint32_t componentId;
    std::uint8_t number;
    /** What is written where a value was read, to open the port and to close it. */
    int (*toOpen)(int value);
    int (*toClose)(int value);
    /** Bit 0 of a register whose port is open. */
    int open;
    /** Whether a register that is zero is left alone when the port is opened. */
    bool zeroIsOpen;
    /** Whether a port that does not close is a failure. */
    bool closingCounts;
};

/** Every value that a register can hold, before it is written and when it is read back. */
class PortOfAKind : public PortTest, public testing::WithParamInterface<PortKind>
{
  protected:
    PortOfAKind() : PortTest("")
    {
        updateRequest().CompId = GetParam().componentId;
        // Late firmware, so that no identity is asked for.
        device[0x0D] = 0x10;
    }

    bool switchPort(std::uint8_t flag)
    {
        fakes::clearJournal();
        return enable_disable_programingNode(InstanceIndex(1), flag, pbb);
    }

    static std::string hexadecimal(int value)
    {
        std::array<char, 3> text{};
        std::snprintf(text.data(), text.size(), "%02x", static_cast<unsigned>(value));
        return text.data();
    }

    /** The course of events where a value is written. */
    Lines written(int value) const
    {
        const auto number = hexadecimal(GetParam().number);
        auto events = untouched();
        events.insert(events.end() - 1, {"write " + number + " " + hexadecimal(value) + ", read 0",
                                         "write " + number + ", read 1"});
        return events;
    }

    /** The course of events where the register is only read. */
    Lines untouched() const
    {
        Lines events{opened(device)};
        if (GetParam().componentId == component_id::flop)
        {
            events.emplace_back("write 0c, read 2");
        }
        events.push_back("write " + hexadecimal(GetParam().number) + ", read 1");
        events.push_back(closed(device));
        return events;
    }
};

constexpr int values = 256;

TEST_P(PortOfAKind, IsOpenedFromEveryValue)
{
    for (int value = 0; value < values; ++value)
    {
        device[GetParam().number] = static_cast<std::uint8_t>(value);
        ASSERT_TRUE(switchPort(1)) << value;
        const bool leftAlone = GetParam().zeroIsOpen && value == 0;
        ASSERT_EQ(fakes::journal(), leftAlone ? untouched() : written(GetParam().toOpen(value)))
            << value;
    }
}

TEST_P(PortOfAKind, IsClosedFromEveryValue)
{
    for (int value = 0; value < values; ++value)
    {
        device[GetParam().number] = static_cast<std::uint8_t>(value);
        ASSERT_TRUE(switchPort(0)) << value;
        ASSERT_EQ(fakes::journal(), written(GetParam().toClose(value))) << value;
    }
}

TEST_P(PortOfAKind, IsOpenWhereBit0OfTheReadBackSaysSo)
{
    for (int value = 0; value < values; ++value)
    {
        device.show(GetParam().number, {0x11, static_cast<std::uint8_t>(value)});
        ASSERT_EQ(switchPort(1), (value & 1) == GetParam().open) << value;
        ASSERT_EQ(fakes::journal(), written(GetParam().toOpen(0x11))) << value;
    }
}

TEST_P(PortOfAKind, IsClosedWhereBit0OfTheReadBackSaysSoOrItDoesNotMatter)
{
    for (int value = 0; value < values; ++value)
    {
        device.show(GetParam().number, {0x22, static_cast<std::uint8_t>(value)});
        const bool isClosed = (value & 1) != GetParam().open;
        ASSERT_EQ(switchPort(0), isClosed || !GetParam().closingCounts) << value;
        ASSERT_EQ(fakes::journal(), written(GetParam().toClose(0x22))) << value;
    }
}

TEST_P(PortOfAKind, IsSwitchedByBit0OfTheFlag)
{
    for (int flag = 0; flag < values; ++flag)
    {
        device[GetParam().number] = 0x55;
        ASSERT_TRUE(switchPort(static_cast<std::uint8_t>(flag))) << flag;
        const auto value = (flag & 1) != 0 ? GetParam().toOpen(0x55) : GetParam().toClose(0x55);
        ASSERT_EQ(fakes::journal(), written(value)) << flag;
    }
}

int withBit0(int value)
{
    return value | 0x01;
}

int withoutBit0(int value)
{
    return value & 0xFE;
}

int zero(int /*value*/)
{
    return 0;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PortOfAKind,
    testing::Values(PortKind{"Pbb", 114678, 0x04, withoutBit0, withBit0, 0, true, false},
                    PortKind{"Pdb", 114747, 0x04, withoutBit0, withBit0, 0, true, false},
                    PortKind{"Flop", 112102, 0x08, withBit0, zero, 1, false, true}),
    CaseName{});

} // namespace
