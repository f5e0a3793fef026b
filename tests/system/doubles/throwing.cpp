/**
 * @file
 * What the process entry makes of exceptions, of an end that it does not expect, and of a loop that
 * it cannot have. $THROWN says what is thrown where something is, $LOOP where, and how the loop
 * ends:
 *
 *     unmade    the loop's epoll instance cannot be created
 *     stopped   the loop is stopped where it would wait for the first time
 *     failed    there an exception leaves it; $THROWN says which
 *     unused    an exception leaves it before it has handled anything
 *     whole     it goes on; the platform-description parser throws, as no C library should
 */

#include "next_function.hpp"
#include "platform/sysinfo.h"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <sdbusplus/exception.hpp>
#include <sys/epoll.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace
{

namespace asio_detail = boost::asio::detail;

bool isLoop(std::string_view end)
{
    const char* wanted = std::getenv("LOOP"); // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr && wanted == end;
}

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

[[noreturn]] void throwWanted()
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

/**
 * What the loop runs when it is told of an event of it.
 *
 * An event carries the address of the operation that waits for it; the loop knows no other way to
 * tell them apart, and takes this one for one of its own.
 */
class LastOperation : public asio_detail::scheduler_operation
{
  public:
    LastOperation() : scheduler_operation(&run) {}

  private:
    static void run(void* loop, scheduler_operation* /*self*/,
                    const boost::system::error_code& /*error*/, std::size_t /*bytes*/)
    {
        if (isLoop("failed"))
        {
            throwWanted();
        }
        static_cast<asio_detail::scheduler*>(loop)->stop();
    }
};

} // namespace

extern "C"
{

    int epoll_create1(int flags) noexcept
    {
        static auto* const next = nextFunction("epoll_create1", &epoll_create1);
        if (isLoop("unmade"))
        {
            errno = EMFILE;
            return -1;
        }
        return next(flags);
    }

    int epoll_wait(int epoll, epoll_event* events, int size, int timeout)
    {
        static auto* const next = nextFunction("epoll_wait", &epoll_wait);
        if (isLoop("unused"))
        {
            throwWanted();
        }
        if (timeout == 0 || !(isLoop("stopped") || isLoop("failed")))
        {
            return next(epoll, events, size, timeout);
        }
        static LastOperation last;
        events->events = EPOLLIN;
        events->data.ptr = &last;
        return 1;
    }
}

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    static auto* const next = nextFunction("i2c_parse_sysinfo", &i2c_parse_sysinfo);
    if (isLoop("whole"))
    {
        throwWanted();
    }
    return next(node_type, result);
}
