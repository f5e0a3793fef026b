/**
 * @file
 * The I2C bus, in front of the C library: healthy CPLDs, all of them with the same registers.
 *
 * A transfer takes the time that its bits need at BENCH_BIT_NS each, or none where that is not set:
 * for each message nine bits for the address and for every byte. It ends when the adapter's
 * interrupt would, not when a timer's slack is over.
 */

#include "record.hpp"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <span>
#include <string_view>

namespace
{

using Messages = std::span<const i2c_msg>;

/** PBB and PDB in version 1.2.3 and locked; FLOP in version 1.2.3 at its own registers. */
std::array<std::uint8_t, 256> registers{0x21, 0x03, 0, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x10};

std::int64_t bitTime()
{
    static const char* const text = std::getenv("BENCH_BIT_NS");
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

std::uint64_t bitsOf(Messages messages)
{
    std::uint64_t bits = 0;
    for (const i2c_msg& message : messages)
    {
        bits += std::uint64_t{9} * (1U + message.len);
    }
    return bits;
}

/** Moves one message's bytes from or to the register `place` on. @return where it ended */
std::uint8_t move(const i2c_msg& message, std::uint8_t place)
{
    const std::span bytes(message.buf, message.len);
    if ((message.flags & I2C_M_RD) != 0)
    {
        std::generate(bytes.begin(), bytes.end(), [&] { return registers.at(place++); });
    }
    else if (!bytes.empty())
    {
        place = bytes.front();
        std::for_each(bytes.begin() + 1, bytes.end(),
                      [&](std::uint8_t byte) { registers.at(place++) = byte; });
    }
    return place;
}

void waitUntil(std::int64_t time)
{
    constexpr std::int64_t second = 1'000'000'000;
    const std::timespec end{time / second, time % second};
    const int slack = prctl(PR_GET_TIMERSLACK);
    prctl(PR_SET_TIMERSLACK, 1UL);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
    prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slack));
}

int transfer(const i2c_rdwr_ioctl_data& request)
{
    const Messages messages(request.msgs, request.nmsgs);
    const std::uint64_t bits = bitsOf(messages);
    const std::int64_t begin = bench::now();
    std::uint8_t place = 0;
    for (const i2c_msg& message : messages)
    {
        place = move(message, place);
    }
    if (bitTime() > 0)
    {
        waitUntil(begin + static_cast<std::int64_t>(bits) * bitTime());
    }
    bench::noteTransfer(bits, bench::now() - begin);
    return static_cast<int>(request.nmsgs);
}

} // namespace

// NOLINTBEGIN(cert-dcl50-cpp,cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)

extern "C" int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    const bool device = std::string_view(path).starts_with("/dev/i2c-");
    return static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, device ? "/dev/null" : path, flags, mode));
}

extern "C" int ioctl(int descriptor, unsigned long request, ...)
{
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return request == I2C_RDWR
               ? transfer(*static_cast<i2c_rdwr_ioctl_data*>(argument))
               : static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

// NOLINTEND(cert-dcl50-cpp,cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)
