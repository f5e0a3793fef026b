#include "update/payload_choice.hpp"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace
{

struct DirectoryCloser
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

using DirectoryPtr = std::unique_ptr<DIR, DirectoryCloser>;

/** What errno says, as the standard library would throw it. */
fs::filesystem_error failure(const char* words, const fs::path& directory)
{
    return {words, directory, std::error_code(errno, std::generic_category())};
}

/** Whether an entry is a regular file or a link to one; asked from the listing where it tells. */
bool isRegularFile(const dirent& entry, const fs::path& path)
{
    const bool mustAsk = entry.d_type == DT_UNKNOWN || entry.d_type == DT_LNK;
    return mustAsk ? fs::is_regular_file(path) : entry.d_type == DT_REG;
}

} // namespace

bool isPayloadName(const fs::path& fileName)
{
    return fileName.extension() == ".payload";
}

std::string fileType(const std::string& path)
{
    const auto dot = path.rfind('.');
    return dot == std::string::npos ? path : path.substr(dot + 1);
}

bool isSupportedType(const std::string& type)
{
    constexpr auto supported = std::to_array<std::string_view>({"NULL", "jed", "payload"});
    return std::find(supported.begin(), supported.end(), type) != supported.end();
}

std::optional<fs::path> findPayload(const fs::path& directory)
{
    // The standard iterator ends the process when an allocation fails in the middle of it.
    const DirectoryPtr listing(::opendir(directory.c_str()));
    if (listing == nullptr)
    {
        throw failure("directory iterator cannot open directory", directory);
    }
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) // NOLINT: no other thread has it
    {
        const fs::path name(static_cast<const char*>(entry->d_name));
        if (isRegularFile(*entry, directory / name) && isPayloadName(name))
        {
            return name;
        }
        errno = 0;
    }
    if (errno != 0)
    {
        throw failure("directory iterator cannot advance", directory);
    }
    return std::nullopt;
}
