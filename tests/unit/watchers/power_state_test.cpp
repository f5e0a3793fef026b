#include "watchers/power_state.hpp"

#include "case_name.hpp"

namespace
{

struct Text
{
    const char* name;
    const char* text;
    bool expected;
};

class PowerOn : public testing::TestWithParam<Text>
{
};

TEST_P(PowerOn, IsPendingWhereTheStateContainsTheWord)
{
    EXPECT_EQ(isPowerOnPending(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PowerOn,
    testing::Values(Text{"Bare", "S5OnPending", true},
                    Text{"Dotted",
                         "xyz.openbmc_project.Control.Host.InternalPowerState.S5OnPending", true},
                    Text{"TextBehind", "S5OnPendingSoon", true},
                    Text{"TextBeforeAndBehind", "before S5OnPending after", true},
                    Text{"Twice", "S5OnPendingS5OnPending", true},
                    Text{"SecondBeginning", "S5OnS5OnPending", true},
                    Text{"LowerCase", "s5onpending", false}, Text{"CutShort", "S5OnPendin", false},
                    Text{"Blank", "S5 OnPending", false}, Text{"OtherState", "On", false},
                    Text{"Empty", "", false}),
    CaseName{});

class PropertyName : public testing::TestWithParam<Text>
{
};

TEST_P(PropertyName, IsThePowerStatesWhereItContainsTheWord)
{
    EXPECT_EQ(namesPowerState(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, PropertyName,
                         testing::Values(Text{"Bare", "InternalPowerState", true},
                                         Text{"TextBefore", "OldInternalPowerState", true},
                                         Text{"TextBehind", "InternalPowerState2", true},
                                         Text{"LowerCase", "internalpowerstate", false},
                                         Text{"CutShort", "InternalPowerStat", false},
                                         Text{"PartOnly", "PowerState", false},
                                         Text{"Empty", "", false}),
                         CaseName{});

} // namespace
