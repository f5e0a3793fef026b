#include "i2c/bus.hpp"

#include "board/lifetime.hpp"
#include "i2c/transfer.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>

namespace sim
{

namespace
{

constexpr int success = 0;

/** A real descriptor to stand behind an open device; its name shows in /proc/PID/fd. */
CallResult standIn(const DeviceDescription& device, int flags)
{
    const unsigned int closeOnExec = (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0;
    const int descriptor = memfd_create(("i2c " + device.name).c_str(), closeOnExec);
    return {descriptor, descriptor < 0 ? errno : success};
}

CallResult openDevice(Board& board, const Cpld& device, int flags)
{
    const Json effect = board.happen("open", {{"device", device.description().name}});
    const int error = effect.value("errno", success);
    return error == success ? standIn(device.description(), flags) : CallResult{-1, error};
}

CallResult transferRequest(Cpld& device, const i2c_rdwr_ioctl_data* request)
{
    if (request == nullptr || request->msgs == nullptr || request->nmsgs > I2C_RDWR_IOCTL_MAX_MSGS)
    {
        return {-1, EINVAL};
    }
    const int error = transfer(*Board::find(), device, {request->msgs, request->nmsgs});
    return error == success ? CallResult{static_cast<int>(request->nmsgs), success}
                            : CallResult{-1, error};
}

} // namespace

Bus& Bus::instance()
{
    static NeverDestroyed<Bus> bus;
    return *bus;
}

std::optional<CallResult> Bus::open(const std::string& path, int flags)
{
    Board* board = Board::find();
    Cpld* device = board == nullptr ? nullptr : board->deviceAt(path);
    if (device == nullptr)
    {
        return std::nullopt;
    }
    const CallResult opened = openDevice(*board, *device, flags);
    if (opened.error == success)
    {
        const std::lock_guard guard(mutex_);
        opened_.insert_or_assign(opened.result, device);
    }
    trace("open", {{"device", device->description().name},
                   {"path", path},
                   {"flags", flags},
                   {"result", opened.result},
                   {"errno", opened.error}});
    return opened;
}

Cpld* Bus::deviceBehind(int descriptor)
{
    const std::lock_guard guard(mutex_);
    const auto found = opened_.find(descriptor);
    return found == opened_.end() ? nullptr : found->second;
}

std::optional<CallResult> Bus::ioctl(int descriptor, unsigned long request, void* argument)
{
    Cpld* device = deviceBehind(descriptor);
    if (device == nullptr)
    {
        return std::nullopt;
    }
    if (request == I2C_FUNCS)
    {
        *static_cast<unsigned long*>(argument) = I2C_FUNC_I2C;
        return CallResult{success, success};
    }
    if (request == I2C_RDWR)
    {
        return transferRequest(*device, static_cast<i2c_rdwr_ioctl_data*>(argument));
    }
    return CallResult{-1, ENOTTY};
}

void Bus::close(int descriptor)
{
    Cpld* device = deviceBehind(descriptor);
    if (device == nullptr)
    {
        return;
    }
    const std::lock_guard guard(mutex_);
    opened_.erase(descriptor);
    trace("close", {{"device", device->description().name}, {"result", descriptor}});
}

} // namespace sim
