/**
 * @file
 * An event loop that ends, as it never does by itself. $LOOP says how:
 *
 *     unmade    the loop's epoll instance cannot be created
 *     stopped   the loop is stopped where it would wait for the first time
 *     failed    there an exception leaves it; $THROWN says which
 *     unused    an exception leaves it before it has handled anything
 */

#include "next_function.hpp"
#include "thrown.hpp"

#include <boost/asio/io_context.hpp>
#include <sys/epoll.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace
{

namespace asio_detail = boost::asio::detail;

bool isLoop(std::string_view end)
{
    const char* wanted = std::getenv("LOOP"); // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr && wanted == end;
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
