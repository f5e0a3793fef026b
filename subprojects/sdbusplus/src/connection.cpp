#include <sdbusplus/asio/connection.hpp>
#include <sdbusplus/exception.hpp>

#include <boost/asio/post.hpp>

#include <poll.h>

#include <chrono>
#include <utility>

namespace sdbusplus::asio
{

namespace
{

/** The bus answers its first question only once the connection has its name. */
bus_t&& named(bus_t&& bus)
{
    bus.get_unique_name();
    return std::move(bus);
}

int checked(int result, const char* call)
{
    if (result < 0)
    {
        throw exception::SdBusError(result, call);
    }
    return result;
}

} // namespace

connection::connection(boost::asio::io_context& io) : connection(io, bus::new_default()) {}

connection::connection(boost::asio::io_context& io, sd_bus* native) : connection(io, bus_t(native))
{
}

connection::connection(boost::asio::io_context& io, bus_t&& bus) :
    bus_t(named(std::move(bus))), io_(io), socket_(io, get_fd()), time_out_(io),
    alive_(std::make_shared<connection*>(this))
{
    // sd-bus may hold messages already, and the socket would not tell of them.
    dispatch_later();
}

template <typename Handler>
auto connection::while_served(Handler handler)
{
    return [alive = std::weak_ptr(alive_), handler](const boost::system::error_code& error = {})
    {
        if (const auto self = alive.lock(); self && error != boost::asio::error::operation_aborted)
        {
            // Any other error is no news: whatever is wrong with the socket, sd-bus finds it when
            // it reads.
            handler(**self);
        }
    };
}

void connection::dispatch()
{
    try
    {
        if (process_discard())
        {
            dispatch_later();
        }
        else
        {
            wait();
        }
    }
    catch (...)
    {
        alive_.reset();
        boost::system::error_code ignored;
        socket_.cancel(ignored);
        time_out_.cancel();
        throw;
    }
}

void connection::dispatch_later()
{
    boost::asio::post(io_, while_served([](connection& self) { self.dispatch(); }));
}

void connection::wait()
{
    const int events = checked(sd_bus_get_events(get()), "sd_bus_get_events");
    for (const auto& [event, direction] :
         {std::pair{POLLIN, wait_type::wait_read}, std::pair{POLLOUT, wait_type::wait_write}})
    {
        if ((events & event) != 0 && !waiting_.at(direction))
        {
            wait_for_socket(direction);
        }
    }
    std::uint64_t time_out = UINT64_MAX;
    checked(sd_bus_get_timeout(get(), &time_out), "sd_bus_get_timeout");
    if (time_out != UINT64_MAX)
    {
        wait_until(time_out);
    }
}

void connection::wait_for_socket(wait_type direction)
{
    socket_.async_wait(direction, while_served(
                                      [direction](connection& self)
                                      {
                                          self.waiting_.at(direction) = false;
                                          self.dispatch();
                                      }));
    waiting_.at(direction) = true;
}

void connection::wait_until(std::uint64_t monotonic_us)
{
    // The C library's steady clock is the monotonic one, which sd-bus reads.
    using Clock = std::chrono::steady_clock;
    const auto since_start = std::chrono::microseconds(monotonic_us);
    time_out_.expires_at(Clock::time_point(since_start));
    time_out_.async_wait(while_served([](connection& self) { self.dispatch(); }));
}

} // namespace sdbusplus::asio
