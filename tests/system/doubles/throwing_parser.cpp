/**
 * @file
 * A platform-description parser that throws, as no C library should: what the process entry makes
 * of each kind of exception. $THROWN says which.
 */

#include "platform/sysinfo.h"
#include "thrown.hpp"

#include <cstdint>

int i2c_parse_sysinfo(std::uint32_t /*node_type*/, i2c_sysinfo** /*result*/)
{
    throwWanted();
}
