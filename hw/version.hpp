#pragma once

#include "service/component_kind.hpp"
#include "service/instances.hpp"

#include <array>
#include <cstdint>
#include <string>

/** Version of a CPLD's firmware. */
struct CpldVersion
{
    int major = 0;
    int minor = 0;
    int maintenance = 0;

    bool operator==(const CpldVersion&) const = default;
};

/** The register read for the version, and the one behind it. */
using VersionBytes = std::array<std::uint8_t, 2>;

/** Takes the numbers from the nibbles that the kind has them in. */
CpldVersion decodeVersion(const ComponentKind& kind, const VersionBytes& bytes);

/** Major, minor and maintenance number in decimal, joined by dots. */
std::string versionText(const CpldVersion& version);

/** FQDD of an instance, with its number. */
std::string instanceFqdd(const ComponentKind& kind, InstanceIndex index);
