/** @file The calls by which the service comes to a bus: all of them lead to the one in the process.
 */

#include "bus_in_process.hpp"
#include "fakes/next_symbol.hpp"

#include <poll.h>

#include <cerrno>

namespace
{

int connectInProcess(sd_bus** bus)
{
    auto* const current = fuzz::BusInProcess::current();
    if (current == nullptr)
    {
        return -ECONNREFUSED;
    }
    *bus = current->connect();
    return 1;
}

} // namespace

extern "C" int sd_bus_open_system(sd_bus** bus)
{
    return connectInProcess(bus);
}

extern "C" int sd_bus_default(sd_bus** bus)
{
    return connectInProcess(bus);
}

// Where libsystemd waits for an answer; it must see this one, hence the visibility.
extern "C" __attribute__((visibility("default"))) int ppoll(pollfd* descriptors, nfds_t count,
                                                            const timespec* timeout,
                                                            const sigset_t* signals)
{
    using Ppoll = int(pollfd*, nfds_t, const timespec*, const sigset_t*);
    static Ppoll* const real = fakes::nextSymbol<Ppoll>("ppoll");
    auto* const bus = fuzz::BusInProcess::current();
    if (bus == nullptr)
    {
        return real(descriptors, count, timeout, signals);
    }
    bus->run();
    constexpr timespec noTime{};
    const int result = real(descriptors, count, &noTime, signals);
    if (result == 0)
    {
        // A peer that has not answered by now never will: a wait would only end by its time-out.
        errno = ETIMEDOUT;
        return -1;
    }
    return result;
}
