#include "fakes/pauses.hpp"

#include "fakes/journal.hpp"

#include <cerrno>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

namespace
{

using std::chrono::nanoseconds;

std::optional<nanoseconds> interruption;

nanoseconds durationOf(const timespec& time)
{
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec timeOf(nanoseconds duration)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(duration);
    return {whole.count(), (duration - whole).count()};
}

std::string inMilliseconds(nanoseconds duration)
{
    const auto whole = std::chrono::duration_cast<std::chrono::milliseconds>(duration);
    return whole == duration ? std::to_string(whole.count()) + " ms"
                             : std::to_string(duration.count()) + " ns";
}

} // namespace

extern "C" int nanosleep(const timespec* wanted, timespec* remaining)
{
    const auto duration = durationOf(*wanted);
    if (const auto passed = std::exchange(interruption, std::nullopt))
    {
        fakes::note("pause " + inMilliseconds(duration) + ", interrupted after " +
                    inMilliseconds(*passed));
        *remaining = timeOf(duration - *passed);
        errno = EINTR;
        return -1;
    }
    fakes::note("pause " + inMilliseconds(duration));
    return 0;
}

namespace fakes
{

void interruptNextPause(nanoseconds after)
{
    interruption = after;
}

void resetPauses()
{
    interruption.reset();
}

} // namespace fakes
