/**
 * @file
 * A bus library that tells how long it is asked to wait at most. Standard error output gets one
 * line a wait for traffic ("waits MICROSECONDS") and one a wait for an answer ("asks MEMBER
 * MICROSECONDS"). A connection that is not ready yet is left out: the library itself waits while
 * it connects.
 */

#include "next_function.hpp"

#include <systemd/sd-bus.h>

#include <cinttypes>
#include <cstdio>

extern "C"
{

    int sd_bus_wait(sd_bus* bus, uint64_t longest)
    {
        static auto* const next = nextFunction("sd_bus_wait", &sd_bus_wait);
        if (sd_bus_is_ready(bus) > 0)
        {
            std::fprintf(stderr, "waits %" PRIu64 "\n", longest);
        }
        return next(bus, longest);
    }

    int sd_bus_call(sd_bus* bus, sd_bus_message* call, uint64_t longest, sd_bus_error* error,
                    sd_bus_message** reply)
    {
        static auto* const next = nextFunction("sd_bus_call", &sd_bus_call);
        // 0 is the connection's own time-out.
        uint64_t meant = longest;
        if (meant == 0)
        {
            sd_bus_get_method_call_timeout(bus, &meant);
        }
        std::fprintf(stderr, "asks %s %" PRIu64 "\n", sd_bus_message_get_member(call), meant);
        return next(bus, call, longest, error, reply);
    }
}
