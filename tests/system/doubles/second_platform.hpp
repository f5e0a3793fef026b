#pragma once

/**
 * @file
 * A platform of another maker: the same symbols as every platform's, and nothing else in common
 * with the simulated one. It takes no time but for its transfers, and keeps nothing beyond its
 * process. Variables of the environment say how it is, where it is not as usual:
 *
 *   SECOND_DEVICES     number of CPLDs of each kind (1)
 *   SECOND_STEP        percentage between two reports of a programming run (50)
 *   SECOND_QUIET       nothing is told of what happens to it (each event is, in a line on the
 *                      standard error output)
 *   SECOND_BIT_NS      nanoseconds that a bit takes on the I2C bus (0)
 *   SECOND_TRANSFERS   file that gets the bits of all transfers and the nanoseconds that they took,
 *                      two numbers of 64 bits (none)
 */

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace second
{

/** A CPLD behind a device path of this platform. */
struct Cpld
{
    std::uint32_t nodeType;
    const char* name;
    unsigned int index;
    std::array<std::uint8_t, 16> registers;
};

/** A number of the environment, or `usual` where it is not given. */
std::int64_t setting(const char* name, std::int64_t usual);

/** The CPLDs by path; the programming library and the I2C bus work on the same ones. */
std::map<std::string, Cpld, std::less<>>& cplds();

/** Whether anything is told; it need not be put into words otherwise. */
bool tells();

/** Tells an event, if any is. */
void tell(const std::string& line);

} // namespace second
