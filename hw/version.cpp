#include "hw/version.hpp"

#include "service/component_table.hpp"

namespace
{

constexpr int highNibble(std::uint8_t byte)
{
    return byte >> 4U;
}

constexpr int lowNibble(std::uint8_t byte)
{
    return static_cast<int>(byte & 0x0FU);
}

} // namespace

std::uint8_t versionRegister(KindCode kind)
{
    return kind == KindCode::flop ? 0x0C : 0x00;
}

CpldVersion decodeVersion(KindCode kind, const VersionBytes& bytes)
{
    const auto [first, second] = bytes;
    if (kind == KindCode::flop)
    {
        return {highNibble(second), highNibble(first), lowNibble(first)};
    }
    return {lowNibble(first), highNibble(first), lowNibble(second)};
}

std::string versionText(const CpldVersion& version)
{
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.maintenance);
}

std::string instanceFqdd(KindCode kind, std::uint8_t index)
{
    return std::string(fqddPrefix(kind)) + std::to_string(index + 1);
}
