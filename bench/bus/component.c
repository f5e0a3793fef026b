#include "component.h"

#include "bench/support.h"

#include <stddef.h>

/** Nothing that is measured: a call that is answered with "not all were stored". */
static int refuse_properties(sd_bus_message* call, void* component, sd_bus_error* error)
{
    (void)component;
    (void)error;
    return sd_bus_reply_method_return(call, "i", -1);
}

// Where the service has no handler of its own, sd-bus reads and writes the field itself.
#define AT(field) offsetof(struct component, field)
#define WRITABLE(name, type, field)                                                                \
    SD_BUS_WRITABLE_PROPERTY(name, type, NULL, NULL, AT(field), SD_BUS_VTABLE_UNPRIVILEGED)
#define CONSTANT(name, type, field)                                                                \
    SD_BUS_PROPERTY(name, type, NULL, AT(field), SD_BUS_VTABLE_PROPERTY_CONST)
#define ANNOUNCED(name, type, field)                                                               \
    SD_BUS_PROPERTY(name, type, NULL, AT(field), SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE)

static const sd_bus_vtable update_table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CompFirmwareUpdate", "su", "i", refuse_update, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SetAllProperties", "a{sv}", "i", refuse_properties, SD_BUS_VTABLE_UNPRIVILEGED),
    WRITABLE("Jobid", "s", update.job_id),
    WRITABLE("Resource_URI", "s", update.resource_uri),
    WRITABLE("Previous_URI", "s", update.previous_uri),
    WRITABLE("New_FW_ver", "s", update.new_version),
    WRITABLE("Component_id", "u", update.component_id),
    WRITABLE("Timeout", "u", update.timeout),
    WRITABLE("deviceID", "q", update.device_id),
    WRITABLE("subDeviceID", "q", update.sub_device_id),
    WRITABLE("vendorID", "q", update.vendor_id),
    WRITABLE("subVendorID", "q", update.sub_vendor_id),
    SD_BUS_VTABLE_END,
};

static const sd_bus_vtable registration_table[] = {
    SD_BUS_VTABLE_START(0),
    WRITABLE("Fqdd", "s", registration.fqdd),
    WRITABLE("Comp_ID", "u", registration.component_id),
    WRITABLE("Reboot_Type", "y", registration.reboot_type),
    WRITABLE("Serial_Type", "y", registration.serial_type),
    WRITABLE("fwupdate_service", "s", registration.service),
    WRITABLE("fwupdate_object", "s", registration.object),
    WRITABLE("fwupdate_interface", "s", registration.interface),
    WRITABLE("fwupdate_methodcall", "s", registration.method),
    SD_BUS_VTABLE_END,
};

static const sd_bus_vtable base_table[] = {
    SD_BUS_VTABLE_START(0),
    CONSTANT("ComponentID", "u", base.component_id),
    CONSTANT("ComponentType", "q", base.component_type),
    ANNOUNCED("CurrentVersionString", "s", base.current_version),
    ANNOUNCED("CurrentReleaseDate", "s", base.current_date),
    CONSTANT("DeviceType", "q", base.device_type),
    CONSTANT("DisplayName", "s", base.display_name),
    CONSTANT("FQDD", "s", base.fqdd),
    ANNOUNCED("Flags", "y", base.flags),
    CONSTANT("FriendlyFQDD", "s", base.friendly_fqdd),
    ANNOUNCED("ImpactsTPMmeasurements", "b", base.impacts_tpm),
    ANNOUNCED("InstallationDate", "t", base.installation_date),
    ANNOUNCED("InstalledVersionString", "s", base.installed_version),
    ANNOUNCED("PreviousVersionString", "s", base.previous_version),
    ANNOUNCED("PreviousReleaseDate", "s", base.previous_date),
    ANNOUNCED("Sha256String", "s", base.sha256),
    ANNOUNCED("ShaPreviousVersionHash", "s", base.previous_sha256),
    ANNOUNCED("VersionDependencyArray", "s", base.dependencies),
    CONSTANT("SidebandUpdateCapable", "q", base.sideband),
    ANNOUNCED("PLDMCapabilitiesDuringUpdate", "u", base.pldm),
    ANNOUNCED("PLDMFDPCapabilitiesDuringUpdate", "u", base.pldm_proxy),
    ANNOUNCED("releaseType", "y", base.release_type),
    SD_BUS_VTABLE_END,
};

static const sd_bus_vtable inventory_table[] = {
    SD_BUS_VTABLE_START(0),
    WRITABLE("Fqdd", "s", inventory.fqdd),
    WRITABLE("Comp_ID", "u", inventory.component_id),
    WRITABLE("Count", "u", inventory.count),
    WRITABLE("ComponentType", "u", inventory.component_type),
    WRITABLE("CurrentVersionString", "s", inventory.current_version),
    WRITABLE("DeviceType", "u", inventory.device_type),
    WRITABLE("DisplayName", "s", inventory.display_name),
    WRITABLE("Flags", "u", inventory.flags),
    WRITABLE("FriendlyFQDD", "s", inventory.friendly_fqdd),
    WRITABLE("ImpactsTPMmeasurements", "b", inventory.impacts_tpm),
    WRITABLE("InstallationDate", "u", inventory.installation_date),
    WRITABLE("InstalledVersionString", "s", inventory.installed_version),
    WRITABLE("PreviousVersionString", "s", inventory.previous_version),
    WRITABLE("UpdateStatus", "s", inventory.update_status),
    WRITABLE("UpdatePercent", "u", inventory.update_percent),
    WRITABLE("PSUScanBlock", "b", inventory.scan_block),
    SD_BUS_VTABLE_END,
};

static const struct
{
    const char* name;
    const sd_bus_vtable* table;
} interfaces[interface_count] = {
    [registration_interface] = {"com.vexa.bevon.cmnupdate.comp_mprop_dri_registration",
                                registration_table},
    [update_interface] = {"com.vexa.bevon.cmnupdate.comp_update", update_table},
    [base_interface] = {"com.vexa.bevon.inventory.BaseSwInventory", base_table},
    [inventory_interface] = {"com.vexa.bevon.inventory.TavrinInventory", inventory_table},
};

void serve_interface(sd_bus* bus, const char* path, enum interface interface,
                     struct component* component)
{
    must(sd_bus_add_object_vtable(bus, NULL, path, interfaces[interface].name,
                                  interfaces[interface].table, component),
         path);
}

void serve_component(sd_bus* bus, const char* path, struct component* component)
{
    for (enum interface interface = 0; interface < interface_count; ++interface)
    {
        serve_interface(bus, path, interface, component);
    }
}
