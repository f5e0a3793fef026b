#pragma once

/** @file What the programs of the bench share. */

#include <err.h>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace bench
{

struct BusCloser
{
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;

struct MessageReleaser
{
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

/** Ends the program where `result` is a negative errno; `what` has failed then. */
inline void must(int result, const char* what)
{
    if (result < 0)
    {
        errno = -result;
        err(EXIT_FAILURE, "%s", what);
    }
}

/** A clock, in nanoseconds. */
inline std::int64_t now(clockid_t clock = CLOCK_MONOTONIC)
{
    std::timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

/** A connection of its own to the controller's bus. */
inline Bus connect()
{
    sd_bus* bus = nullptr;
    must(sd_bus_open_system(&bus), "sd_bus_open_system");
    return Bus(bus);
}

/** Handles what comes until `done` says so. */
template <typename Done>
void serve(sd_bus* bus, Done done)
{
    while (!done())
    {
        const int handled = sd_bus_process(bus, nullptr);
        must(handled, "sd_bus_process");
        if (handled == 0)
        {
            must(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
}

} // namespace bench
