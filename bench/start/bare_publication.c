/**
 * @file
 * The least that a publication can be: for each object four interfaces of the service's shape,
 * which sd-bus reads out of a structure, and the same four announcements.
 *
 * usage: bare_publication DEVICES
 *
 * Publishes as many objects of each kind as it is told, says how many nanoseconds that took from
 * the first object's to the last one's, and ends.
 */

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <systemd/sd-bus.h>
#include <time.h>

#define ROOT "/com/vexa/bevon/cpld_updater"
#define UPDATE "com.vexa.bevon.cmnupdate.comp_update"

/** What every property of a type reads. */
struct values
{
    const char* text;
    uint32_t number;
    uint16_t word;
    uint8_t byte;
    int flag;
    uint64_t date;
};

static struct values values = {"PBBCPLD.Embedded.1", 114678, 1, 1, 0, 0};

#define TEXT(name) PROPERTY(name, "s", text)
#define NUMBER(name) PROPERTY(name, "u", number)
#define WORD(name) PROPERTY(name, "q", word)
#define BYTE(name) PROPERTY(name, "y", byte)
#define FLAG(name) PROPERTY(name, "b", flag)
#define DATE(name) PROPERTY(name, "t", date)
#define PROPERTY(name, type, member)                                                               \
    SD_BUS_PROPERTY(name, type, NULL, offsetof(struct values, member), 0)

static int refuse(sd_bus_message* call, void* userdata, sd_bus_error* error)
{
    (void)call;
    (void)userdata;
    return sd_bus_error_set(error, SD_BUS_ERROR_NOT_SUPPORTED, "there is nothing behind it");
}

static const sd_bus_vtable registration[] = {
    SD_BUS_VTABLE_START(0),      TEXT("Fqdd"),
    NUMBER("Comp_ID"),           BYTE("Reboot_Type"),
    BYTE("Serial_Type"),         TEXT("fwupdate_service"),
    TEXT("fwupdate_object"),     TEXT("fwupdate_interface"),
    TEXT("fwupdate_methodcall"), SD_BUS_VTABLE_END,
};

static const sd_bus_vtable update[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CompFirmwareUpdate", "su", "i", refuse, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SetAllProperties", "a{sv}", "i", refuse, SD_BUS_VTABLE_UNPRIVILEGED),
    TEXT("Jobid"),
    TEXT("Resource_URI"),
    TEXT("Previous_URI"),
    TEXT("New_FW_ver"),
    NUMBER("Component_id"),
    NUMBER("Timeout"),
    WORD("deviceID"),
    WORD("subDeviceID"),
    WORD("vendorID"),
    WORD("subVendorID"),
    SD_BUS_VTABLE_END,
};

static const sd_bus_vtable base_inventory[] = {
    SD_BUS_VTABLE_START(0),
    NUMBER("ComponentID"),
    WORD("ComponentType"),
    TEXT("CurrentVersionString"),
    TEXT("CurrentReleaseDate"),
    WORD("DeviceType"),
    TEXT("DisplayName"),
    TEXT("FQDD"),
    BYTE("Flags"),
    TEXT("FriendlyFQDD"),
    FLAG("ImpactsTPMmeasurements"),
    DATE("InstallationDate"),
    TEXT("InstalledVersionString"),
    TEXT("PreviousVersionString"),
    TEXT("PreviousReleaseDate"),
    TEXT("Sha256String"),
    TEXT("ShaPreviousVersionHash"),
    TEXT("VersionDependencyArray"),
    WORD("SidebandUpdateCapable"),
    NUMBER("PLDMCapabilitiesDuringUpdate"),
    NUMBER("PLDMFDPCapabilitiesDuringUpdate"),
    BYTE("releaseType"),
    SD_BUS_VTABLE_END,
};

static const sd_bus_vtable inventory[] = {
    SD_BUS_VTABLE_START(0),
    TEXT("Fqdd"),
    NUMBER("Comp_ID"),
    NUMBER("Count"),
    NUMBER("ComponentType"),
    TEXT("CurrentVersionString"),
    NUMBER("DeviceType"),
    TEXT("DisplayName"),
    NUMBER("Flags"),
    TEXT("FriendlyFQDD"),
    FLAG("ImpactsTPMmeasurements"),
    NUMBER("InstallationDate"),
    TEXT("InstalledVersionString"),
    TEXT("PreviousVersionString"),
    TEXT("UpdateStatus"),
    NUMBER("UpdatePercent"),
    FLAG("PSUScanBlock"),
    SD_BUS_VTABLE_END,
};

static void must(int result, const char* what)
{
    if (result < 0)
    {
        fprintf(stderr, "bare_publication: %s: %s\n", what, strerror(-result));
        exit(1);
    }
}

static void add(sd_bus* bus, const char* path, const char* interface, const sd_bus_vtable* members)
{
    must(sd_bus_add_object_vtable(bus, NULL, path, interface, members, &values), interface);
}

/** The second inventory is announced before the first, whose announcement waits for its values. */
static void publish(sd_bus* bus, const char* kind, unsigned number)
{
    char path[128];
    snprintf(path, sizeof(path), ROOT "/%s_%u", kind, number);
    add(bus, path, "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration", registration);
    must(sd_bus_emit_object_added(bus, path), path);
    add(bus, path, UPDATE, update);
    must(sd_bus_emit_object_added(bus, path), path);
    add(bus, path, "com.vexa.bevon.inventory.BaseSwInventory", base_inventory);
    add(bus, path, "com.vexa.bevon.inventory.TavrinInventory", inventory);
    must(sd_bus_emit_object_added(bus, path), path);
    must(sd_bus_emit_object_added(bus, path), path);
}

static int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * INT64_C(1000000000) + time.tv_nsec;
}

int main(int argc, char* argv[])
{
    static const char* const kinds[] = {"PBB_PLD", "PDB_PLD", "FLOP"};
    sd_bus* bus = NULL;
    if (argc != 2)
    {
        return 2;
    }
    const unsigned devices = (unsigned)strtoul(argv[1], NULL, 10);
    must(sd_bus_open_system(&bus), "sd_bus_open_system");
    must(sd_bus_request_name(bus, "com.vexa.bevon.tavrinupdate", 0), "sd_bus_request_name");
    must(sd_bus_add_object_manager(bus, NULL, ROOT), ROOT);
    const int64_t begin = now();
    for (size_t kind = 0; kind < sizeof(kinds) / sizeof(kinds[0]); ++kind)
    {
        for (unsigned number = 1; number <= devices; ++number)
        {
            publish(bus, kinds[kind], number);
        }
    }
    printf("%" PRId64 "\n", now() - begin);
    sd_bus_flush_close_unref(bus);
    return 0;
}
