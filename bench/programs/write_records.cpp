/**
 * @file
 * One record of the log file without and with a trim, beside the same bytes written by the system
 * calls that they cannot do without.
 *
 * usage: write_records ROUNDS
 *
 * Prints a line for each round: processor time in nanoseconds of a record, of a bare one, of a
 * record that trims, and of a bare one that does.
 */

#include "log/log_file.hpp"
#include "support.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
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

void record()
{
    addlog(message().c_str());
}

void writeTo(int fd, const char* bytes, std::size_t size)
{
    bench::must(::write(fd, bytes, size) == static_cast<ssize_t>(size) ? 0 : -EIO, logFilePath);
    ::close(fd);
}

/** Open, ask for the size, write it before the message, close. */
void append()
{
    constexpr std::string_view between = " : ";
    std::array<char, 256> bytes{};
    const int fd = ::open(logFilePath, O_WRONLY | O_APPEND | O_CREAT, 0666);
    const off_t size = ::lseek(fd, 0, SEEK_END);
    char* end = std::to_chars(bytes.begin(), bytes.end(), size).ptr;
    end = std::copy(between.begin(), between.end(), end);
    end = std::copy(message().begin(), message().end(), end);
    writeTo(fd, bytes.data(), static_cast<std::size_t>(end - bytes.data()));
}

/** Besides: open, go to the first byte that stays, read, close; open it empty, write, close. */
void appendAndTrim()
{
    append();
    std::array<char, 2 * fullSize> kept{};
    const int fd = ::open(logFilePath, O_RDONLY);
    ::lseek(fd, trimmedBytes, SEEK_SET);
    const ssize_t size = ::read(fd, kept.data(), kept.size());
    ::close(fd);
    writeTo(::open(logFilePath, O_WRONLY | O_TRUNC), kept.data(), static_cast<std::size_t>(size));
}

/** Time of one of some calls in a row, which begin with a file of this size. */
template <typename Write>
std::int64_t measure(std::size_t size, int calls, Write write)
{
    std::ofstream(logFilePath, std::ios::trunc) << std::string(size, '.');
    const std::int64_t begin = bench::now(CLOCK_THREAD_CPUTIME_ID);
    for (int call = 0; call < calls; ++call)
    {
        write();
    }
    return (bench::now(CLOCK_THREAD_CPUTIME_ID) - begin) / calls;
}

/** A service's time and that of bare calls, by turns; the least of some repetitions each. */
void compare(std::size_t size, int calls, void (*bare)())
{
    constexpr int repetitions = 50;
    std::int64_t ours = INT64_MAX;
    std::int64_t theirs = INT64_MAX;
    for (int repetition = 0; repetition < repetitions; ++repetition)
    {
        ours = std::min(ours, measure(size, calls, record));
        theirs = std::min(theirs, measure(size, calls, bare));
    }
    std::printf("%" PRId64 " %" PRId64 " ", ours, theirs);
}

} // namespace

int main(int count, char** words)
{
    constexpr int severalCalls = 16;
    if (count != 2)
    {
        return 2;
    }
    for (int rounds = std::stoi(words[1]); rounds > 0; --rounds)
    {
        compare(roomySize, severalCalls, append);
        compare(fullSize, 1, appendAndTrim);
        std::puts("");
    }
    return 0;
}
