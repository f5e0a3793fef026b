#include "thrown.hpp"

#include <boost/system/system_error.hpp>
#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

namespace
{

/** A bus error that is a system error as well, as the binding library's own may be. */
class BusAndSystemError : public sdbusplus::exception::exception, public std::system_error
{
  public:
    BusAndSystemError() : std::system_error(std::make_error_code(std::errc::not_connected)) {}

    const char* name() const noexcept override { return "org.example.Error.Both"; }
    const char* description() const noexcept override { return "of both kinds"; }
    const char* what() const noexcept override { return "both"; }
    int get_errno() const noexcept override { return ENOTCONN; }
};

} // namespace

void throwWanted()
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
    if (thrown == "bus and system")
    {
        throw BusAndSystemError();
    }
    if (thrown == "general")
    {
        throw std::logic_error("surprise");
    }
    throw 1; // of no type that anybody expects
}
