#include "hw/i2c_transfer.hpp"

#include "log/log.hpp"
#include "service/tavrinupdate.hpp"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace std::chrono_literals;

constexpr auto transferFunction = "tavrinWR";

constexpr auto pauseBetweenAttempts = 5ms;

/** Format of the line about a failed attempt; each is a literal of its own in the platform log. */
constexpr std::array<const char*, 3> failedAttempt{
    "[%s] : 1. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
    "[%s] : 2. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
    "[%s] : 3. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
};

const std::string& nodePath(const std::vector<std::string>& nodes, InstanceIndex index,
                            const CpldInventory& record)
{
    if (index.value() >= nodes.size())
    {
        logRecord("[%s] : No device node for %s[%d], the platform description lists %zu\n",
                  "openI2cfdUsingNodename", record.nodeName.c_str(), index.value(), nodes.size());
    }
    return nodes.at(index.value());
}

} // namespace

std::array<i2c_msg, 2> transferMessages(std::span<const std::uint8_t> write,
                                        std::span<std::uint8_t> read)
{
    // The kernel's message type has no const buffer; a written one is not changed.
    auto* const written = const_cast<std::uint8_t*>(write.data()); // NOLINT
    return {
        i2c_msg{cpldAddress, 0, static_cast<std::uint16_t>(write.size()), written},
        i2c_msg{cpldAddress, I2C_M_RD, static_cast<std::uint16_t>(read.size()), read.data()},
    };
}

// An index beyond the list is a programming error: its exception must not leave, it ends the
// process here.
bool Tavrinupdate::openI2cfdUsingNodename(InstanceIndex index, const CpldInventory& record,
                                          const std::vector<std::string>& nodes, int& fd) noexcept
{
    const std::string& path = nodePath(nodes, index, record);
    const int opened = ::open(path.c_str(), O_RDWR | O_CLOEXEC); // NOLINT: open is variadic
    if (opened < 0)
    {
        logRecord("[%s] : Open fd Failue, Error: %d\n", "openI2cfdUsingNodename", opened);
        return false;
    }
    logTrace("[%s] : Open fd Success, fd:%d\n", "openI2cfdUsingNodename", opened);
    fd = opened;
    return true;
}

bool Tavrinupdate::tavrinWR(std::span<const std::uint8_t> write, std::span<std::uint8_t> read,
                            const CpldInventory& /*record*/, int fd)
{
    const int writeLength = static_cast<int>(write.size());
    const int readLength = static_cast<int>(read.size());
    auto messages = transferMessages(write, read);
    i2c_rdwr_ioctl_data request{messages.data(), messages.size()};

    for (std::size_t attempt = 0; attempt < failedAttempt.size(); ++attempt)
    {
        if (attempt > 0)
        {
            // Sleeps on when a signal interrupts it.
            std::this_thread::sleep_for(pauseBetweenAttempts);
        }
        if (::ioctl(fd, I2C_RDWR, &request) >= 0) // NOLINT: ioctl is variadic
        {
            logRecord("[%s] : ioctl success: TA:0x%x, WL:%d, RL:%d\n", transferFunction,
                      cpldAddress, writeLength, readLength);
            return true;
        }
        const int error = errno;
        logRecord(failedAttempt.at(attempt), transferFunction, cpldAddress, writeLength, readLength,
                  error, std::strerror(error)); // NOLINT: glibc's is thread-safe
    }
    return false;
}
