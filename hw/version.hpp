#pragma once

#include "service/cpld_inventory.hpp"

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

/** Register at which a kind's two version bytes begin. */
std::uint8_t versionRegister(KindCode kind);

/** Decodes the version bytes; which nibbles count differs between the kinds. */
CpldVersion decodeVersion(KindCode kind, const VersionBytes& bytes);

/** Major, minor and maintenance number in decimal, joined by dots. */
std::string versionText(const CpldVersion& version);

/** FQDD of an instance. @param index counted from 0 */
std::string instanceFqdd(KindCode kind, std::uint8_t index);
