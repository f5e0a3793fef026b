/**
 * @file
 * A service that ends suddenly: right before the $ENDS_BEFORE-th of its effects on the world, by
 * the signal of the number $ENDS_BY.
 *
 * An effect is what others can see: a message, a transfer, a file opened, something written. They
 * are counted from the service's first log line of the format $COUNTS_FROM on, that line first.
 * Standard error output gets one line an effect, with its number and the call that makes it.
 */

#include "next_function.hpp"
#include "platform/dlog.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

std::atomic<bool> counts{false};
std::atomic<unsigned long> effects{0};

/** Past the C library: its own writing is what is counted here. */
void tell(const std::string& line)
{
    [[maybe_unused]] const auto written =
        syscall(SYS_write, STDERR_FILENO, line.data(), line.size());
}

/** A number from the environment; 0 where it is not there. */
unsigned long given(const char* name)
{
    const char* number = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return number == nullptr ? 0 : std::strtoul(number, nullptr, 10);
}

/** The service is about to do something that others can see. */
void aboutTo(const char* call)
{
    static const unsigned long last = given("ENDS_BEFORE");
    if (!counts)
    {
        return;
    }
    const unsigned long number = ++effects;
    tell("effect " + std::to_string(number) + " " + call + "\n");
    if (number == last)
    {
        // To this very thread, so that it does not take one more step.
        raise(static_cast<int>(given("ENDS_BY")));
    }
}

} // namespace

extern "C"
{

    void dlog_vprintf(int level, int module, const char* format, va_list arguments)
    {
        static auto* const next = nextFunction("dlog_vprintf", &dlog_vprintf);
        const char* first = std::getenv("COUNTS_FROM"); // NOLINT(concurrency-mt-unsafe)
        if (first != nullptr && std::string_view(format) == first)
        {
            counts = true;
        }
        next(level, module, format, arguments);
    }

    ssize_t write(int fd, const void* bytes, size_t size)
    {
        static auto* const next = nextFunction("write", &write);
        aboutTo("write");
        return next(fd, bytes, size);
    }

    ssize_t writev(int fd, const iovec* parts, int count)
    {
        static auto* const next = nextFunction("writev", &writev);
        aboutTo("writev");
        return next(fd, parts, count);
    }

    ssize_t sendmsg(int fd, const msghdr* message, int flags)
    {
        static auto* const next = nextFunction("sendmsg", &sendmsg);
        aboutTo("sendmsg");
        return next(fd, message, flags);
    }

    int open(const char* path, int flags, ...)
    {
        static auto* const next = nextFunction("open", &open);
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);
        aboutTo("open");
        return next(path, flags, mode);
    }

    int ioctl(int fd, unsigned long request, ...) noexcept
    {
        static auto* const next = nextFunction("ioctl", &ioctl);
        va_list arguments;
        va_start(arguments, request);
        void* argument = va_arg(arguments, void*);
        va_end(arguments);
        aboutTo("ioctl");
        return next(fd, request, argument);
    }
}
