/**
 * @file
 * Calls one method of the service again and again, over one connection: BLOCKS times COUNT calls.
 * Prints the least of the blocks' median latencies in nanoseconds.
 *
 * usage: bus_calls ADDRESS CALL BLOCKS COUNT PAUSE, where CALL is one of the names in `calls` and
 * PAUSE the microseconds before each call
 */

#include "bench/support.h"

#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

static const char service[] = "com.vexa.bevon.tavrinupdate";
static const char manager[] = "/com/vexa/bevon/cpld_updater";
static const char object[] = "/com/vexa/bevon/cpld_updater/PBB_PLD_1";
static const char update[] = "com.vexa.bevon.cmnupdate.comp_update";
static const char base_inventory[] = "com.vexa.bevon.inventory.BaseSwInventory";
static const char properties[] = "org.freedesktop.DBus.Properties";

/** A service under a profiler needs long for its largest answer. */
static const uint64_t patience_us = 300ULL * 1000 * 1000;

static sd_bus_message* new_call(sd_bus* bus, const char* path, const char* interface,
                                const char* member)
{
    sd_bus_message* call = NULL;
    must(sd_bus_message_new_method_call(bus, &call, service, path, interface, member), member);
    return call;
}

static sd_bus_message* get(sd_bus* bus, unsigned number)
{
    (void)number;
    sd_bus_message* const call = new_call(bus, object, properties, "Get");
    must(sd_bus_message_append(call, "ss", base_inventory, "InstalledVersionString"), "append");
    return call;
}

static sd_bus_message* get_all(sd_bus* bus, unsigned number)
{
    (void)number;
    sd_bus_message* const call = new_call(bus, object, properties, "GetAll");
    must(sd_bus_message_append(call, "s", base_inventory), "append");
    return call;
}

/** A payload folder, and always another one: every write changes the value. */
static sd_bus_message* set(sd_bus* bus, unsigned number)
{
    const char* const folder = number % 2 == 0 ? "/tmp/firmware/job-000" : "/tmp/firmware/job-001";
    sd_bus_message* const call = new_call(bus, object, properties, "Set");
    must(sd_bus_message_append(call, "ssv", update, "Resource_URI", "s", folder), "append");
    return call;
}

static sd_bus_message* start_update(sd_bus* bus, const char* fqdd)
{
    sd_bus_message* const call = new_call(bus, object, update, "CompFirmwareUpdate");
    must(sd_bus_message_append(call, "su", fqdd, 7U), "append");
    return call;
}

/** Refused by an error: no instance has this number. */
static sd_bus_message* misnumber(sd_bus* bus, unsigned number)
{
    (void)number;
    return start_update(bus, "PBBCPLD.Embedded.9999999999");
}

/** Refused by the result 1, and by a record in the log: no kind has this name. */
static sd_bus_message* misname(sd_bus* bus, unsigned number)
{
    (void)number;
    return start_update(bus, "PBBCPLD.Embedded_1");
}

static sd_bus_message* get_objects(sd_bus* bus, unsigned number)
{
    (void)number;
    return new_call(bus, manager, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
}

struct call
{
    const char* name;
    sd_bus_message* (*make)(sd_bus* bus, unsigned number);
    const char* signature; /**< of the answer; null where it is an error */
    int32_t value;         /**< of an answer that is a number; 0 where nobody looks */
};

static const struct call calls[] = {
    {"get", get, "v", 0},         {"get_all", get_all, "a{sv}", 0},
    {"set", set, "", 0},          {"misnumber", misnumber, NULL, 0},
    {"misname", misname, "i", 1}, {"objects", get_objects, "a{oa{sa{sv}}}", 0},
};

static const struct call* find_call(const char* name)
{
    for (size_t i = 0; i < sizeof(calls) / sizeof(calls[0]); ++i)
    {
        if (strcmp(calls[i].name, name) == 0)
        {
            return &calls[i];
        }
    }
    return NULL;
}

static bool is_expected(const struct call* call, int result, sd_bus_message* answer)
{
    if (call->signature == NULL)
    {
        return result == -EINVAL;
    }
    if (result < 0 || sd_bus_message_has_signature(answer, call->signature) <= 0)
    {
        return false;
    }
    int32_t value = 0;
    return call->value == 0 ||
           (sd_bus_message_read(answer, call->signature, &value) > 0 && value == call->value);
}

/** Another answer would make the figure one of something else. */
static void check_answer(const struct call* call, int result, sd_bus_message* answer)
{
    if (!is_expected(call, result, answer))
    {
        fprintf(stderr, "%s: unexpected answer (%d)\n", call->name, result);
        exit(EXIT_FAILURE);
    }
}

/** @return how long the answer took, in nanoseconds */
static int64_t call_once(sd_bus* bus, const struct call* call, unsigned number)
{
    sd_bus_message* const message = call->make(bus, number);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = NULL;
    const int64_t begin = now();
    const int result = sd_bus_call(bus, message, patience_us, &error, &answer);
    const int64_t latency = now() - begin;
    check_answer(call, result, answer);
    sd_bus_error_free(&error);
    sd_bus_message_unref(answer);
    sd_bus_message_unref(message);
    return latency;
}

static int compare(const void* left, const void* right)
{
    const int64_t a = *(const int64_t*)left;
    const int64_t b = *(const int64_t*)right;
    return (a > b) - (a < b);
}

struct plan
{
    unsigned blocks;
    unsigned count;
    unsigned pause_us; /**< for a service that is to be at rest when the call comes */
};

/** @param latencies where each call's goes */
static int64_t median_latency(sd_bus* bus, const struct call* call, const struct plan* plan,
                              int64_t* latencies)
{
    for (unsigned i = 0; i < plan->count; ++i)
    {
        if (plan->pause_us > 0)
        {
            usleep(plan->pause_us);
        }
        latencies[i] = call_once(bus, call, i);
    }
    qsort(latencies, plan->count, sizeof(*latencies), compare);
    return latencies[plan->count / 2];
}

/** Whatever else the machine does in a block makes that block's calls slower, never faster. */
static int64_t least_latency(sd_bus* bus, const struct call* call, const struct plan* plan)
{
    int64_t* const latencies = calloc(plan->count, sizeof(*latencies));
    if (latencies == NULL)
    {
        abort();
    }
    int64_t least = INT64_MAX;
    for (unsigned i = 0; i < plan->blocks; ++i)
    {
        const int64_t median = median_latency(bus, call, plan, latencies);
        least = median < least ? median : least;
    }
    free(latencies);
    return least;
}

static sd_bus* connect_to(const char* address)
{
    sd_bus* bus = NULL;
    must(sd_bus_new(&bus), "sd_bus_new");
    must(sd_bus_set_address(bus, address), "sd_bus_set_address");
    must(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
    must(sd_bus_start(bus), "sd_bus_start");
    // The bus answers once the connection stands; what follows is measured.
    const char* name = NULL;
    must(sd_bus_get_unique_name(bus, &name), "sd_bus_get_unique_name");
    return bus;
}

static unsigned number_from(const char* text)
{
    return (unsigned)strtoul(text, NULL, 10);
}

int main(int argc, char* argv[])
{
    const struct call* const call = argc == 6 ? find_call(argv[2]) : NULL;
    if (call == NULL || number_from(argv[3]) == 0 || number_from(argv[4]) == 0)
    {
        fprintf(stderr, "usage: %s ADDRESS CALL BLOCKS COUNT PAUSE\n", argv[0]);
        return EXIT_FAILURE;
    }
    const struct plan plan = {number_from(argv[3]), number_from(argv[4]), number_from(argv[5])};
    sd_bus* const bus = connect_to(argv[1]);
    printf("%lld\n", (long long)least_latency(bus, call, &plan));
    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}
