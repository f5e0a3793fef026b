/**
 * @file
 * A bus library that refuses one of its calls: the one named $REFUSED, at its $REFUSED_CALL-th time
 * (counted from 1), with ENOMEM. Connections and matches count off the main thread only, whose own
 * are made in different ways by different versions of the binding library. There it is the match
 * whose rule holds $REFUSED_RULE that is refused, however it is made.
 */

#include "next_function.hpp"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace
{

bool isMainThread()
{
    return gettid() == getpid();
}

/** Counts the calls of one function. @return whether this one is refused */
bool isRefused(std::string_view function, std::atomic<int>& calls)
{
    const char* refused = std::getenv("REFUSED");     // NOLINT(concurrency-mt-unsafe)
    const char* number = std::getenv("REFUSED_CALL"); // NOLINT(concurrency-mt-unsafe)
    const int call = ++calls;
    return refused != nullptr && number != nullptr && function == refused &&
           call == std::atoi(number); // NOLINT(cert-err34-c)
}

/** @return whether this match of the main thread's is refused */
bool isRefusedRule(std::string_view rule)
{
    const char* refused = std::getenv("REFUSED_RULE"); // NOLINT(concurrency-mt-unsafe)
    return isMainThread() && refused != nullptr && rule.find(refused) != std::string_view::npos;
}

} // namespace

extern "C"
{

    int sd_bus_open_system(sd_bus** bus)
    {
        static std::atomic<int> calls;
        static auto* const next = nextFunction("sd_bus_open_system", &sd_bus_open_system);
        return !isMainThread() && isRefused("sd_bus_open_system", calls) ? -ENOMEM : next(bus);
    }

    int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot, const char* path,
                                 const char* interface, const sd_bus_vtable* vtable, void* userdata)
    {
        static std::atomic<int> calls;
        static auto* const next =
            nextFunction("sd_bus_add_object_vtable", &sd_bus_add_object_vtable);
        return isRefused("sd_bus_add_object_vtable", calls)
                   ? -ENOMEM
                   : next(bus, slot, path, interface, vtable, userdata);
    }

    int sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot, const char* path)
    {
        static std::atomic<int> calls;
        static auto* const next =
            nextFunction("sd_bus_add_object_manager", &sd_bus_add_object_manager);
        return isRefused("sd_bus_add_object_manager", calls) ? -ENOMEM : next(bus, slot, path);
    }

    int sd_bus_add_match(sd_bus* bus, sd_bus_slot** slot, const char* rule,
                         sd_bus_message_handler_t callback, void* userdata)
    {
        static auto* const next = nextFunction("sd_bus_add_match", &sd_bus_add_match);
        return isRefusedRule(rule) ? -ENOMEM : next(bus, slot, rule, callback, userdata);
    }

    int sd_bus_add_match_async(sd_bus* bus, sd_bus_slot** slot, const char* rule,
                               sd_bus_message_handler_t callback,
                               sd_bus_message_handler_t installed, void* userdata)
    {
        static std::atomic<int> calls;
        static auto* const next = nextFunction("sd_bus_add_match_async", &sd_bus_add_match_async);
        const bool refused =
            isMainThread() ? isRefusedRule(rule) : isRefused("sd_bus_add_match_async", calls);
        return refused ? -ENOMEM : next(bus, slot, rule, callback, installed, userdata);
    }
}
