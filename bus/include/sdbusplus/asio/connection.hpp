#pragma once

#include <sdbusplus/bus.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include <memory>

/** @file A bus connection that an event loop serves. */

namespace sdbusplus::asio
{

/**
 * A connection whose messages the event loop dispatches on its own thread. While it lives, the loop
 * has work and run() does not return. An exception out of a dispatch leaves run(), and the
 * connection is not served any more.
 *
 * The loop serves what arrives. A message that sd-bus has taken in during a blocking call made
 * outside of a dispatch is not seen before the next traffic: call process_discard() until it
 * returns false.
 */
class connection : public bus_t
{
  public:
    /** On the calling thread's default bus. @throws exception::SdBusError where there is none */
    explicit connection(boost::asio::io_context& io);
    /** On a given bus, of which it takes a reference. @throws exception::SdBusError */
    connection(boost::asio::io_context& io, sd_bus* native);

    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    connection(connection&&) = delete;
    connection& operator=(connection&&) = delete;
    ~connection() = default;

    boost::asio::io_context& get_io_context() noexcept { return io_; }

  private:
    /** The loop's view of the socket, which sd-bus closes, also where a constructor fails. */
    class watched_socket : public boost::asio::posix::stream_descriptor
    {
      public:
        using boost::asio::posix::stream_descriptor::stream_descriptor;
        watched_socket(const watched_socket&) = delete;
        watched_socket& operator=(const watched_socket&) = delete;
        watched_socket(watched_socket&&) = delete;
        watched_socket& operator=(watched_socket&&) = delete;
        ~watched_socket() { release(); }
    };

    connection(boost::asio::io_context& io, bus_t&& bus);

    void dispatch_later();
    void dispatch_when_readable();
    void dispatch();

    boost::asio::io_context& io_;
    watched_socket socket_;
    // What waits in the loop may come up after the connection is gone; this tells it.
    std::shared_ptr<connection*> alive_;
};

} // namespace sdbusplus::asio
