/**
 * @file
 * What the service is measured beside: the same objects with the same members on the same bus, and
 * nothing between them and sd-bus.
 *
 * usage: minimal-service PBB PDB FLOP, the numbers of CPLDs of the three kinds
 */

#include "component.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char bus_name[] = "com.vexa.bevon.tavrinupdate";
static const char manager_path[] = "/com/vexa/bevon/cpld_updater";
static const char anchor_path[] = "/com/vexa/bevon/dummy";

struct kind
{
    const char* node;
    const char* name;
    const char* fqdd_prefix;
    uint32_t component_id;
};

static const struct kind kinds[] = {
    {"PBB_PLD", "PBB_CPLD", "PBBCPLD.Embedded.", 114678},
    {"PDB_PLD", "PDB_CPLD", "PDBCPLD.Embedded.", 114747},
    {"FLOP", "FLOP_CPLD", "CPLD.IOBay.", 112102},
};

enum
{
    kind_count = sizeof(kinds) / sizeof(kinds[0]),
    text_size = 128,
};

/** A copy of its own, since sd-bus replaces the texts that it stores. */
static char* copy(const char* text)
{
    char* const result = strdup(text);
    if (result == NULL)
    {
        abort();
    }
    return result;
}

static void checked(int result, const char* call)
{
    if (result < 0)
    {
        fprintf(stderr, "%s: %s\n", call, strerror(-result));
        exit(EXIT_FAILURE);
    }
}

/** The values that every object begins with. */
static struct component* new_component(void)
{
    struct component* const made = calloc(1, sizeof(*made));
    if (made == NULL)
    {
        abort();
    }
    made->inventory.device_type = 1;
    made->inventory.display_name = copy("PBB CPLD");
    made->inventory.friendly_fqdd = copy("PBB CPLD");
    made->inventory.update_status = copy("NotStarted");
    return made;
}

static struct component* describe(const struct kind* kind, const char* path, unsigned number,
                                  unsigned count)
{
    char fqdd[text_size];
    snprintf(fqdd, sizeof(fqdd), "%s%u", kind->fqdd_prefix, number);
    struct component* const made = new_component();

    made->registration = (struct registration){
        .fqdd = copy(fqdd),
        .component_id = kind->component_id,
        .serial_type = 1,
        .service = copy(bus_name),
        .object = copy(path),
        .interface = copy("com.vexa.bevon.cmnupdate.comp_update"),
        .method = copy("CompFirmwareUpdate"),
    };
    made->base.component_id = kind->component_id;
    made->base.display_name = copy(kind->name);
    made->base.friendly_fqdd = copy(kind->name);
    made->base.fqdd = copy(fqdd);
    made->base.installed_version = copy("1.0.0");
    free(made->inventory.display_name);
    free(made->inventory.friendly_fqdd);
    made->inventory.fqdd = copy(fqdd);
    made->inventory.component_id = kind->component_id;
    made->inventory.count = count;
    made->inventory.display_name = copy(kind->name);
    made->inventory.friendly_fqdd = copy(kind->name);
    made->inventory.installed_version = copy("1.0.0");
    return made;
}

static void publish(sd_bus* bus, const struct kind* kind, unsigned count)
{
    for (unsigned number = 1; number <= count; ++number)
    {
        char path[text_size];
        snprintf(path, sizeof(path), "%s/%s_%u", manager_path, kind->node, number);
        struct component* const component = describe(kind, path, number, count);
        checked(serve_component(bus, path, component), "serve_component");
        checked(sd_bus_emit_object_added(bus, path), "sd_bus_emit_object_added");
    }
}

static void serve(sd_bus* bus)
{
    for (;;)
    {
        const int result = sd_bus_process(bus, NULL);
        checked(result, "sd_bus_process");
        if (result == 0)
        {
            checked(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
}

int main(int argc, char* argv[])
{
    if (argc != 1 + kind_count)
    {
        fprintf(stderr, "usage: %s PBB PDB FLOP\n", argv[0]);
        return EXIT_FAILURE;
    }
    sd_bus* bus = NULL;
    checked(sd_bus_open_system(&bus), "sd_bus_open_system");
    checked(serve_component(bus, anchor_path, new_component()), "serve_component");
    checked(sd_bus_add_object_manager(bus, NULL, manager_path), "sd_bus_add_object_manager");
    for (int i = 0; i < kind_count; ++i)
    {
        publish(bus, &kinds[i], (unsigned)strtoul(argv[i + 1], NULL, 10));
    }
    checked(sd_bus_request_name(bus, bus_name, 0), "sd_bus_request_name");
    serve(bus);
}
