#include "board/trace.hpp"

#include "board/files.hpp"
#include "board/lifetime.hpp"

#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sim
{

namespace
{

constexpr long long nanosecondsPerSecond = 1'000'000'000;

long long monotonicNanoseconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanosecondsPerSecond + now.tv_nsec;
}

std::string environmentText(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

const File& traceFile()
{
    static NeverDestroyed<File> file(boardDirectory() + "/trace.jsonl",
                                     O_WRONLY | O_APPEND | O_CREAT);
    return *file;
}

} // namespace

const std::string& boardDirectory()
{
    static NeverDestroyed<std::string> directory(environmentText("SIM_BOARD"));
    return *directory;
}

void trace(const char* what, const Json& fields)
{
    if (boardDirectory().empty())
    {
        return;
    }
    const ErrnoKeeper keeper;
    const Json line = {{"t", monotonicNanoseconds()},
                       {"pid", getpid()},
                       {"tid", syscall(SYS_gettid)},
                       {"what", what}};
    const std::string text = line.with(fields).text() + "\n";
    // One write a line: with O_APPEND the lines of several processes never mix.
    [[maybe_unused]] const auto written = write(traceFile().descriptor(), text.data(), text.size());
}

void traceCall(const char* name, const Json& arguments, const Json& result)
{
    trace("call", {{"name", name}, {"args", arguments}, {"result", result}});
}

std::string hexadecimal(std::span<const unsigned char> bytes)
{
    constexpr auto digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes)
    {
        text += digits[byte >> 4U];
        text += digits[byte & 0x0FU];
    }
    return text;
}

} // namespace sim
