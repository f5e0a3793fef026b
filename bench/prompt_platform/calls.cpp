/**
 * @file
 * Calls whose moments say how long a report or a pause takes, in front of the C library:
 * connections from the call that makes them to the end of the one that closes them, and pauses.
 */

#include "record.hpp"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>

namespace
{

/** Which descriptors are connections. */
std::array<std::atomic<bool>, 1024> connected{};

bool isKept(int descriptor)
{
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < connected.size();
}

} // namespace

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t size)
{
    if (isKept(descriptor) && address->sa_family == AF_UNIX)
    {
        connected.at(static_cast<std::size_t>(descriptor)) = true;
        bench::note("connect");
    }
    return static_cast<int>(syscall(SYS_connect, descriptor, address, size));
}

extern "C" int close(int descriptor)
{
    const bool isConnection =
        isKept(descriptor) && connected.at(static_cast<std::size_t>(descriptor)).exchange(false);
    const auto result = static_cast<int>(syscall(SYS_close, descriptor));
    if (isConnection)
    {
        bench::note("closed");
    }
    return result;
}

extern "C" int nanosleep(const timespec* asked, timespec* left)
{
    constexpr long nanosecondsPerMillisecond = 1'000'000;
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), "pause of %ld ms",
                        asked->tv_sec * 1000 + asked->tv_nsec / nanosecondsPerMillisecond);
    bench::note(text.data());
    const auto result =
        static_cast<int>(syscall(SYS_clock_nanosleep, CLOCK_REALTIME, 0, asked, left));
    bench::note("pause is over");
    return result;
}
