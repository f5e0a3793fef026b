/** @file Connections, names and calls, and the texts of their failures. */

#include "conversation.hpp"
#include "private_bus.hpp"

#include <sdbusplus/exception.hpp>

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace bus_test
{
namespace
{

using sdbusplus::exception::SdBusError;

/** The text of the SdBusError that the action throws; empty where it throws none. */
template <typename Action>
std::string error_of(const Action& action)
{
    try
    {
        action();
    }
    catch (const SdBusError& e)
    {
        return e.what();
    }
    return "";
}

class Connections : public Conversation
{
  protected:
    static constexpr const char* name = "com.example.Name";

    auto claiming(const char* wanted)
    {
        return [this, wanted] { service.request_name(wanted); };
    }
};

TEST(Errors, TextIsPrefixNameAndMessage)
{
    const SdBusError error(ENOENT, "prefix");
    EXPECT_STREQ(error.what(),
                 "prefix: org.freedesktop.DBus.Error.FileNotFound: No such file or directory");
    EXPECT_STREQ(error.name(), "org.freedesktop.DBus.Error.FileNotFound");
    EXPECT_STREQ(error.description(), "No such file or directory");
    EXPECT_EQ(error.get_errno(), ENOENT);
}

TEST(Errors, SignOfTheErrnoDoesNotMatter)
{
    EXPECT_STREQ(SdBusError(-EALREADY, "x").what(),
                 "x: System.Error.EALREADY: Operation already in progress");
}

TEST(Errors, MissingPartsAreLeftOut)
{
    sd_bus_error only_name{"com.example.Error", nullptr, 0};
    EXPECT_STREQ(SdBusError(&only_name, "prefix").what(), "prefix: com.example.Error");
    sd_bus_error none{};
    EXPECT_STREQ(SdBusError(&none, "prefix").what(), "prefix");
}

TEST(Errors, NativeErrorIsTakenOver)
{
    sd_bus_error native{};
    sd_bus_error_set(&native, "com.example.Error", "text");
    SdBusError error(&native, "prefix");
    EXPECT_EQ(native.name, nullptr);
    const SdBusError moved = std::move(error);
    EXPECT_STREQ(moved.what(), "prefix: com.example.Error: text");
    EXPECT_STREQ(moved.get_error()->message, "text");
}

TEST_F(Connections, SharedOnesAreTheSameOnOneThreadAndPrivateOnesAreNot)
{
    const auto shared = sdbusplus::bus::new_default_system();
    EXPECT_EQ(sdbusplus::bus::new_default_system().get_unique_name(), shared.get_unique_name());
    EXPECT_NE(sdbusplus::bus::new_system().get_unique_name(), shared.get_unique_name());
}

TEST_F(Connections, PrivateOneIsClosedAtItsEnd)
{
    sd_bus* native = nullptr;
    {
        const auto bus = sdbusplus::bus::new_system();
        const auto message = bus.new_signal("/a", "a.b", "C");
        native = sd_bus_ref(sd_bus_message_get_bus(message.get()));
        EXPECT_GT(sd_bus_is_open(native), 0);
    }
    EXPECT_LE(sd_bus_is_open(native), 0);
    sd_bus_unref(native);
}

TEST_F(Connections, FactoryWithoutABusThrowsUnderItsOwnName)
{
    const char* const present = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    ASSERT_NE(present, nullptr);
    const std::string address = present;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
    const auto text = error_of([] { sdbusplus::bus::new_system(); });
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    // A compiler spells the rest of its name as it likes.
    EXPECT_THAT(text, testing::EndsWith(
                          "bus_t sdbusplus::bus::new_system(): "
                          "org.freedesktop.DBus.Error.FileNotFound: No such file or directory"));
}

TEST_F(Connections, MovedOneGoesOn)
{
    const auto unique_name = service.get_unique_name();
    const auto moved = std::move(service);
    EXPECT_EQ(moved.get_unique_name(), unique_name);
    EXPECT_TRUE(moved.is_open());
}

TEST_F(Connections, NameIsClaimed)
{
    service.request_name(name);
    auto call = client.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "GetNameOwner");
    call.append(name);
    EXPECT_EQ(client.call(call).unpack<std::string>(), service.get_unique_name());
}

TEST_F(Connections, NameIsTakenFromAnOwnerThatAllowsIt)
{
    client.request_name(name);
    EXPECT_NO_THROW(service.request_name(name));
}

TEST_F(Connections, OwnNameIsNotClaimedTwice)
{
    service.request_name(name);
    EXPECT_EQ(error_of(claiming(name)),
              "sd_bus_request_name: System.Error.EALREADY: Operation already in progress");
}

TEST_F(Connections, NameOfAnOwnerThatAllowsNoReplacementIsRefused)
{
    const auto message = client.new_signal("/a", "a.b", "C");
    ASSERT_GE(sd_bus_request_name(sd_bus_message_get_bus(message.get()), name, 0), 0);
    EXPECT_EQ(error_of(claiming(name)),
              "sd_bus_request_name: org.freedesktop.DBus.Error.FileExists: File exists");
}

TEST_F(Connections, NameThatThePolicyDeniesIsRefused)
{
    EXPECT_EQ(error_of(claiming(PrivateBus::forbidden_name)),
              "sd_bus_request_name: org.freedesktop.DBus.Error.AccessDenied: Permission denied");
}

TEST_F(Connections, NameThatIsNoneIsRefused)
{
    EXPECT_EQ(error_of(claiming("bad")),
              "sd_bus_request_name: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
}

TEST_F(Connections, CallToNobodySaysSo)
{
    auto call = client.new_method_call("com.example.Nobody", "/a", "a.b", "C");
    EXPECT_EQ(error_of([&] { client.call(call); }),
              "sd_bus_call: org.freedesktop.DBus.Error.ServiceUnknown: "
              "The name com.example.Nobody was not provided by any .service files");
}

TEST_F(Connections, ErrorReplyIsThrownWithItsNameAndText)
{
    auto call = client.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "GetNameOwner");
    call.append("com.example.Nobody");
    EXPECT_EQ(error_of([&] { client.call(call); }),
              "sd_bus_call: org.freedesktop.DBus.Error.NameHasNoOwner: "
              "Could not get owner of name 'com.example.Nobody': no such name");
}

TEST_F(Connections, CallThatIsNotAnsweredTimesOut)
{
    constexpr auto text = "sd_bus_call: org.freedesktop.DBus.Error.Timeout: Connection timed out";
    auto first = new_call("a.b", "C");
    EXPECT_EQ(error_of([&] { client.call(first, 1000); }), text);
    auto second = new_call("a.b", "C");
    EXPECT_EQ(error_of([&] { client.call(second, std::chrono::milliseconds(1)); }), text);
}

TEST_F(Connections, CallOfAMessageGoesThroughItsOwnBus)
{
    auto call = client.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "NameHasOwner");
    call.append("org.freedesktop.DBus");
    EXPECT_TRUE(call.call().unpack<bool>());
}

TEST_F(Connections, AddressesThatAreNoneAreRefused)
{
    constexpr auto text =
        "sd_bus_message_new_method_call: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument";
    EXPECT_EQ(error_of([&] { client.new_method_call("no name", "/a", "a.b", "C"); }), text);
    EXPECT_EQ(error_of([&] { client.new_method_call("a.b", "no path", "a.b", "C"); }), text);
    EXPECT_EQ(
        error_of([&] { client.new_signal("/a", "a.b", "no member"); }),
        "sd_bus_message_new_signal: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
}

TEST_F(Connections, DispatchOfAClosedOneThrows)
{
    client.close();
    EXPECT_EQ(
        error_of([&] { client.process_discard(); }),
        "sd_bus_process discard: org.freedesktop.DBus.Error.Disconnected: Connection reset by peer");
}

TEST_F(Connections, DrainingDeliversWhatABlockingCallLeftBehind)
{
    int seen = 0;
    const sdbusplus::bus::match_t match(client, "type='signal',interface='com.example.News'",
                                        [&seen](sdbusplus::message_t&) { ++seen; });
    service.new_signal("/a", "com.example.News", "Heard").signal_send();
    service.new_signal("/a", "com.example.News", "Heard").signal_send();
    service.flush();
    service.request_name(name);
    // The bus answers in order: with the owner of the name, both signals have come in.
    auto call = client.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "GetNameOwner");
    call.append(name);
    client.call(call);
    EXPECT_EQ(seen, 0);
    while (client.process_discard())
    {
    }
    EXPECT_EQ(seen, 2);
    EXPECT_FALSE(client.process_discard());
}

} // namespace
} // namespace bus_test
