#include "fakes/clock.hpp"

#include <ctime>
#include <optional>

namespace
{

using Clock = std::chrono::steady_clock;

std::optional<Clock::time_point> stopped;

Clock::time_point realTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return Clock::time_point(std::chrono::seconds(time.tv_sec) +
                             std::chrono::nanoseconds(time.tv_nsec));
}

} // namespace

// In the place of the standard library's.
Clock::time_point std::chrono::_V2::steady_clock::now() noexcept // NOLINT: the reserved name
{
    return stopped.value_or(realTime());
}

namespace fakes
{

void stopClock()
{
    stopped = realTime();
}

void advanceClock(std::chrono::nanoseconds by)
{
    *stopped += by;
}

void resetClock()
{
    stopped.reset();
}

} // namespace fakes
