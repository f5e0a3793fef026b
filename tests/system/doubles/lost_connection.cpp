/**
 * @file
 * A bus that ends the one connection on which somebody waits for traffic, at the first wait.
 * Standard error output gets one line for each wait from then on, with the time in milliseconds.
 */

#include "next_function.hpp"

#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdio>

extern "C" int sd_bus_wait(sd_bus* bus, uint64_t longest)
{
    using namespace std::chrono;
    static auto* const next = nextFunction("sd_bus_wait", &sd_bus_wait);
    static bool isLost = false;
    if (!isLost && sd_bus_is_ready(bus) > 0)
    {
        isLost = shutdown(sd_bus_get_fd(bus), SHUT_RDWR) == 0;
    }
    if (isLost)
    {
        const auto now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
        std::fprintf(stderr, "waits at %lld\n", static_cast<long long>(now.count()));
    }
    return next(bus, longest);
}
