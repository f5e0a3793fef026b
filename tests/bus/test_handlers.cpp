/** @file What a caller gets for what a handler, a setter or a getter throws. */

#include "component.hpp"
#include "conversation.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <new>
#include <optional>
#include <stdexcept>

namespace bus_test
{
namespace
{

using sdbusplus::exception::SdBusError;

class OwnError : public sdbusplus::exception::internal_exception
{
  public:
    const char* name() const noexcept override { return "com.example.Error.Own"; }
    const char* description() const noexcept override { return "own text"; }
    const char* what() const noexcept override { return "com.example.Error.Own: own text"; }
    int get_errno() const noexcept override { return EIO; }
};

class ListedNowhere : public sdbusplus::exception::generated_exception
{
  public:
    const char* name() const noexcept override { return "com.example.Error.Generated"; }
    const char* description() const noexcept override { return "generated text"; }
    int get_errno() const noexcept override { return EIO; }
};

class Handlers : public Conversation
{
  protected:
    sdbusplus::message_t update_call()
    {
        auto call = new_call(CompUpdate::interface, "CompFirmwareUpdate");
        call.append("PBBCPLD.Embedded.1", uint32_t{7});
        return call;
    }

    sdbusplus::message_t set_timeout_call(uint32_t value)
    {
        auto call = new_property_call("Set");
        call.append(CompUpdate::interface, "Timeout", std::variant<uint32_t>(value));
        return call;
    }

    sdbusplus::message_t get_version_call()
    {
        auto call = new_property_call("Get");
        call.append(CompUpdate::interface, "New_FW_ver");
        return call;
    }

    template <typename Thrown>
    void handler_throws(Thrown thrown)
    {
        object->on_update = [thrown](auto&, auto) -> int32_t { throw thrown; };
    }

    /** The dispatch throws, and the caller hears nothing until the service is gone. */
    template <typename Exception>
    void expect_no_reply(sdbusplus::message_t call, const std::string& text = "")
    {
        Answer answer;
        ask_without_waiting(call, answer);
        try
        {
            pump_until([&] { return static_cast<bool>(answer.message); });
            FAIL() << "answered: " << answer.error_name() << ": " << answer.error_text();
        }
        catch (const Exception& e)
        {
            EXPECT_TRUE(text.empty() || text == e.what()) << e.what();
        }
        // What the service might have sent all the same would arrive before the news of its end.
        object.reset();
        service.flush();
        service.close();
        sdbusplus::bus_t bystander = sdbusplus::bus::new_system();
        std::swap(service, bystander);
        pump_until([&] { return static_cast<bool>(answer.message); });
        EXPECT_EQ(answer.error_name(), "org.freedesktop.DBus.Error.NoReply");
        EXPECT_EQ(answer.error_text(),
                  "Message recipient disconnected from message bus without replying");
    }

    std::optional<UpdateObject> object{std::in_place, service, service_path};
};

TEST_F(Handlers, ResultOfAMethodIsTheReply)
{
    object->on_update = [](const std::string& fqdd, uint32_t transaction)
    { return fqdd == "PBBCPLD.Embedded.1" && transaction == 7 ? 42 : -1; };
    auto answer = ask(update_call());
    EXPECT_STREQ(answer.message.get_signature(), "i");
    EXPECT_EQ(answer.message.unpack<int32_t>(), 42);
}

TEST_F(Handlers, CallThatWantsNoReplyReachesTheHandler)
{
    bool called = false;
    object->on_update = [&called](auto&, auto) { return called = true; };
    auto call = update_call();
    sd_bus_message_set_expect_reply(call.get(), 0);
    ASSERT_GE(sd_bus_send(nullptr, call.get(), nullptr), 0);
    pump_until([&called] { return called; });
}

TEST_F(Handlers, ErrnoIsAnsweredWithoutItsPrefix)
{
    object->on_update = [](auto&, auto) -> int32_t { throw SdBusError(EINVAL, "prefix"); };
    const auto answer = ask(update_call());
    EXPECT_EQ(answer.error_name(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(answer.error_text(), "Invalid argument");
}

TEST_F(Handlers, MissingFileIsAnsweredByItsOwnName)
{
    object->on_update = [](auto&, auto) -> int32_t { throw SdBusError(ENOENT, "prefix"); };
    const auto answer = ask(update_call());
    EXPECT_EQ(answer.error_name(), "org.freedesktop.DBus.Error.FileNotFound");
    EXPECT_EQ(answer.error_text(), "No such file or directory");
}

TEST_F(Handlers, OwnInternalExceptionIsAnsweredByItsNameAndText)
{
    handler_throws(OwnError());
    const auto answer = ask(update_call());
    EXPECT_EQ(answer.error_name(), "com.example.Error.Own");
    EXPECT_EQ(answer.error_text(), "own text");
}

TEST_F(Handlers, ServiceGoesOnAfterAnAnsweredError)
{
    handler_throws(OwnError());
    ask(update_call());
    object->on_update = [](auto&, auto) { return 3; };
    EXPECT_EQ(ask(update_call()).message.unpack<int32_t>(), 3);
}

TEST_F(Handlers, FailedConversionLeavesTheDispatch)
{
    object->on_update = [](auto&, auto) -> int32_t { return std::stoi("none"); };
    expect_no_reply<std::invalid_argument>(update_call(), "stoi");
}

TEST_F(Handlers, WrongAlternativeLeavesTheDispatch)
{
    object->on_update = [](auto&, auto) -> int32_t
    { return std::get<int32_t>(std::variant<std::string, int32_t>("text")); };
    expect_no_reply<std::bad_variant_access>(update_call(), "std::get: wrong index for variant");
}

TEST_F(Handlers, FileSystemErrorLeavesTheDispatch)
{
    handler_throws(
        std::filesystem::filesystem_error("no", std::make_error_code(std::errc::io_error)));
    expect_no_reply<std::system_error>(update_call());
}

TEST_F(Handlers, LackOfMemoryLeavesTheDispatch)
{
    handler_throws(std::bad_alloc());
    expect_no_reply<std::bad_alloc>(update_call());
}

TEST_F(Handlers, AnyOtherExceptionLeavesTheDispatch)
{
    handler_throws(std::runtime_error("any"));
    expect_no_reply<std::runtime_error>(update_call(), "any");
}

TEST_F(Handlers, GeneratedExceptionThatIsListedNowhereLeavesTheDispatch)
{
    handler_throws(ListedNowhere());
    expect_no_reply<sdbusplus::exception::generated_exception>(update_call());
}

TEST_F(Handlers, ExceptionIsThrownOnce)
{
    handler_throws(std::runtime_error("any"));
    Answer answer;
    auto call = update_call();
    ask_without_waiting(call, answer);
    EXPECT_THROW(pump_until([] { return false; }), std::runtime_error);
    EXPECT_NO_THROW(service.process_discard());
}

TEST_F(Handlers, SetterMayRefuseAValue)
{
    object->on_timeout = [](auto) { throw OwnError(); };
    const auto answer = ask(set_timeout_call(5));
    EXPECT_EQ(answer.error_name(), "com.example.Error.Own");
    EXPECT_EQ(answer.error_text(), "own text");
    EXPECT_EQ(object->timeout(), 0U);
}

TEST_F(Handlers, ExceptionOfASetterLeavesTheDispatch)
{
    object->on_timeout = [](auto) { throw std::runtime_error("setter"); };
    expect_no_reply<std::runtime_error>(set_timeout_call(5), "setter");
}

TEST_F(Handlers, GetterMayRefuseToTell)
{
    object->on_version = [] { throw SdBusError(ENOENT, "prefix"); };
    EXPECT_EQ(ask(get_version_call()).error_name(), "org.freedesktop.DBus.Error.FileNotFound");
}

TEST_F(Handlers, ExceptionOfAGetterLeavesTheDispatch)
{
    object->on_version = [] { throw std::runtime_error("getter"); };
    expect_no_reply<std::runtime_error>(get_version_call(), "getter");
}

/** Everything is made in the process that dies: connections do not survive a fork. */
[[noreturn]] void serve_a_handler_that_throws_a_number()
{
    auto service = sdbusplus::bus::new_system();
    auto client = sdbusplus::bus::new_system();
    UpdateObject object(service, "/com/example/thing");
    object.on_update = [](auto&, auto) -> int32_t { throw 42; };
    auto call = client.new_method_call(service.get_unique_name().c_str(), "/com/example/thing",
                                       CompUpdate::interface, "CompFirmwareUpdate");
    call.append("", uint32_t{0});
    sd_bus_send(nullptr, call.get(), nullptr);
    client.flush();
    while (true)
    {
        try
        {
            service.process_discard();
        }
        catch (...)
        {
            std::exit(1);
        }
    }
}

TEST(HandlersDeathTest, WhatIsNoExceptionEndsTheProcess)
{
    EXPECT_EXIT(serve_a_handler_that_throws_a_number(), ::testing::KilledBySignal(SIGABRT), "");
}

} // namespace
} // namespace bus_test
