#pragma once

/**
 * @file
 * A platform of another maker: the same symbols as every platform's, and nothing else in common
 * with the simulated one. It has one CPLD of each kind, tells what happens to it on the standard
 * error output, one line an event, and keeps nothing beyond its process.
 */

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace second
{

/** A CPLD behind a device path of this platform. */
struct Cpld
{
    std::uint32_t nodeType;
    const char* name;
    const char* path;
    std::array<std::uint8_t, 16> registers;
};

/** The CPLDs; the programming library and the I2C bus work on the same ones. */
std::array<Cpld, 3>& cplds();

/** The CPLD that `matches`, or null. */
template <typename Predicate>
Cpld* find(Predicate matches)
{
    for (Cpld& cpld : cplds())
    {
        if (matches(cpld))
        {
            return &cpld;
        }
    }
    return nullptr;
}

/** Writes one line to the standard error output, whole. */
void tell(const std::string& line);

} // namespace second
