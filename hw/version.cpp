#include "hw/version.hpp"

namespace
{

int numberIn(const VersionBytes& bytes, VersionNibble place)
{
    const unsigned byte = bytes.at(place.byte);
    return static_cast<int>(place.high ? byte >> 4U : byte & 0x0FU);
}

} // namespace

CpldVersion decodeVersion(const ComponentKind& kind, const VersionBytes& bytes)
{
    return {
        numberIn(bytes, kind.major),
        numberIn(bytes, kind.minor),
        numberIn(bytes, kind.maintenance),
    };
}

std::string versionText(const CpldVersion& version)
{
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.maintenance);
}

std::string instanceFqdd(const ComponentKind& kind, InstanceIndex index)
{
    return kind.fqddPrefix + std::to_string(index.number());
}
