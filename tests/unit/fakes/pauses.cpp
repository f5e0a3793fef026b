#include "fakes/pauses.hpp"

#include "fakes/journal.hpp"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <optional>
#include <string>
#include <utility>

namespace
{

using std::chrono::nanoseconds;

std::deque<nanoseconds> interruptions;
std::optional<int> failure;

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
    if (const auto reason = std::exchange(failure, std::nullopt))
    {
        fakes::note("pause " + inMilliseconds(duration) + ": " + ::strerrorname_np(*reason));
        errno = *reason;
        return -1;
    }
    if (!interruptions.empty())
    {
        const auto passed = interruptions.front();
        interruptions.pop_front();
        fakes::note("pause " + inMilliseconds(duration) + ", interrupted after " +
                    inMilliseconds(passed));
        *remaining = timeOf(duration - passed);
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
    interruptions.push_back(after);
}

void failNextPause(int errorNumber)
{
    failure = errorNumber;
}

void resetPauses()
{
    interruptions.clear();
    failure.reset();
}

} // namespace fakes
