/**
 * @file
 * What the service is measured beside: the same objects with the same members on the same bus, and
 * nothing between them and sd-bus.
 *
 * usage: minimal_service PBB PDB FLOP, the numbers of CPLDs of the three kinds
 */

#include "bench/support.h"
#include "instances.h"

#include <stdio.h>

static const char anchor_path[] = "/com/vexa/bevon/dummy";

static void publish(sd_bus* bus, const struct kind* kind, unsigned count)
{
    for (unsigned number = 1; number <= count; ++number)
    {
        char path[path_size];
        instance_path(path, kind, number);
        serve_component(bus, path, new_instance(kind, number, count));
        must(sd_bus_emit_object_added(bus, path), "sd_bus_emit_object_added");
    }
}

static void serve(sd_bus* bus)
{
    for (;;)
    {
        const int result = sd_bus_process(bus, NULL);
        must(result, "sd_bus_process");
        if (result == 0)
        {
            must(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
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
    must(sd_bus_open_system(&bus), "sd_bus_open_system");
    serve_component(bus, anchor_path, new_component());
    must(sd_bus_add_object_manager(bus, NULL, manager_path), "sd_bus_add_object_manager");
    for (int i = 0; i < kind_count; ++i)
    {
        publish(bus, &kinds[i], (unsigned)strtoul(argv[i + 1], NULL, 10));
    }
    must(sd_bus_request_name(bus, bus_name, 0), "sd_bus_request_name");
    serve(bus);
}
