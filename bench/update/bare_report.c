/**
 * @file
 * The least that a report can be: connect, call, close.
 *
 * usage: bare_report FQDD TRANSACTION
 *
 * Sends as many reports as each line of standard input says, and answers "done". Ends with its
 * input.
 */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <systemd/sd-bus.h>

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

static void must(int result)
{
    if (result < 0)
    {
        fprintf(stderr, "bare_report: %s\n", strerror(-result));
        exit(1);
    }
}

int main(int argc, char* argv[])
{
    unsigned count = 0;
    if (argc != 3)
    {
        return 2;
    }
    const uint32_t transaction = (uint32_t)strtoul(argv[2], NULL, 10);
    while (scanf("%u", &count) == 1)
    {
        for (unsigned number = 0; number < count; ++number)
        {
            must(report(argv[1], transaction, (uint16_t)(10 * number)));
        }
        puts("done");
        fflush(stdout);
    }
    return 0;
}
