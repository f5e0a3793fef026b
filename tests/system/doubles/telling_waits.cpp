/**
 * @file
 * A bus library that tells how long it is asked to wait for traffic at most. Standard error output
 * gets one line a wait, with its microseconds. A connection that is not ready yet is left out: the
 * library itself waits for its own beginning.
 */

#include "next_function.hpp"

#include <systemd/sd-bus.h>

#include <cinttypes>
#include <cstdio>

extern "C" int sd_bus_wait(sd_bus* bus, uint64_t longest)
{
    static auto* const next = nextFunction("sd_bus_wait", &sd_bus_wait);
    if (sd_bus_is_ready(bus) > 0)
    {
        std::fprintf(stderr, "waits %" PRIu64 "\n", longest);
    }
    return next(bus, longest);
}
