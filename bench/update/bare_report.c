/**
 * @file
 * The least that a report can be: connect, call, close.
 *
 * usage: bare_report FQDD TRANSACTION
 *
 * Sends as many reports as each line of standard input says, and answers "done". Ends with its
 * input. Like an update's, the reports of a line come from a thread of their own, which has its
 * stack and its part of the allocator still to touch.
 */

#include "bench/support.h"

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <systemd/sd-bus.h>

/** What the reports of one line of input say. */
struct batch
{
    const char* fqdd;
    uint32_t transaction;
    unsigned count;
};

static int report(const char* fqdd, uint32_t transaction, uint16_t percentage)
{
    const uint8_t in_progress = 4;
    sd_bus* bus = NULL;
    sd_bus_message* reply = NULL;
    int result = sd_bus_open_system(&bus);
    if (result >= 0)
    {
        result =
            sd_bus_call_method(bus, "com.vexa.bevon.cmnfwupd", "/com/vexa/bevon/cmnfwupd",
                               "com.vexa.bevon.cmnfwupd.fw_management", "cmnfwupd_fw_update_status",
                               NULL, &reply, "syuq", fqdd, in_progress, transaction, percentage);
    }
    sd_bus_message_unref(reply);
    sd_bus_unref(bus);
    return result;
}

static void* send_batch(void* userdata)
{
    const struct batch* const batch = userdata;
    for (unsigned number = 0; number < batch->count; ++number)
    {
        must(report(batch->fqdd, batch->transaction, (uint16_t)(10 * number)), "report");
    }
    return NULL;
}

int main(int argc, char* argv[])
{
    struct batch batch = {0};
    if (argc != 3)
    {
        return 2;
    }
    batch.fqdd = argv[1];
    batch.transaction = (uint32_t)strtoul(argv[2], NULL, 10);
    while (scanf("%u", &batch.count) == 1)
    {
        pthread_t thread;
        must(-pthread_create(&thread, NULL, send_batch, &batch), "pthread_create");
        must(-pthread_join(thread, NULL), "pthread_join");
        puts("done");
        fflush(stdout);
    }
    return 0;
}
