/**
 * @file
 * An update coordinator that never keeps the service waiting: it answers every registration and
 * report at once, and knows when each message came.
 *
 * usage: prompt_coordinator
 *
 * Says "ready" when it owns its name. Each line of standard input starts a job:
 *
 *     OBJECT-PATH FQDD TRANSACTION COMPONENT-NUMBER DIRECTORY
 *
 * Each message is a line of standard output: the monotonic clock in nanoseconds, "begin" (the first
 * property is about to be sent), "asked" (the update is about to be), "result" (with the method's
 * answer), "report" (with status and percentage) or "registration". Ends with its input.
 */

#include "bench/support.h"

#include <errno.h>
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#define SERVICE "com.vexa.bevon.tavrinupdate"
#define UPDATE_INTERFACE "com.vexa.bevon.cmnupdate.comp_update"
#define COORDINATOR "com.vexa.bevon.cmnfwupd"
#define COORDINATOR_PATH "/com/vexa/bevon/cmnfwupd"
#define COORDINATOR_INTERFACE "com.vexa.bevon.cmnfwupd.fw_management"

/** The job that is on its way. */
static struct
{
    sd_bus* bus;
    char path[128];
    char fqdd[64];
    uint32_t transaction;
    uint32_t component;
    char directory[512];
} job;

static void must_succeed(sd_bus_message* reply)
{
    const sd_bus_error* const error = sd_bus_message_get_error(reply);
    if (error != NULL)
    {
        fprintf(stderr, "prompt_coordinator: %s: %s\n", error->name, error->message);
        exit(1);
    }
}

// -- a job: three properties, one after the other, then the call
// ------------------------------------

static int take_result(sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    const int64_t time = now();
    int32_t result = 0;
    (void)userdata;
    (void)error;
    must_succeed(reply);
    must(sd_bus_message_read(reply, "i", &result), "result");
    printf("%" PRId64 " result %" PRId32 "\n", time, result);
    return 0;
}

static int ask(sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    (void)userdata;
    (void)error;
    must_succeed(reply);
    const int64_t time = now();
    must(sd_bus_call_method_async(job.bus, NULL, SERVICE, job.path, UPDATE_INTERFACE,
                                  "CompFirmwareUpdate", take_result, NULL, "su", job.fqdd,
                                  job.transaction),
         "CompFirmwareUpdate");
    printf("%" PRId64 " asked\n", time);
    return 0;
}

static void set(const char* property, sd_bus_message_handler_t next, const char* type,
                const void* value)
{
    sd_bus_message* message = NULL;
    must(sd_bus_message_new_method_call(job.bus, &message, SERVICE, job.path,
                                        "org.freedesktop.DBus.Properties", "Set"),
         property);
    must(sd_bus_message_append(message, "ss", UPDATE_INTERFACE, property), property);
    must(sd_bus_message_open_container(message, 'v', type), property);
    must(sd_bus_message_append_basic(message, *type, value), property);
    must(sd_bus_message_close_container(message), property);
    must(sd_bus_call_async(job.bus, NULL, message, next, NULL, 0), property);
    sd_bus_message_unref(message);
}

static int set_directory(sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    (void)userdata;
    (void)error;
    must_succeed(reply);
    set("Resource_URI", ask, "s", job.directory);
    return 0;
}

static int set_component(sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    (void)userdata;
    (void)error;
    must_succeed(reply);
    set("Component_id", set_directory, "u", &job.component);
    return 0;
}

static int read_job(sd_event_source* source, int descriptor, uint32_t events, void* userdata)
{
    char line[1024];
    const ssize_t size = read(descriptor, line, sizeof(line) - 1);
    (void)events;
    (void)userdata;
    if (size <= 0)
    {
        return sd_event_exit(sd_event_source_get_event(source), 0);
    }
    line[size] = '\0';
    const int words = sscanf(line, "%127s %63s %" SCNu32 " %" SCNu32 " %511s", job.path, job.fqdd,
                             &job.transaction, &job.component, job.directory);
    must(words == 5 ? 0 : -EINVAL, "job");
    const int64_t time = now();
    set("Jobid", set_component, "s", "JID_1");
    printf("%" PRId64 " begin\n", time);
    return 0;
}

// -- what the service calls
// -------------------------------------------------------------------------

static int take_registration(sd_bus_message* call, void* userdata, sd_bus_error* error)
{
    const int64_t time = now();
    (void)userdata;
    (void)error;
    must(sd_bus_reply_method_return(call, ""), "registration");
    printf("%" PRId64 " registration\n", time);
    return 1;
}

static int take_report(sd_bus_message* call, void* userdata, sd_bus_error* error)
{
    const int64_t time = now();
    const char* fqdd = NULL;
    uint8_t status = 0;
    uint32_t transaction = 0;
    uint16_t percentage = 0;
    (void)userdata;
    (void)error;
    must(sd_bus_reply_method_return(call, ""), "report");
    must(sd_bus_message_read(call, "syuq", &fqdd, &status, &transaction, &percentage), "report");
    printf("%" PRId64 " report %u %u\n", time, (unsigned)status, (unsigned)percentage);
    return 1;
}

static const sd_bus_vtable methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("cmnfwupd_client_register", "sss", "", take_registration,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("cmnfwupd_fw_update_status", "syuq", "", take_report, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int main(void)
{
    sd_event* event = NULL;
    setvbuf(stdout, NULL, _IOLBF, 0);
    must(sd_event_new(&event), "sd_event_new");
    must(sd_bus_open_system(&job.bus), "sd_bus_open_system");
    must(sd_bus_attach_event(job.bus, event, SD_EVENT_PRIORITY_NORMAL), "sd_bus_attach_event");
    must(sd_bus_add_object_vtable(job.bus, NULL, COORDINATOR_PATH, COORDINATOR_INTERFACE, methods,
                                  NULL),
         COORDINATOR_PATH);
    must(sd_bus_request_name(job.bus, COORDINATOR, 0), COORDINATOR);
    must(sd_event_add_io(event, NULL, STDIN_FILENO, EPOLLIN, read_job, NULL), "input");
    puts("ready");
    must(sd_event_loop(event), "sd_event_loop");
    sd_bus_flush_close_unref(job.bus);
    sd_event_unref(event);
    return 0;
}
