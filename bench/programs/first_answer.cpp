/**
 * @file
 * Waits until a service has started: it owns its name and answers again. One that publishes in one
 * go does that when all its objects are there.
 *
 * usage: first_answer NAME
 *
 * Says "ready" when it listens, and then the monotonic clock in nanoseconds at the answer.
 */

#include "support.hpp"

#include <cinttypes>
#include <cstdio>
#include <string>

namespace
{

/** Notes that the name has an owner; the new one is empty where the name was given up. */
int noteOwner(sd_bus_message* signal, void* owned, sd_bus_error* /*error*/)
{
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    bench::must(sd_bus_message_read(signal, "sss", &name, &before, &after), "NameOwnerChanged");
    *static_cast<bool*>(owned) = *after != '\0';
    return 0;
}

} // namespace

int main(int count, char** words)
{
    if (count != 2)
    {
        return 2;
    }
    const std::string name = words[1];
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + name + "'";
    bool owned = false;
    const bench::Bus bus = bench::connect();
    bench::must(sd_bus_add_match(bus.get(), nullptr, rule.c_str(), noteOwner, &owned), "match");
    std::puts("ready");
    std::fflush(stdout);

    bench::serve(bus.get(), [&] { return owned; });
    sd_bus_message* answer = nullptr;
    bench::must(sd_bus_call_method(bus.get(), name.c_str(), "/", "org.freedesktop.DBus.Peer",
                                   "Ping", nullptr, &answer, nullptr),
                "Ping");
    std::printf("%" PRId64 "\n", bench::now());
    sd_bus_message_unref(answer);
    return 0;
}
