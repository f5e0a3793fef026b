/** @file A connection that an event loop serves. */

#include "component.hpp"
#include "memory.hpp"
#include "private_bus.hpp"

#include <sdbusplus/asio/connection.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/exception.hpp>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace bus_test
{
namespace
{

using sdbusplus::asio::connection;

constexpr auto path = "/com/example/thing";
constexpr auto news_rule = "type='signal',interface='com.example.News'";
/** More than the buffers of a socket and the bus take while nobody reads. */
constexpr std::size_t large = 3'000'000;

class Loop : public ::testing::Test
{
  protected:
    Loop()
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
        setenv("DBUS_STARTER_BUS_TYPE", "system", 1);
        // Only a failing test waits that long.
        deadline.expires_after(std::chrono::seconds(20));
        deadline.async_wait(
            [this](const auto& error)
            {
                if (!error)
                {
                    ADD_FAILURE() << "what the test waits for does not come";
                    io.stop();
                }
            });
    }

    using Native = std::unique_ptr<sd_bus, decltype(&sd_bus_unref)>;

    static Native new_native()
    {
        auto fresh = sdbusplus::bus::new_system();
        fresh.set_should_close(false);
        return Native(fresh.release(), sd_bus_unref);
    }

    std::shared_ptr<connection> new_connection()
    {
        return std::make_shared<connection>(io, new_native().get());
    }

    /** A connection whose socket takes a few kilobytes only, as of a process without privileges. */
    static Native new_native_with_little_room()
    {
        auto native = new_native();
        const int least = 1;
        EXPECT_EQ(
            setsockopt(sd_bus_get_fd(native.get()), SOL_SOCKET, SO_SNDBUF, &least, sizeof(least)),
            0);
        return native;
    }

    /** Ends the loop when the answer is there, whose error must be `expected_error`. */
    static int end_loop(sd_bus_message* answer, void* self, sd_bus_error* /*error*/)
    {
        auto& loop = *static_cast<Loop*>(self);
        const sd_bus_error* error = sd_bus_message_get_error(answer);
        EXPECT_STREQ(error == nullptr ? "none" : error->name, loop.expected_error);
        loop.io.stop();
        return 0;
    }

    /** Asks for a property of the object; the answer ends the loop. */
    void ask_for(const char* property, const sdbusplus::bus_t& service, sd_bus* client)
    {
        ASSERT_GE(sd_bus_call_method_async(client, nullptr, service.get_unique_name().c_str(), path,
                                           "org.freedesktop.DBus.Properties", "Get", end_loop, this,
                                           "ss", CompUpdate::interface, property),
                  0);
    }

    /** Calls a connection that never answers; the end of the time-out ends the loop. */
    void ask_nobody(sd_bus* client, std::uint64_t time_out_us)
    {
        expected_error = SD_BUS_ERROR_NO_REPLY;
        silent = new_native();
        auto call = sdbusplus::bus_t(client).new_method_call(
            sdbusplus::bus_t(silent.get()).get_unique_name().c_str(), path, "com.example.News",
            "Ask");
        ASSERT_GE(sd_bus_call_async(client, nullptr, call.get(), end_loop, this, time_out_us), 0);
    }

    static void send_news(const sdbusplus::bus_t& from)
    {
        from.new_signal("/a", "com.example.News", "Heard").signal_send();
        from.flush();
    }

    /** A blocking call; what was sent before it on the same connection has come back by its end. */
    static void ask_the_bus(sdbusplus::bus_t& from)
    {
        auto call = from.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                         "org.freedesktop.DBus", "GetId");
        from.call(call);
    }

    PrivateBus bus;
    boost::asio::io_context io;
    const char* expected_error = "none";
    Native silent{nullptr, sd_bus_unref};

  private:
    boost::asio::steady_timer deadline{io};
};

TEST_F(Loop, ServesCalls)
{
    const auto service = new_connection();
    const auto client = new_connection();
    UpdateObject object(*service, path);
    object.on_update = [this](auto&, uint32_t transaction)
    {
        EXPECT_EQ(transaction, 7U);
        io.stop();
        return 0;
    };
    auto call = client->new_method_call(service->get_unique_name().c_str(), path,
                                        CompUpdate::interface, "CompFirmwareUpdate");
    call.append("PBBCPLD.Embedded.1", uint32_t{7});
    ASSERT_GE(sd_bus_send(nullptr, call.get(), nullptr), 0);
    client->flush();
    io.run();
}

TEST_F(Loop, ServesAllThatCameAtOnce)
{
    constexpr int sent = 100;
    int seen = 0;
    const auto client = new_connection();
    const sdbusplus::bus::match_t match(*client, news_rule,
                                        [&](sdbusplus::message_t&)
                                        {
                                            if (++seen == sent)
                                            {
                                                io.stop();
                                            }
                                        });
    const auto service = new_connection();
    for (int i = 0; i < sent; ++i)
    {
        send_news(*service);
    }
    io.run();
    EXPECT_EQ(seen, sent);
}

TEST_F(Loop, ServesWhatABlockingCallLeftBehindBeforeIt)
{
    const auto client = new_connection();
    const sdbusplus::bus::match_t match(*client, news_rule,
                                        [this](sdbusplus::message_t&) { io.stop(); });
    send_news(*client);
    ask_the_bus(*client);
    io.run();
}

TEST_F(Loop, SendsTheRestOfAnAnswerThatTheSocketDidNotTakeAtOnceAndRests)
{
    const auto service = std::make_shared<connection>(io, new_native_with_little_room().get());
    UpdateObject object(*service, path);
    object.jobid(std::string(large, 'x'), true);
    const auto native = new_native();
    const connection client(io, native.get());
    ask_for("Jobid", *service, native.get());
    io.run();
    io.restart();
    constexpr int more_than_can_be_left = 100;
    int handled = 0;
    while (handled < more_than_can_be_left && io.poll_one() > 0)
    {
        ++handled;
    }
    EXPECT_LT(handled, more_than_can_be_left);
}

TEST_F(Loop, GivesACallUpAfterItsTimeOut)
{
    const auto native = new_native();
    const connection client(io, native.get());
    ask_nobody(native.get(), 20'000);
    io.run();
}

TEST_F(Loop, DefaultConnectionIsTheThreadsOwn)
{
    const connection on_default(io);
    EXPECT_EQ(sdbusplus::bus::new_default().get_unique_name(), on_default.get_unique_name());
    EXPECT_EQ(sdbusplus::bus::new_default_system().get_unique_name(), on_default.get_unique_name());
}

TEST_F(Loop, WithoutMemoryThereIsNoConnectionAndTheBusIsAsItWas)
{
    const auto native = new_native();
    std::unique_ptr<connection> made;
    int failures = 0;
    while (made == nullptr)
    {
        try
        {
            const WithoutMemory then(failures);
            made = std::make_unique<connection>(io, native.get());
        }
        catch (const std::bad_alloc&)
        {
            ++failures;
            sdbusplus::bus_t bus_as_it_was(native.get());
            ask_the_bus(bus_as_it_was);
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(Loop, WithoutABusThereIsNoConnection)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
    try
    {
        const connection none(io);
        FAIL() << "connected";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        // A compiler spells the rest of its name as it likes.
        EXPECT_THAT(e.what(),
                    testing::EndsWith(
                        "bus_t sdbusplus::bus::new_default(): "
                        "org.freedesktop.DBus.Error.FileNotFound: No such file or directory"));
    }
}

TEST_F(Loop, ExceptionOfAHandlerComesOutAndTheConnectionIsNotServedAnyMore)
{
    const auto native = new_native();
    const auto service = std::make_shared<connection>(io, native.get());
    const auto client = new_connection();
    UpdateObject object(*service, path);
    int calls = 0;
    object.on_update = [&calls](auto&, auto) -> int32_t
    {
        ++calls;
        throw std::runtime_error("out of a handler");
    };
    const auto call_once = [&]
    {
        auto call = client->new_method_call(service->get_unique_name().c_str(), path,
                                            CompUpdate::interface, "CompFirmwareUpdate");
        call.append("", uint32_t{0});
        ASSERT_GE(sd_bus_send(nullptr, call.get(), nullptr), 0);
        client->flush();
    };
    ask_nobody(native.get(), 20'000);
    call_once();
    EXPECT_THROW(io.run(), std::runtime_error);

    call_once();
    boost::asio::steady_timer after_the_time_out(io, std::chrono::milliseconds(40));
    after_the_time_out.async_wait([this](const auto&) { io.stop(); });
    io.run();
    EXPECT_EQ(calls, 1);
}

TEST_F(Loop, EndOfTheBusComesOut)
{
    const auto service = new_connection();
    bus.stop();
    try
    {
        io.run();
        FAIL() << "went on";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_STREQ(e.what(), "sd_bus_process discard: org.freedesktop.DBus.Error.Disconnected: "
                               "Connection reset by peer");
    }
}

TEST_F(Loop, ConnectionLeavesItsSocketOpenAndItsWorkUndone)
{
    auto kept = sdbusplus::bus::new_system();
    const int descriptor = kept.get_fd();
    sd_bus* native = kept.release();
    kept = sdbusplus::bus_t(native, std::false_type());
    std::make_shared<connection>(io, native).reset();
    EXPECT_NE(fcntl(descriptor, F_GETFD), -1);
    EXPECT_NO_THROW(ask_the_bus(kept));
    // What the connection had posted finds nobody.
    EXPECT_NO_THROW(io.poll());
}

TEST_F(Loop, ConnectionMayEndWhileItWaits)
{
    auto ending = new_connection();
    io.poll();
    ending.reset();
    EXPECT_NO_THROW(io.poll());
}

TEST_F(Loop, ConnectionMayEndWhileItWaitsForRoomAndForATimeOut)
{
    const auto native = new_native_with_little_room();
    auto ending = std::make_unique<connection>(io, native.get());
    auto call = ending->new_method_call(new_connection()->get_unique_name().c_str(), path,
                                        "com.example.News", "Ask");
    call.append(std::string(large, 'x'));
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
    ASSERT_GE(sd_bus_call_async(native.get(), nullptr, call.get(), ignore, nullptr, 0), 0);
    io.poll();
    ending.reset();
    EXPECT_NO_THROW(io.poll());
}

TEST_F(Loop, ConnectionKnowsItsLoop)
{
    EXPECT_EQ(&new_connection()->get_io_context(), &io);
}

} // namespace
} // namespace bus_test
