/**
 * @file
 * A bus library of another temper. $BUS_LIBRARY says which:
 *
 *     breaks signals   it takes every signal for an error reply, which no bus delivers
 *     loses            it ends the one connection on which somebody waits for traffic, at the first
 *                      wait, and tells of each wait from then on
 *     tells waits      it tells how long it is asked to wait at most: for traffic, for an answer
 *     tells vtables    it tells what it is given to serve, entry by entry with its flags
 *     refuses          it refuses one of its calls, with ENOMEM: the one named $REFUSED, at its
 *                      $REFUSED_CALL-th time (counted from 1), or the main thread's match whose
 * rule holds $REFUSED_RULE
 *
 * What is told goes to the standard error output, one line each.
 */

#include "next_function.hpp"

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

/** A variable of the environment; empty where it is not there. */
std::string_view given(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? "" : value;
}

bool isTemper(std::string_view temper)
{
    return given("BUS_LIBRARY") == temper;
}

bool isMainThread()
{
    return gettid() == getpid();
}

/** Counts the calls of one function. @return whether this one is refused */
bool isRefused(std::string_view function, std::atomic<int>& calls)
{
    const int call = ++calls;
    return isTemper("refuses") && function == given("REFUSED") &&
           std::to_string(call) == given("REFUSED_CALL");
}

/** @return whether this match of the main thread's is refused */
bool isRefusedRule(std::string_view rule)
{
    const std::string_view refused = given("REFUSED_RULE");
    return isTemper("refuses") && isMainThread() && !refused.empty() &&
           rule.find(refused) != std::string_view::npos;
}

std::string described(const sd_bus_vtable& entry)
{
    const auto type = static_cast<char>(entry.type);
    std::string text = std::string(1, type) + " " + std::to_string(std::uint64_t{entry.flags});
    switch (type)
    {
    case _SD_BUS_VTABLE_METHOD:
        text += std::string(" ") + entry.x.method.member + " " + entry.x.method.signature + " " +
                entry.x.method.result;
        break;
    case _SD_BUS_VTABLE_PROPERTY:
    case _SD_BUS_VTABLE_WRITABLE_PROPERTY:
        text += std::string(" ") + entry.x.property.member + " " + entry.x.property.signature;
        break;
    default:
        break;
    }
    return text;
}

void tellVtable(const char* path, const char* interface, const sd_bus_vtable* entry)
{
    do
    {
        std::fprintf(stderr, "served %s %s %s\n", path, interface, described(*entry).c_str());
    } while ((entry++)->type != _SD_BUS_VTABLE_END);
}

/** Ends the connection at the first wait; tells of each wait from then on, in milliseconds. */
void lose(sd_bus* bus, bool isReady)
{
    using namespace std::chrono;
    static bool isLost = false;
    isLost = isLost || (isReady && shutdown(sd_bus_get_fd(bus), SHUT_RDWR) == 0);
    if (isLost)
    {
        const auto now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
        std::fprintf(stderr, "waits at %lld\n", static_cast<long long>(now.count()));
    }
}

} // namespace

extern "C"
{

    int sd_bus_message_is_method_error(sd_bus_message* message, const char* name)
    {
        static auto* const next =
            nextFunction("sd_bus_message_is_method_error", &sd_bus_message_is_method_error);
        const bool isBroken = isTemper("breaks signals") && name == nullptr &&
                              sd_bus_message_is_signal(message, nullptr, nullptr) > 0;
        return isBroken ? 1 : next(message, name);
    }

    int sd_bus_wait(sd_bus* bus, uint64_t longest)
    {
        static auto* const next = nextFunction("sd_bus_wait", &sd_bus_wait);
        // The library itself waits while it connects: the connection is not ready then.
        const bool isReady = sd_bus_is_ready(bus) > 0;
        if (isTemper("loses"))
        {
            lose(bus, isReady);
        }
        if (isTemper("tells waits") && isReady)
        {
            std::fprintf(stderr, "waits %" PRIu64 "\n", longest);
        }
        return next(bus, longest);
    }

    int sd_bus_call(sd_bus* bus, sd_bus_message* call, uint64_t longest, sd_bus_error* error,
                    sd_bus_message** reply)
    {
        static auto* const next = nextFunction("sd_bus_call", &sd_bus_call);
        if (isTemper("tells waits"))
        {
            // 0 is the connection's own time-out.
            uint64_t meant = longest;
            if (meant == 0)
            {
                sd_bus_get_method_call_timeout(bus, &meant);
            }
            std::fprintf(stderr, "asks %s %" PRIu64 "\n", sd_bus_message_get_member(call), meant);
        }
        return next(bus, call, longest, error, reply);
    }

    // Connections and matches count off the main thread only, whose own are made in different ways
    // by different versions of the binding library.

    int sd_bus_open_system(sd_bus** bus)
    {
        static std::atomic<int> calls;
        static auto* const next = nextFunction("sd_bus_open_system", &sd_bus_open_system);
        return !isMainThread() && isRefused("sd_bus_open_system", calls) ? -ENOMEM : next(bus);
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

    int sd_bus_add_object_manager(sd_bus* bus, sd_bus_slot** slot, const char* path)
    {
        static std::atomic<int> calls;
        static auto* const next =
            nextFunction("sd_bus_add_object_manager", &sd_bus_add_object_manager);
        return isRefused("sd_bus_add_object_manager", calls) ? -ENOMEM : next(bus, slot, path);
    }

    int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot, const char* path,
                                 const char* interface, const sd_bus_vtable* vtable, void* userdata)
    {
        static std::atomic<int> calls;
        static auto* const next =
            nextFunction("sd_bus_add_object_vtable", &sd_bus_add_object_vtable);
        if (isTemper("tells vtables"))
        {
            tellVtable(path, interface, vtable);
        }
        return isRefused("sd_bus_add_object_vtable", calls)
                   ? -ENOMEM
                   : next(bus, slot, path, interface, vtable, userdata);
    }
}
