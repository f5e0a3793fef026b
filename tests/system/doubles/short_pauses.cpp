/**
 * @file
 * A clock by which every pause of the service takes a hundredth of its time: for runs of thousands
 * of updates, in which nobody looks at the pauses.
 */

#include "next_function.hpp"

#include <ctime>

extern "C" int nanosleep(const timespec* asked, timespec* left)
{
    static auto* const next = nextFunction("nanosleep", &nanosleep);
    constexpr long long nanosecondsPerSecond = 1'000'000'000;
    constexpr long long divisor = 100;
    const long long pause = (asked->tv_sec * nanosecondsPerSecond + asked->tv_nsec) / divisor;
    const timespec shorter{pause / nanosecondsPerSecond, pause % nanosecondsPerSecond};
    return next(&shorter, left);
}
