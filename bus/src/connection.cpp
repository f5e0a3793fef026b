#include <sdbusplus/asio/connection.hpp>

#include <boost/asio/post.hpp>

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

} // namespace

connection::connection(boost::asio::io_context& io) : connection(io, bus::new_default()) {}

connection::connection(boost::asio::io_context& io, sd_bus* native) : connection(io, bus_t(native))
{
}

connection::connection(boost::asio::io_context& io, bus_t&& bus) :
    bus_t(named(std::move(bus))), io_(io), socket_(io, get_fd()),
    alive_(std::make_shared<connection*>(this))
{
    // sd-bus may hold messages already, and the socket would not tell of them.
    dispatch_later();
}

void connection::dispatch_later()
{
    boost::asio::post(io_,
                      [alive = std::weak_ptr(alive_)]
                      {
                          if (const auto self = alive.lock())
                          {
                              (*self)->dispatch();
                          }
                      });
}

void connection::dispatch_when_readable()
{
    socket_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                       [alive = std::weak_ptr(alive_)](const boost::system::error_code& error)
                       {
                           // A failed wait is no news: whatever is wrong with the socket, sd-bus
                           // finds it when it reads.
                           if (const auto self = alive.lock();
                               self && error != boost::asio::error::operation_aborted)
                           {
                               (*self)->dispatch();
                           }
                       });
}

void connection::dispatch()
{
    if (process_discard())
    {
        dispatch_later();
    }
    else
    {
        dispatch_when_readable();
    }
}

} // namespace sdbusplus::asio
