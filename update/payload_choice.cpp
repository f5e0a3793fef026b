#include "update/payload_choice.hpp"

#include <algorithm>
#include <array>
#include <string_view>

bool isPayloadName(const std::filesystem::path& fileName)
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

std::optional<std::filesystem::path> findPayload(const std::filesystem::path& directory)
{
    for (const auto& entry : std::filesystem::directory_iterator(directory))
    {
        if (entry.is_regular_file() && isPayloadName(entry.path().filename()))
        {
            return entry.path().filename();
        }
    }
    return std::nullopt;
}
