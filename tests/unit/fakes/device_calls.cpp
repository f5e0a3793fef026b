#include "fakes/devices.hpp"
#include "fakes/files.hpp"
#include "fakes/journal.hpp"
#include "fakes/next_symbol.hpp"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <string_view>

namespace
{

std::map<std::string, fakes::Cpld*> devices;
std::map<int, fakes::Cpld*> descriptors;
int openFlags = 0;
bool allPathsTaken = false;

bool isDevice(std::string_view path, int flags)
{
    // The log file, the payload and the keys are read or written, never both.
    const bool isTaken = allPathsTaken && (flags & O_ACCMODE) == O_RDWR;
    return isTaken || path.starts_with("/dev/fake-");
}

int openDevice(const std::string& path, int flags)
{
    openFlags = flags;
    const auto device = devices.find(path);
    if (device == devices.end())
    {
        fakes::note("open " + path + ": ENOENT");
        errno = ENOENT;
        return -1;
    }
    fakes::note("open " + path);
    // A real descriptor, so that its number is nobody else's.
    const int descriptor =
        fakes::nextSymbol<int(const char*, int, ...)>("open")("/dev/null", flags);
    descriptors[descriptor] = device->second;
    return descriptor;
}

fakes::I2cMessage describe(const i2c_msg& message)
{
    fakes::I2cMessage described{message.addr, message.flags, {}, message.len};
    if ((message.flags & I2C_M_RD) == 0)
    {
        described.written.assign(message.buf, message.buf + message.len);
    }
    return described;
}

int transfer(fakes::Cpld& device, unsigned long number, const i2c_rdwr_ioctl_data& block)
{
    fakes::I2cRequest request{number, {}};
    for (unsigned i = 0; i < block.nmsgs; ++i)
    {
        request.messages.push_back(describe(block.msgs[i]));
    }
    const int error = device.transfer(request, block.msgs[1].buf);
    if (error != 0)
    {
        errno = error;
        return -1;
    }
    return device.result().value_or(static_cast<int>(block.nmsgs));
}

} // namespace

extern "C" int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : mode_t{0};
    va_end(arguments);
    return isDevice(path, flags) ? openDevice(path, flags) : fakes::openInPlace(path, flags, mode);
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);

    const auto device = descriptors.find(descriptor);
    return device != descriptors.end()
               ? transfer(*device->second, request, *static_cast<i2c_rdwr_ioctl_data*>(argument))
               : fakes::nextSymbol<int(int, unsigned long, ...)>("ioctl")(descriptor, request,
                                                                          argument);
}

extern "C" int close(int descriptor)
{
    if (const auto device = descriptors.extract(descriptor))
    {
        fakes::note(fakes::closed(*device.mapped()));
    }
    const int status = fakes::nextSymbol<int(int)>("close")(descriptor);
    if (status != 0 && errno == EBADF)
    {
        // The next such close may hit somebody else's descriptor.
        fakes::note("close of what is not open");
        errno = EBADF;
    }
    return status;
}

namespace fakes
{

Cpld::Cpld(std::string path) : path_(std::move(path))
{
    devices[path_] = this;
}

Cpld::~Cpld()
{
    devices.erase(path_);
}

void takeAllPaths(bool take)
{
    allPathsTaken = take;
}

int lastOpenFlags()
{
    return openFlags;
}

std::size_t openDevices()
{
    return descriptors.size();
}

} // namespace fakes
