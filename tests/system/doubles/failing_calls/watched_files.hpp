#pragma once

/** @file The files whose use counts: payloads with their directories, key files, the log file. */

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

namespace failing
{

inline bool isWatched(const char* path)
{
    if (path == nullptr)
    {
        return false;
    }
    const std::string_view text(path);
    return text.starts_with("/etc/shared_keys/") || text == "/var/log/tavrinupdate.log" ||
           text.find("/payloads/") != std::string_view::npos;
}

/** Which descriptors lead to such a file. */
inline std::atomic<bool>* watchedDescriptor(int fd)
{
    static std::array<std::atomic<bool>, 1024> watched{};
    const auto index = static_cast<std::size_t>(fd);
    return fd >= 0 && index < watched.size() ? &watched.at(index) : nullptr;
}

inline bool isWatched(int fd)
{
    const auto* watched = watchedDescriptor(fd);
    return watched != nullptr && *watched;
}

inline void watch(int fd, bool isWatched)
{
    if (auto* watched = watchedDescriptor(fd); watched != nullptr)
    {
        *watched = isWatched;
    }
}

} // namespace failing
