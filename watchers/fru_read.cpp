#include "log/log.hpp"
#include "service/publication.hpp"
#include "service/remote_property.hpp"
#include "watchers/changed_properties.hpp"
#include "watchers/cpld_inventory_utils.hpp"
#include "watchers/registration.hpp"

#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <exception>
#include <memory>
#include <thread>
#include <variant>

namespace
{

constexpr auto readFunction = "Read_current_fruread_status";
constexpr auto subscribeFunction = "Subscribe_FruReadComplete_status";
constexpr auto callbackFunction = "operator()";

constexpr auto fruReadRule =
    "type='signal',member='PropertiesChanged',interface='org.freedesktop.DBus.Properties',arg0namespace='com.vexa.bmc.mppd.pcardInfo'";

constexpr RemoteProperty fruReadStatus{
    "com.vexa.bmc.mppd",
    "/com/vexa/bmc/mppd/info",
    "com.vexa.bmc.mppd.pcardInfo",
    "FRUreadComplete",
};

/** Whether the FRU read's first completion has been seen in this process. Main thread. */
bool inventoryPublished = false; // NOLINT: one for the process

/** Reads a kind's versions; an earlier reading that failed half-way leaves nothing behind. */
bool readVersionsAfresh(CpldInventory& record)
{
    record.fqdds.clear();
    record.cpldVersions.clear();
    return Tavrinupdate::readCpldVersion(record);
}

/** Reads what has not been read yet, and the FLOPs. @return whether the FLOPs were read */
bool readMissingVersions(Tavrinupdate& service, const char* caller)
{
    const bool flopRead = readVersionsAfresh(service.flop);
    if (!flopRead)
    {
        logTrace("[%s] : i2c Read version failed for FLOP\n", caller);
    }
    if (!service.pbb.inventoryReady && !readVersionsAfresh(service.pbb))
    {
        logTrace("[%s] : i2c Read version failed for PBB\n", caller);
    }
    if (!service.pdb.inventoryReady && !readVersionsAfresh(service.pdb))
    {
        logTrace("[%s] : i2c Read version failed for PDB\n", caller);
    }
    return flopRead;
}

bool isAnyReady(Tavrinupdate& service)
{
    const auto records = service.components();
    return std::any_of(records.begin(), records.end(),
                       [](const CpldInventory* record) { return record->inventoryReady; });
}

/**
 * What is done when the FRU read is first seen complete: versions, publication, registration.
 *
 * @param started set after the version reads, whatever came of them: nothing is tried again
 * @return whether the FLOPs were read
 * @throws sdbusplus::exception::SdBusError as the publication does
 * @throws std::system_error when no thread can be started; what was published stays
 */
bool completeInventory(bool& started, Tavrinupdate& service, const char* caller)
{
    const bool flopRead = readMissingVersions(service, caller);
    started = true;
    if (isAnyReady(service))
    {
        registerObjectPaths_PopulateInventory(service);
        std::thread(regSignalThreadHandler, registrationTargets(service)).detach();
    }
    return flopRead;
}

int failedRead(const char* text, const char* name)
{
    logRecord("[%s] : Exception: %s %s\n", readFunction, text, name);
    return 0;
}

void handleChange(sdbusplus::message_t& signal, bool& started, Tavrinupdate& service)
{
    // A value of neither type reads as the first alternative, so a boolean is known to be one.
    const auto changed = readChangedProperties<std::variant<std::uint16_t, bool>>(signal);
    const auto entry = changed.find(fruReadStatus.name);
    if (entry == changed.end())
    {
        return;
    }
    const bool complete = std::get<bool>(entry->second);
    if (complete && !started)
    {
        completeInventory(started, service, callbackFunction);
    }
    logTrace("frureadcompleteHandler : FrureadComplete %d\n", static_cast<int>(complete));
}

void frureadcompleteHandler(sdbusplus::message_t& signal, bool& started, Tavrinupdate& service)
{
    if (signal.is_method_error())
    {
        logRecord("frureadcompleteHandler : Message Error, Unable to read FrureadComplete\n");
        return;
    }
    try
    {
        handleChange(signal, started, service);
    }
    catch (const std::exception& error)
    {
        logRecord("frureadcompleteHandler : Exception: %s\n", error.what());
    }
}

} // namespace

int CpldInventoryUtils::Read_current_fruread_status(bool& started, Tavrinupdate& service)
{
    try
    {
        const bool complete = readProperty<bool, std::uint16_t>(fruReadStatus);
        // In the error log on purpose: this line must always reach the log file.
        logRecord("[%s] : FruReadComplete status: %d\n", readFunction, static_cast<int>(complete));
        if (!complete)
        {
            return 1;
        }
        return completeInventory(started, service, readFunction) ? 1 : 0;
    }
    catch (const sdbusplus::exception::exception& error)
    {
        return failedRead(error.what(), error.name());
    }
    catch (const std::bad_variant_access& error)
    {
        // One odd answer of a neighbour must not end the service.
        return failedRead(error.what(), "");
    }
}

int CpldInventoryUtils::Subscribe_FruReadComplete_status(
    std::shared_ptr<sdbusplus::asio::connection> connection, Tavrinupdate& service)
{
    const int result = Read_current_fruread_status(inventoryPublished, service);
    logTrace("[%s] : Registering signal handler for frureadcomplete\n", subscribeFunction);
    service.matches.push_back(std::make_unique<sdbusplus::bus::match_t>(
        *connection, fruReadRule,
        [&service](sdbusplus::message_t& signal)
        { frureadcompleteHandler(signal, inventoryPublished, service); }));
    logTrace("[%s] : Registered signal handler for frureadcomplete\n", subscribeFunction);
    return result;
}
