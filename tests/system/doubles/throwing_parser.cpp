/**
 * @file
 * A platform-description parser that throws, as no C library should: what the process entry makes
 * of each kind of exception. $THROWN says which.
 */

#include "platform/sysinfo.h"

#include <boost/system/system_error.hpp>
#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

int i2c_parse_sysinfo(std::uint32_t /*node_type*/, i2c_sysinfo** /*result*/)
{
    const char* wanted = std::getenv("THROWN"); // NOLINT(concurrency-mt-unsafe)
    const std::string thrown = wanted == nullptr ? "" : wanted;
    if (thrown == "boost")
    {
        const auto code = boost::system::errc::make_error_code(boost::system::errc::io_error);
        throw boost::system::system_error(code, "loop");
    }
    if (thrown == "system")
    {
        throw std::system_error(std::make_error_code(std::errc::io_error), "thread");
    }
    if (thrown == "bus")
    {
        throw sdbusplus::exception::SdBusError(ENOTCONN, "bus");
    }
    if (thrown == "general")
    {
        throw std::logic_error("surprise");
    }
    throw 1; // of no type that anybody expects
}
