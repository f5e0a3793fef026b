#include "case_name.hpp"
#include "service_on_bus.hpp"
#include "watchers/cpld_inventory_utils.hpp"
#include "watchers/neighbour.hpp"

#include <cstdlib>
#include <optional>

/** @file What the first reading of a neighbour's property comes to, by what the neighbour answers.
 */

namespace
{

void booleanTrue(sd_bus_message* message)
{
    sd_bus_message_append(message, "v", "b", 1);
}

void booleanFalse(sd_bus_message* message)
{
    sd_bus_message_append(message, "v", "b", 0);
}

void number(sd_bus_message* message)
{
    sd_bus_message_append(message, "v", "q", 1);
}

void powerOnPending(sd_bus_message* message)
{
    sd_bus_message_append(message, "v", "s", "S5OnPending");
}

void anotherState(sd_bus_message* message)
{
    sd_bus_message_append(message, "v", "s", "On");
}

void nothing(sd_bus_message* /*message*/) {}

/** The process's default bus is the one of the test. */
class Reading : public ServiceOnBus
{
  protected:
    Reading()
    {
        ::setenv("DBUS_STARTER_BUS_TYPE", "system", 1);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    }

    std::optional<Neighbour> neighbour;
};

struct FruStatus
{
    const char* name;
    Neighbour::Answer answer;
    int result;
    bool started;
};

class FruReading : public Reading, public testing::WithParamInterface<FruStatus>
{
};

TEST_P(FruReading, TellsWhetherAllIsWellAndWhetherItWasTheCompletion)
{
    fakes::sysinfo().status = -1;
    if (GetParam().answer)
    {
        neighbour.emplace(bus.address(), "com.vexa.bmc.mppd", GetParam().answer);
    }
    bool started = false;
    EXPECT_EQ(CpldInventoryUtils::Read_current_fruread_status(started, service), GetParam().result);
    EXPECT_EQ(started, GetParam().started);
}

// Where the read is complete, no version can be read: the platform describes nothing.
INSTANTIATE_TEST_SUITE_P(Table, FruReading,
                         testing::Values(FruStatus{"Complete", booleanTrue, 0, true},
                                         FruStatus{"Pending", booleanFalse, 1, false},
                                         FruStatus{"OfAnotherType", number, 0, false},
                                         FruStatus{"Empty", nothing, 0, false},
                                         FruStatus{"FromNobody", {}, 0, false}),
                         CaseName{});

struct PowerStatus
{
    const char* name;
    Neighbour::Answer answer;
    int holdStatus;
    int result;
};

class PowerReading : public Reading, public testing::WithParamInterface<PowerStatus>
{
  protected:
    void SetUp() override
    {
        fakes::holdLine().writeStatus = {GetParam().holdStatus, GetParam().holdStatus};
        if (GetParam().answer)
        {
            neighbour.emplace(bus.address(), "xyz.openbmc_project.State.Host", GetParam().answer);
        }
    }
};

TEST_P(PowerReading, TellsWhetherTheHoldIsAsItShallBe)
{
    EXPECT_EQ(Read_current_internal_power_state(service), GetParam().result);
}

TEST_P(PowerReading, IsWhatTheSubscriptionTells)
{
    EXPECT_EQ(CpldInventoryUtils::Subscribe_Clear_HoldS5(service.connection, service),
              GetParam().result);
    EXPECT_EQ(service.matches.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Table, PowerReading,
                         testing::Values(PowerStatus{"Released", powerOnPending, 0, 1},
                                         PowerStatus{"NotReleased", powerOnPending, 7, 0},
                                         PowerStatus{"NothingToRelease", anotherState, 7, 1},
                                         PowerStatus{"OfAnotherType", number, 0, 0},
                                         PowerStatus{"Empty", nothing, 0, 0},
                                         PowerStatus{"FromNobody", {}, 0, 0}),
                         CaseName{});

} // namespace
