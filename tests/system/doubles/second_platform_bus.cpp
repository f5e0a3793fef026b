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
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>
#include <span>
#include <string_view>

namespace
{

using second::Cpld;

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
    second::tell("i2c " + std::string(cpld.name) + " w:" + hexadecimal(written) +
                 " r:" + hexadecimal(read));
    return 2;
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

        auto* cpld =
            second::find([&](const auto& each) { return std::string_view(path) == each.path; });
        if (cpld == nullptr)
        {
            return next(path, flags, mode);
        }
        const int fd = next("/dev/null", flags);
        const std::lock_guard lock(guard);
        openCplds()[fd] = cpld;
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
        return transfer(*cpld, {data->msgs, data->nmsgs});
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
