/**
 * @file
 * The C library's calls that reach I2C devices, put in front of the C library by preloading.
 *
 * Only device paths that the board names lead into the simulation; every other call goes to the
 * next library unchanged.
 */

#include "i2c/bus.hpp"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <string_view>
#include <sys/types.h>

// The prototypes are those of the C library's binary interface. Its headers are not included here:
// they declare some of these names as inline functions or rename them, depending on build flags.
// NOLINTBEGIN(cert-dcl50-cpp,cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay,bugprone-reserved-identifier)

namespace
{

/** The same call in the next library, which is the C library or another one in front of it. */
template <typename Call>
Call* next(const char* name)
{
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

using Open = int(const char*, int, ...);
using OpenAt = int(int, const char*, int, ...);
using OpenFortified = int(const char*, int);
using OpenAtFortified = int(int, const char*, int);
using Ioctl = int(int, unsigned long, ...);
using Close = int(int);

int inLibraryManner(const sim::CallResult& call)
{
    if (call.result < 0)
    {
        errno = call.error;
    }
    return call.result;
}

/** The simulation's answer to an open, or that of `otherwise`. */
template <typename Otherwise>
int openOr(const char* path, int flags, Otherwise otherwise)
{
    const bool isDevice = path != nullptr && std::string_view(path).starts_with("/dev/");
    const auto simulated = isDevice ? sim::Bus::instance().open(path, flags) : std::nullopt;
    return simulated ? inLibraryManner(*simulated) : otherwise();
}

} // namespace

// The mode is read whether or not one was given: without O_CREAT nobody looks at it.

extern "C" int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openOr(path, flags, [&] { return next<Open>("open")(path, flags, mode); });
}

extern "C" int open64(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openOr(path, flags, [&] { return next<Open>("open64")(path, flags, mode); });
}

extern "C" int openat(int directory, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openOr(path, flags,
                  [&] { return next<OpenAt>("openat")(directory, path, flags, mode); });
}

extern "C" int openat64(int directory, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openOr(path, flags,
                  [&] { return next<OpenAt>("openat64")(directory, path, flags, mode); });
}

// What the calls above become where the caller was compiled with checked library calls.

extern "C" int __open_2(const char* path, int flags)
{
    return openOr(path, flags, [&] { return next<OpenFortified>("__open_2")(path, flags); });
}

extern "C" int __open64_2(const char* path, int flags)
{
    return openOr(path, flags, [&] { return next<OpenFortified>("__open64_2")(path, flags); });
}

extern "C" int __openat_2(int directory, const char* path, int flags)
{
    return openOr(path, flags,
                  [&] { return next<OpenAtFortified>("__openat_2")(directory, path, flags); });
}

extern "C" int __openat64_2(int directory, const char* path, int flags)
{
    return openOr(path, flags,
                  [&] { return next<OpenAtFortified>("__openat64_2")(directory, path, flags); });
}

extern "C" int ioctl(int descriptor, unsigned long request, ...)
{
    std::va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const auto simulated = sim::Bus::instance().ioctl(descriptor, request, argument);
    return simulated ? inLibraryManner(*simulated)
                     : next<Ioctl>("ioctl")(descriptor, request, argument);
}

extern "C" int close(int descriptor)
{
    sim::Bus::instance().close(descriptor);
    return next<Close>("close")(descriptor);
}

// NOLINTEND(cert-dcl50-cpp,cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay,bugprone-reserved-identifier)
