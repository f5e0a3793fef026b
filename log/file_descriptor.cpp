#include "log/file_descriptor.hpp"

#include <fcntl.h>
#include <sys/stat.h>

FileDescriptor openFile(const char* path, int flags)
{
    constexpr mode_t modeOfNewFiles = 0666; // what the process's mask leaves of it
    constexpr int always = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    return FileDescriptor(::open(path, flags | always, modeOfNewFiles)); // NOLINT: open is variadic
}

bool isRegularFile(const FileDescriptor& file)
{
    struct stat found
    {
    };
    return ::fstat(file.get(), &found) == 0 && S_ISREG(found.st_mode);
}

std::optional<std::size_t> readUpTo(const FileDescriptor& file, std::span<std::byte> target)
{
    std::size_t used = 0;
    while (used < target.size())
    {
        const auto rest = target.subspan(used);
        const ssize_t count = ::read(file.get(), rest.data(), rest.size());
        if (count < 0)
        {
            return std::nullopt;
        }
        if (count == 0)
        {
            break;
        }
        used += static_cast<std::size_t>(count);
    }
    return used;
}
