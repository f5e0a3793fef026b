#include "service/publication.hpp"

#include "inventory/version_records.hpp"
#include "log/log.hpp"
#include "service/component_table.hpp"
#include "service/sd_bus_handles.hpp"
#include "service/tavrinupdate.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace
{

constexpr auto functionName = "registerObjectPaths_PopulateInventory";

constexpr auto updateInterface = "com.vexa.bevon.cmnupdate.comp_update";
constexpr auto updateMethod = "CompFirmwareUpdate";

void claimBusName(sdbusplus::bus_t& bus)
{
    try
    {
        bus.request_name(serviceBusName);
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        // In a second publication the connection owns the name already.
        if (error.get_errno() != EALREADY)
        {
            throw;
        }
    }
}

/**
 * The connection's native handle.
 *
 * The binding library does not give it away, but every message of the connection knows it. The one
 * made for that is never sent.
 */
sd_bus* nativeBus(sdbusplus::bus_t& bus)
{
    auto message = bus.new_signal(objectManagerPath, updateInterface, "Unsent");
    return sd_bus_message_get_bus(message.get());
}

SdBusSlotPtr addObjectManager(sdbusplus::bus_t& bus)
{
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_object_manager(nativeBus(bus), &slot, objectManagerPath);
    if (result < 0)
    {
        // The binding library's object manager would hide the failure.
        throw sdbusplus::exception::SdBusError(-result, "sd_bus_add_object_manager");
    }
    return SdBusSlotPtr(slot);
}

ComponentObjects buildObjects(Tavrinupdate& service, const std::string& path)
{
    auto& bus = *service.connection;
    ComponentObjects objects;
    objects.registration = std::make_unique<CompMpropDriRegIface>(bus, path.c_str());
    objects.update = std::make_unique<CompUpdateIface>(bus, path.c_str(), service);
    objects.baseInventory = std::make_unique<BaseSwInventoryIface>(
        bus, path.c_str(), BaseSwInventoryIface::action::defer_emit);
    objects.inventory = std::make_unique<TavrinInventoryIface>(bus, path.c_str(), service);
    return objects;
}

void fillRegistration(CompMpropDriRegIface& object, const CpldInventory& record,
                      InstanceIndex index, const std::string& path)
{
    constexpr std::uint8_t noReboot = 0;
    constexpr std::uint8_t serialUpdates = 1;

    object.compID(record.componentId);
    object.fqdd(record.fqdds.at(index.value()));
    object.rebootType(noReboot);
    object.fwupdateService(serviceBusName, false);
    object.fwupdateObject(path, false);
    object.fwupdateInterface(updateInterface, false);
    object.fwupdateMethodcall(updateMethod, false);
    object.serialType(serialUpdates, false);
}

/**
 * Fills the record silently and announces it when it is complete.
 *
 * The announcement lists all interfaces of the path. The service's own inventory is filled after
 * it; its values are never announced, they are read.
 */
void fillBaseInventory(BaseSwInventoryIface& object, const CpldInventory& record,
                       InstanceIndex index)
{
    object.fqdd(record.fqdds.at(index.value()), true);
    object.installedVersionString(record.cpldVersions.at(index.value()), true);
    object.componentID(record.componentId, true);
    object.displayName(record.deviceName, true);
    object.friendlyFQDD(record.friendlyName, true);
    object.sha256String(record.sha256, true);
    object.installationDate(record.installationDate, true);
    object.emit_object_added();
}

void fillInventory(TavrinInventoryIface& object, const CpldInventory& record, InstanceIndex index)
{
    object.currentVersionString(record.currentVersions.at(index.value()));
    object.fqdd(record.fqdds.at(index.value()));
    object.installedVersionString(record.cpldVersions.at(index.value()));
    object.compID(record.componentId);
    object.displayName(record.deviceName);
    object.friendlyFQDD(record.friendlyName);
    object.count(record.instanceCount.get());
}

void publishInstance(Tavrinupdate& service, CpldInventory& record, InstanceIndex index)
{
    const auto path = instanceObjectPath(record.nodeName, index);
    // An object of an earlier publication would keep its successor from the bus.
    service.registeredObjects.erase(path);

    auto objects = buildObjects(service, path);
    get_version_strings_from_SIPL(record, index);
    fillRegistration(*objects.registration, record, index, path);
    fillBaseInventory(*objects.baseInventory, record, index);
    fillInventory(*objects.inventory, record, index);
    service.registeredObjects.emplace(path, std::move(objects));

    logTrace("[%s]: Registered object path %s for component %s\n", functionName, path.c_str(),
             record.nodeName.c_str());
}

void publishKind(Tavrinupdate& service, CpldInventory& record)
{
    const std::uint32_t count = record.instanceCount.get();
    record.currentVersions.resize(count);
    record.cpldVersions.resize(count);
    record.previousVersions.resize(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        publishInstance(service, record, InstanceIndex(index));
    }
}

} // namespace

void registerObjectPaths_PopulateInventory(Tavrinupdate& service)
{
    claimBusName(*service.connection);
    service.objectManager = addObjectManager(*service.connection);

    try
    {
        for (CpldInventory* record : service.components())
        {
            if (record->inventoryReady)
            {
                publishKind(service, *record);
            }
        }
    }
    catch (const std::exception& error)
    {
        logRecord("[%s]: Failed to register object paths: %s\n", functionName, error.what());
    }
}
