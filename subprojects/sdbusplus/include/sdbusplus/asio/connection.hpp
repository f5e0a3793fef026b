#pragma once

#include <sdbusplus/bus.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstdint>
#include <memory>

/** @file A bus connection that an event loop serves. */

namespace sdbusplus::asio
{

/**
 * A connection whose messages the event loop dispatches on its own thread. While it lives, the loop
 * has work and run() does not return. An exception out of a dispatch leaves run(), and the
 * connection is not served any more.
 *
 * The loop serves what arrives, sends what the socket did not take at once, and gives calls up
 * whose time-out has passed. It looks for the last two after each dispatch. Outside of one, a
 * message that sd-bus has taken in during a blocking call is not seen before the next traffic (call
 * process_discard() until it returns false), and what a full socket does not take waits for it too
 * (call flush()).
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

    using wait_type = boost::asio::posix::stream_descriptor::wait_type;

    /** A handler for the loop, which does nothing once the connection is gone or has failed. */
    template <typename Handler>
    auto while_served(Handler handler);

    void dispatch();
    void dispatch_later();
    void wait();
    void wait_for_socket(wait_type direction);
    void wait_until(std::uint64_t monotonic_us);

    boost::asio::io_context& io_;
    watched_socket socket_;
    boost::asio::steady_timer time_out_;
    /** By wait_type: whether the loop waits for the socket already. */
    std::array<bool, 2> waiting_{};
    // What waits in the loop may come up after the connection is gone or has failed; this tells it.
    std::shared_ptr<connection*> alive_;
};

} // namespace sdbusplus::asio
