/**
 * @file
 * The second platform's I2C bus: its device paths behind the C library's open, ioctl and close.
 */

#include "next_function.hpp"
#include "second_platform.hpp"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <span>
#include <string_view>

namespace
{

using second::Cpld;

constexpr std::int64_t nanosecondsOfASecond = 1'000'000'000;

std::mutex guard;

/** The CPLDs that are open, by descriptor. Under `guard`. */
std::map<int, Cpld*>& openCplds()
{
    static std::map<int, Cpld*> all;
    return all;
}

std::string hexadecimal(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const auto byte : bytes)
    {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        text += digits.data();
    }
    return text;
}

/** One write followed by one read, from the register that the write names. */
int transfer(Cpld& cpld, std::span<const i2c_msg> messages)
{
    if (messages.size() != 2 || messages[0].len == 0)
    {
        errno = EINVAL;
        return -1;
    }
    const std::span<const std::uint8_t> written(messages[0].buf, messages[0].len);
    const std::span<std::uint8_t> read(messages[1].buf, messages[1].len);
    std::size_t at = written.front();
    for (const auto byte : written.subspan(1))
    {
        cpld.registers.at(at++) = byte;
    }
    for (auto& byte : read)
    {
        byte = cpld.registers.at(at++);
    }
    if (second::tells())
    {
        second::tell(std::string("i2c ") + cpld.name + " w:" + hexadecimal(written) +
                     " r:" + hexadecimal(read));
    }
    return 2;
}

std::int64_t now()
{
    std::timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * nanosecondsOfASecond + time.tv_nsec;
}

/** Returns when the adapter's interrupt would come, not when a timer's slack is over. */
void waitUntil(std::int64_t time)
{
    const std::timespec end{time / nanosecondsOfASecond, time % nanosecondsOfASecond};
    const int slack = prctl(PR_GET_TIMERSLACK);
    prctl(PR_SET_TIMERSLACK, 1UL);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
    prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slack));
}

/** Adds to what all transfers took; no two of them run at once. */
void count(std::int64_t bits, std::int64_t nanoseconds)
{
    static const char* const path = std::getenv("SECOND_TRANSFERS");
    static const int file = path == nullptr ? -1 : open(path, O_WRONLY | O_CLOEXEC);
    static std::array<std::int64_t, 2> sums{};
    sums[0] += bits;
    sums[1] += nanoseconds;
    if (file >= 0 && pwrite(file, sums.data(), sizeof(sums), 0) != sizeof(sums))
    {
        std::abort();
    }
}

/** A transfer takes the time of its bits: nine for the address and for every byte of a message. */
int timedTransfer(Cpld& cpld, std::span<const i2c_msg> messages)
{
    static const std::int64_t bitTime = second::setting("SECOND_BIT_NS", 0);
    const std::int64_t begin = now();
    std::int64_t bits = 0;
    for (const i2c_msg& message : messages)
    {
        bits += std::int64_t{9} * (1 + message.len);
    }
    const int result = transfer(cpld, messages);
    if (bitTime > 0)
    {
        waitUntil(begin + bits * bitTime);
    }
    count(bits, now() - begin);
    return result;
}

Cpld* cpldBehind(int fd)
{
    const std::lock_guard lock(guard);
    const auto found = openCplds().find(fd);
    return found == openCplds().end() ? nullptr : found->second;
}

} // namespace

extern "C"
{

    int open(const char* path, int flags, ...)
    {
        static auto* const next = nextFunction("open", &open);
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);

        const bool isDevice = std::string_view(path).starts_with("/platform/");
        const auto cpld =
            isDevice ? second::cplds().find(std::string_view(path)) : second::cplds().end();
        if (cpld == second::cplds().end())
        {
            return next(path, flags, mode);
        }
        const int fd = next("/dev/null", flags);
        const std::lock_guard lock(guard);
        openCplds()[fd] = &cpld->second;
        return fd;
    }

    int ioctl(int fd, unsigned long request, ...) noexcept
    {
        static auto* const next = nextFunction("ioctl", &ioctl);
        va_list arguments;
        va_start(arguments, request);
        void* argument = va_arg(arguments, void*);
        va_end(arguments);

        auto* cpld = cpldBehind(fd);
        if (cpld == nullptr || request != I2C_RDWR)
        {
            return next(fd, request, argument);
        }
        const auto* data = static_cast<const i2c_rdwr_ioctl_data*>(argument);
        return timedTransfer(*cpld, {data->msgs, data->nmsgs});
    }

    int close(int fd)
    {
        static auto* const next = nextFunction("close", &close);
        {
            const std::lock_guard lock(guard);
            openCplds().erase(fd);
        }
        return next(fd);
    }
}
