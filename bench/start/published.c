/**
 * @file
 * Waits until a service has published its objects: it owns its name and answers again, which it
 * does when all of them are there.
 *
 * usage: published NAME PATH
 *
 * Says "ready" when it listens. Then one line: the monotonic clock in nanoseconds when the
 * service answered, the processor time of its main thread until then, and how many objects there
 * are at PATH.
 */

#include "bench/support.h"

#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <systemd/sd-bus.h>

#define DAEMON "org.freedesktop.DBus"

static const uint64_t patience_us = 60 * 1000000ULL;

/** Notes that the name has an owner; the new one is empty where the name was given up. */
static int note_owner(sd_bus_message* signal, void* owned, sd_bus_error* error)
{
    const char* name = NULL;
    const char* before = NULL;
    const char* after = NULL;
    (void)error;
    must(sd_bus_message_read(signal, "sss", &name, &before, &after), "NameOwnerChanged");
    if (*after != '\0')
    {
        *(bool*)owned = true;
    }
    return 0;
}

static void wait_for_owner(sd_bus* bus, const bool* owned)
{
    while (!*owned)
    {
        const int handled = sd_bus_process(bus, NULL);
        must(handled, "sd_bus_process");
        if (handled == 0)
        {
            const int waited = sd_bus_wait(bus, patience_us);
            must(waited == 0 ? -ETIMEDOUT : waited, "sd_bus_wait");
        }
    }
}

static sd_bus_message* call(sd_bus* bus, const char* service, const char* path,
                            const char* interface, const char* member)
{
    sd_bus_message* message = NULL;
    sd_bus_message* reply = NULL;
    must(sd_bus_message_new_method_call(bus, &message, service, path, interface, member), member);
    must(sd_bus_call(bus, message, patience_us, NULL, &reply), member);
    sd_bus_message_unref(message);
    return reply;
}

static pid_t process_of(sd_bus* bus, const char* name)
{
    sd_bus_creds* creds = NULL;
    pid_t pid = 0;
    must(sd_bus_get_name_creds(bus, name, SD_BUS_CREDS_PID, &creds), "sd_bus_get_name_creds");
    must(sd_bus_creds_get_pid(creds, &pid), "sd_bus_creds_get_pid");
    sd_bus_creds_unref(creds);
    return pid;
}

/** Nanoseconds that the main thread of a process has run. */
static int64_t processor_time(pid_t pid)
{
    char path[64];
    int64_t time = 0;
    snprintf(path, sizeof(path), "/proc/%d/schedstat", (int)pid);
    FILE* file = fopen(path, "r");
    must(file != NULL && fscanf(file, "%" SCNd64, &time) == 1 ? 0 : -EIO, path);
    fclose(file);
    return time;
}

static int count_objects(sd_bus_message* reply)
{
    int count = 0;
    must(sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}"), "GetManagedObjects");
    while (!sd_bus_message_at_end(reply, false))
    {
        must(sd_bus_message_skip(reply, "{oa{sa{sv}}}"), "GetManagedObjects");
        ++count;
    }
    return count;
}

static sd_bus* listen_to(const char* service, bool* owned)
{
    sd_bus* bus = NULL;
    char rule[256];
    must(sd_bus_open_system(&bus), "sd_bus_open_system");
    snprintf(rule, sizeof(rule),
             "type='signal',sender='" DAEMON "',member='NameOwnerChanged',arg0='%s'", service);
    must(sd_bus_add_match(bus, NULL, rule, note_owner, owned), "sd_bus_add_match");
    return bus;
}

int main(int argc, char* argv[])
{
    if (argc != 3)
    {
        return 2;
    }
    const char* const service = argv[1];
    bool owned = false;
    sd_bus* const bus = listen_to(service, &owned);
    puts("ready");
    fflush(stdout);

    wait_for_owner(bus, &owned);
    sd_bus_message_unref(call(bus, service, "/", "org.freedesktop.DBus.Peer", "Ping"));
    const int64_t answered = now();
    const int64_t used = processor_time(process_of(bus, service));
    sd_bus_message* const objects =
        call(bus, service, argv[2], "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
    printf("%" PRId64 " %" PRId64 " %d\n", answered, used, count_objects(objects));
    sd_bus_message_unref(objects);
    sd_bus_flush_close_unref(bus);
    return 0;
}
