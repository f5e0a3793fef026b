#include "instances.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

const char bus_name[] = "com.vexa.bevon.tavrinupdate";
const char manager_path[] = "/com/vexa/bevon/cpld_updater";

const struct kind kinds[kind_count] = {
    {"PBB_PLD", "PBB_CPLD", "PBBCPLD.Embedded.", 114678},
    {"PDB_PLD", "PDB_CPLD", "PDBCPLD.Embedded.", 114747},
    {"FLOP", "FLOP_CPLD", "CPLD.IOBay.", 112102},
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

struct component* new_component(void)
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

void instance_path(char* path, const struct kind* kind, unsigned number)
{
    snprintf(path, path_size, "%s/%s_%u", manager_path, kind->node, number);
}

struct component* new_instance(const struct kind* kind, unsigned number, unsigned count)
{
    char path[path_size];
    char fqdd[64];
    instance_path(path, kind, number);
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
