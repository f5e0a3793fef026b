/**
 * @file
 * A C library, and a kernel below it, of another temper. $C_LIBRARY says which:
 *
 *     refuses threads   it starts no thread at one time of asking: the $REFUSED_THREAD-th (counted
 *                       from 1), with EAGAIN
 *     short pauses      every pause takes a hundredth of its time: for runs in which nobody looks
 *     small buffers     a socket gets 208 KiB for what is on its way out and no more, as from most
 *                       kernels without privileges; root could force more
 */

#include "next_function.hpp"

#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

namespace
{

std::string_view given(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? "" : value;
}

bool isTemper(std::string_view temper)
{
    return given("C_LIBRARY") == temper;
}

} // namespace

extern "C"
{

    int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                       void* argument) noexcept
    {
        static std::atomic<int> calls;
        static auto* const next = nextFunction("pthread_create", &pthread_create);
        const bool isRefused =
            isTemper("refuses threads") && std::to_string(++calls) == given("REFUSED_THREAD");
        return isRefused ? EAGAIN : next(thread, attributes, body, argument);
    }

    int nanosleep(const timespec* asked, timespec* left)
    {
        static auto* const next = nextFunction("nanosleep", &nanosleep);
        if (!isTemper("short pauses"))
        {
            return next(asked, left);
        }
        constexpr long long nanosecondsPerSecond = 1'000'000'000;
        constexpr long long divisor = 100;
        const long long pause = (asked->tv_sec * nanosecondsPerSecond + asked->tv_nsec) / divisor;
        const timespec shorter{pause / nanosecondsPerSecond, pause % nanosecondsPerSecond};
        return next(&shorter, left);
    }

    int setsockopt(int socket, int level, int name, const void* value, socklen_t size) noexcept
    {
        static auto* const next = nextFunction("setsockopt", &setsockopt);
        const bool isSmall = isTemper("small buffers") && level == SOL_SOCKET;
        if (isSmall && name == SO_SNDBUFFORCE)
        {
            errno = EPERM;
            return -1;
        }
        if (isSmall && name == SO_SNDBUF && size == sizeof(int))
        {
            constexpr int limit = 208 * 1024;
            const int most = std::min(*static_cast<const int*>(value), limit);
            return next(socket, level, name, &most, size);
        }
        return next(socket, level, name, value, size);
    }
}
