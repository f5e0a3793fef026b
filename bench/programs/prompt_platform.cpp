/**
 * @file
 * A platform that takes no time: in front of the simulated one, it leaves the service's own time
 * over. Its CPLDs are healthy and all have the same registers.
 *
 * BENCH_DEVICES says how many CPLDs of each kind there are (1 where it is not set). A transfer
 * takes the time that its bits need at BENCH_BIT_NS each (none where that is not set): for each
 * message nine bits for the address and for every byte. It ends when the adapter's interrupt would,
 * not when a timer's slack is over. The file BENCH_TRANSFERS gets the bits of all transfers and the
 * nanoseconds that they took, two numbers of 64 bits.
 */

#include "platform/cpldfwupdate.hpp"
#include "platform/dlog.h"
#include "platform/software_inventory.h"
#include "platform/sysinfo.h"
#include "support.hpp"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

namespace
{

std::int64_t variable(const char* name, std::int64_t otherwise)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtol(text, nullptr, 10);
}

int openBare(const char* path, int flags, mode_t mode)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// The I2C bus

using Messages = std::span<const i2c_msg>;

/** PBB and PDB in version 1.2.3 and locked; FLOP in version 1.2.3 at its own registers. */
std::array<std::uint8_t, 256> registers{0x21, 0x03, 0, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x10};

/** What BENCH_TRANSFERS gets; no two transfers run at once. */
struct Transfers
{
    std::int64_t bits = 0;
    std::int64_t nanoseconds = 0;
} transfers;

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

void add(std::int64_t bits, std::int64_t nanoseconds)
{
    static const char* const path = std::getenv("BENCH_TRANSFERS");
    static const int file = path == nullptr ? -1 : openBare(path, O_WRONLY | O_CLOEXEC, 0);
    transfers.bits += bits;
    transfers.nanoseconds += nanoseconds;
    if (file >= 0 && pwrite(file, &transfers, sizeof(transfers), 0) != sizeof(transfers))
    {
        std::abort();
    }
}

int transfer(Messages messages)
{
    static const std::int64_t bitTime = variable("BENCH_BIT_NS", 0);
    const std::int64_t begin = bench::now();
    std::int64_t bits = 0;
    std::uint8_t place = 0;
    for (const i2c_msg& message : messages)
    {
        bits += std::int64_t{9} * (1 + message.len);
        place = move(message, place);
    }
    if (bitTime > 0)
    {
        waitUntil(begin + bits * bitTime);
    }
    add(bits, bench::now() - begin);
    return static_cast<int>(messages.size());
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
    return openBare(device ? "/dev/null" : path, flags, mode);
}

extern "C" int ioctl(int descriptor, unsigned long request, ...)
{
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == I2C_RDWR)
    {
        const auto& data = *static_cast<i2c_rdwr_ioctl_data*>(argument);
        return transfer(Messages(data.msgs, data.nmsgs));
    }
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

// The platform's libraries

void dlog_vprintf(int /*level*/, int /*module*/, const char* /*format*/, std::va_list /*arguments*/)
{
}

void dlog_printf(int /*level*/, int /*module*/, const char* /*format*/, ...) {}

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    const auto count = static_cast<std::uint32_t>(variable("BENCH_DEVICES", 1));
    void* const memory = std::calloc(1, sizeof(i2c_sysinfo) + count * sizeof(i2c_sysinfo_node));
    auto* const block = static_cast<i2c_sysinfo*>(memory);
    const std::span nodes(reinterpret_cast<i2c_sysinfo_node*>(block + 1), count);
    *block = {count, nodes.data()};
    for (std::uint32_t index = 0; index < count; ++index)
    {
        i2c_sysinfo_node& node = nodes[index];
        (void)std::snprintf(node.path, sizeof(node.path), "/dev/i2c-%u-%u", node_type, index);
        node.next = index + 1 < count ? &node + 1 : nullptr;
    }
    *result = block;
    return 0;
}

// NOLINTEND(cert-dcl50-cpp,cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)

int SIPLGetAvailableVersionsWithSha256(std::uint32_t /*component_id*/, char* current_version,
                                       char* previous_version, char* sha256,
                                       std::uint32_t version_size, std::uint32_t sha256_size,
                                       std::uint32_t /*reserved*/, void* /*record*/,
                                       void* /*reserved_pointer*/)
{
    (void)std::snprintf(current_version, version_size, "%s", "1.2.3");
    (void)std::snprintf(previous_version, version_size, "%s", "1.2.2");
    (void)std::snprintf(sha256, sha256_size, "%064d", 0);
    return 0;
}

bool SIPLHasVersionChanged(std::uint32_t /*query*/, void* /*record*/, std::uint64_t* /*value*/)
{
    return false;
}

void* SMAllocMem(std::size_t size)
{
    return std::malloc(size);
}

void SMFreeMem(void* block)
{
    std::free(block);
}

/** A run that has nothing to do but to report its steps. */
cpldfwupdate::cpldfwupdate(std::string /*component*/, unsigned int /*device_index*/,
                           std::string /*payload_path*/, void (*progress)(unsigned int),
                           unsigned int /*log_module*/) :
    run_(nullptr)
{
    constexpr unsigned int step = 10;
    constexpr unsigned int complete = 100;
    for (unsigned int percent = 0; percent <= complete; percent += step)
    {
        progress(percent);
    }
}

cpldfwupdate::~cpldfwupdate() = default;

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    return {0, 0, 0};
}
