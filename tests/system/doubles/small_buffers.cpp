/**
 * @file
 * A kernel as most are, for a process without privileges: it gives a socket 208 KiB for what is on
 * its way out and no more. Root could force more, and this machine's limit may be another.
 */

#include "next_function.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

extern "C" int setsockopt(int socket, int level, int name, const void* value,
                          socklen_t size) noexcept
{
    static auto* const next = nextFunction("setsockopt", &setsockopt);
    if (level == SOL_SOCKET && name == SO_SNDBUFFORCE)
    {
        errno = EPERM;
        return -1;
    }
    if (level == SOL_SOCKET && name == SO_SNDBUF && size == sizeof(int))
    {
        constexpr int limit = 208 * 1024;
        const int given = std::min(*static_cast<const int*>(value), limit);
        return next(socket, level, name, &given, size);
    }
    return next(socket, level, name, value, size);
}
