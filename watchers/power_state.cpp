#include "watchers/power_state.hpp"

#include "hw/hold_flag.hpp"
#include "log/log.hpp"
#include "service/remote_property.hpp"
#include "watchers/changed_properties.hpp"
#include "watchers/cpld_inventory_utils.hpp"

#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <exception>
#include <memory>
#include <variant>

namespace
{

constexpr auto subscribeFunction = "Subscribe_Clear_HoldS5";

constexpr auto powerStateRule =
    "type='signal',member='PropertiesChanged',path_namespace='/xyz/openbmc_project/control/host0/internal_power_state'";

constexpr RemoteProperty powerState{
    "xyz.openbmc_project.State.Host",
    "/xyz/openbmc_project/control/host0/internal_power_state",
    "xyz.openbmc_project.Control.Host.InternalPowerState",
    "InternalPowerState",
};

constexpr std::uint8_t releaseHold = 0;

int releaseAtStart()
{
    if (cpld_update_holdS5(releaseHold) == 0)
    {
        logRecord("[Read_current_internal_power_state] : Failed to clear the host off bit\n");
        return 0;
    }
    logTrace("[Read_current_internal_power_state] : Holds5 bit cleared successfully\n");
    return 1;
}

int failedRead(const char* text, const char* name)
{
    logRecord("[Read_current_internal_power_state] : Exception: %s %s\n", text, name);
    return 0;
}

void releaseOnSignal()
{
    if (cpld_update_holdS5(releaseHold) == 0)
    {
        logRecord("[internalPowerStateSignalCallback] : Failed to clear the host off bit\n");
        return;
    }
    logTrace("[internalPowerStateSignalCallback] : Holds5 bit cleared successfully\n");
}

void handleChange(sdbusplus::message_t& signal)
{
    // A value of neither type reads as the first alternative, so a string is known to be one.
    const auto changed = readChangedProperties<std::variant<bool, std::string>>(signal);
    const auto entry =
        std::find_if(changed.begin(), changed.end(),
                     [](const auto& property) { return namesPowerState(property.first); });
    if (entry == changed.end())
    {
        return;
    }
    const auto& state = std::get<std::string>(entry->second);
    logTrace("[internalPowerStateSignalCallback] : Host State:%s\n", state.c_str());
    if (isPowerOnPending(state))
    {
        releaseOnSignal();
    }
}

void internalPowerStateSignalCallback(sdbusplus::message_t& signal)
{
    if (signal.is_method_error())
    {
        logRecord("[internalPowerStateSignalCallback] : Message error\n");
        return;
    }
    logTrace("[internalPowerStateSignalCallback] : Reading Power Properties\n");
    try
    {
        handleChange(signal);
    }
    catch (const std::exception& error)
    {
        logRecord("[internalPowerStateSignalCallback] : exception: %s\n", error.what());
    }
}

} // namespace

bool isPowerOnPending(std::string_view state)
{
    return state.find("S5OnPending") != std::string_view::npos;
}

bool namesPowerState(std::string_view property)
{
    return property.find("InternalPowerState") != std::string_view::npos;
}

int Read_current_internal_power_state(Tavrinupdate& /*service*/)
{
    try
    {
        const auto state = readProperty<std::string, bool>(powerState);
        logTrace("[Read_current_internal_power_state] : Host State: %s\n", state.c_str());
        return isPowerOnPending(state) ? releaseAtStart() : 1;
    }
    catch (const sdbusplus::exception::exception& error)
    {
        return failedRead(error.what(), error.name());
    }
    catch (const std::exception& error)
    {
        // One odd answer of a neighbour must not end the service.
        return failedRead(error.what(), "");
    }
}

int CpldInventoryUtils::Subscribe_Clear_HoldS5(
    std::shared_ptr<sdbusplus::asio::connection> connection, Tavrinupdate& service)
{
    const int result = Read_current_internal_power_state(service);
    if (result == 0)
    {
        logTrace("[Read_current_internal_power_state] Failed\n");
    }
    // "hols5" is how this line has always been spelt.
    logTrace("[%s] : Registering signal handler for hols5 clear\n", subscribeFunction);
    service.matches.push_back(std::make_unique<sdbusplus::bus::match_t>(
        *connection, powerStateRule, internalPowerStateSignalCallback));
    logTrace("[%s] : Registered signal handler for hols5 clear\n", subscribeFunction);
    return result;
}
