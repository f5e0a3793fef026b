/**
 * @file
 * The least that a publication can be: the service's objects, which sd-bus reads out of structures,
 * and the same four announcements of each.
 *
 * usage: bare_publication DEVICES
 *
 * Publishes as many objects of each kind as it is told, says how many nanoseconds there were from
 * the time when the first was there to the time when the last was, and ends.
 */

#include "bench/bus/instances.h"
#include "bench/support.h"

#include <inttypes.h>
#include <stdio.h>

int refuse_update(sd_bus_message* call, void* component, sd_bus_error* error)
{
    (void)call;
    (void)component;
    return sd_bus_error_set(error, SD_BUS_ERROR_NOT_SUPPORTED, "nobody is to call it");
}

static void announce(sd_bus* bus, const char* path)
{
    must(sd_bus_emit_object_added(bus, path), path);
}

/** Two announcements come last, as the service's base inventory waits for its values with its own.
 */
static void publish(sd_bus* bus, const struct kind* kind, unsigned number, unsigned count)
{
    char path[path_size];
    instance_path(path, kind, number);
    struct component* const component = new_instance(kind, number, count);
    serve_interface(bus, path, registration_interface, component);
    announce(bus, path);
    serve_interface(bus, path, update_interface, component);
    announce(bus, path);
    serve_interface(bus, path, base_interface, component);
    serve_interface(bus, path, inventory_interface, component);
    announce(bus, path);
    announce(bus, path);
}

int main(int argc, char* argv[])
{
    sd_bus* bus = NULL;
    if (argc != 2)
    {
        return 2;
    }
    const unsigned devices = (unsigned)strtoul(argv[1], NULL, 10);
    must(sd_bus_open_system(&bus), "sd_bus_open_system");
    must(sd_bus_request_name(bus, bus_name, 0), bus_name);
    must(sd_bus_add_object_manager(bus, NULL, manager_path), manager_path);
    int64_t begin = 0;
    for (int kind = 0; kind < kind_count; ++kind)
    {
        for (unsigned number = 1; number <= devices; ++number)
        {
            publish(bus, &kinds[kind], number, devices);
            begin = begin == 0 ? now() : begin;
        }
    }
    printf("%" PRId64 "\n", now() - begin);
    sd_bus_flush_close_unref(bus);
    return 0;
}
