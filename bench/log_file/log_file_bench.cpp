/**
 * @file
 * One record of the log file without and with a trim, beside the same bytes written by the system
 * calls that they cannot do without.
 *
 * The times are the thread's processor time: what other programs of the machine do is not in them.
 */

#include "log/log_file.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>

namespace
{

constexpr auto logFilePath = "/var/log/tavrinupdate.log";

/** Far from the limit, and so close to it that any record goes beyond. */
constexpr std::size_t roomySize = 4000;
constexpr std::size_t fullSize = 9215;
constexpr off_t trimmedBytes = 1024;

const std::string& message()
{
    static const std::string text(100, 'x');
    return text;
}

void prepareFile(std::size_t size)
{
    std::ofstream(logFilePath, std::ios::trunc) << std::string(size, '.');
}

double threadSeconds()
{
    constexpr double nanosecond = 1e-9;
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * nanosecond;
}

/** Times some calls in a row, which all begin with a file of this size or little more. */
template <typename Write>
void measure(benchmark::State& state, std::size_t size, int calls, Write write)
{
    for ([[maybe_unused]] auto _ : state)
    {
        prepareFile(size);
        const double begin = threadSeconds();
        for (int call = 0; call < calls; ++call)
        {
            write();
        }
        state.SetIterationTime((threadSeconds() - begin) / calls);
    }
}

/** Open, ask for the size, write it before the message, close. */
void append()
{
    constexpr std::string_view between = " : ";
    std::array<char, 256> record{};
    const int fd = ::open(logFilePath, O_WRONLY | O_APPEND | O_CREAT, 0666);
    const off_t size = ::lseek(fd, 0, SEEK_END);
    char* end = std::to_chars(record.begin(), record.end(), size).ptr;
    end = std::copy(between.begin(), between.end(), end);
    end = std::copy(message().begin(), message().end(), end);
    benchmark::DoNotOptimize(
        ::write(fd, record.data(), static_cast<std::size_t>(end - record.data())));
    ::close(fd);
}

/** Open, go to the first byte that stays, read, close; open it empty, write, close. */
void trim()
{
    std::array<char, 2 * fullSize> kept{};
    int fd = ::open(logFilePath, O_RDONLY);
    ::lseek(fd, trimmedBytes, SEEK_SET);
    const ssize_t size = ::read(fd, kept.data(), kept.size());
    ::close(fd);
    fd = ::open(logFilePath, O_WRONLY | O_TRUNC);
    benchmark::DoNotOptimize(::write(fd, kept.data(), static_cast<std::size_t>(size)));
    ::close(fd);
}

constexpr int severalCalls = 16;

void serviceRecord(benchmark::State& state)
{
    measure(state, roomySize, severalCalls, [] { addlog(message().c_str()); });
}

void bareRecord(benchmark::State& state)
{
    measure(state, roomySize, severalCalls, append);
}

void serviceTrim(benchmark::State& state)
{
    measure(state, fullSize, 1, [] { addlog(message().c_str()); });
}

void bareTrim(benchmark::State& state)
{
    measure(state, fullSize, 1,
            []
            {
                append();
                trim();
            });
}

} // namespace

int main(int count, char** arguments)
{
    // A number of its own: what lies between two of them, the making of a fresh file, takes longer
    // than they do and is not in the time.
    constexpr benchmark::IterationCount iterations = 100;
    const auto add = [](const char* name, auto* function)
    { benchmark::RegisterBenchmark(name, function)->UseManualTime()->Iterations(iterations); };

    benchmark::Initialize(&count, arguments);
    add("record/service", serviceRecord);
    add("record/bare", bareRecord);
    add("trim/service", serviceTrim);
    add("trim/bare", bareTrim);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
