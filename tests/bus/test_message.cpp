/** @file Values in messages: what goes in comes out, and what is said where it cannot. */

#include <sdbusplus/exception.hpp>

#include "conversation.hpp"

#include <boost/container/flat_map.hpp>

#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <variant>

namespace bus_test
{
namespace
{

using sdbusplus::exception::SdBusError;

class Messages : public Conversation
{
  protected:
    /** A message that holds the values and can be read. */
    template <typename... Values>
    sdbusplus::message_t holding(const Values&... values)
    {
        auto message = service.new_signal("/com/example", "com.example.Test", "Values");
        message.append(values...);
        EXPECT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
        return message;
    }

    template <typename Value>
    void expect_round_trip(const Value& value, const char* signature)
    {
        auto message = holding(value);
        EXPECT_STREQ(message.get_signature(), signature);
        EXPECT_EQ(message.template unpack<Value>(), value);
    }

    /** Reads a Value from a message that has something else. */
    template <typename Value>
    void expect_failure(sdbusplus::message_t message, const std::string& call)
    {
        try
        {
            message.template unpack<Value>();
            ADD_FAILURE() << "read";
        }
        catch (const SdBusError& e)
        {
            EXPECT_EQ(e.what(), call + ": System.Error.ENXIO: No such device or address");
            EXPECT_EQ(e.get_errno(), ENXIO);
        }
    }
};

TEST_F(Messages, BasicTypesTravel)
{
    expect_round_trip(uint8_t{0xff}, "y");
    expect_round_trip(true, "b");
    expect_round_trip(int16_t{-2}, "n");
    expect_round_trip(uint16_t{0xffff}, "q");
    expect_round_trip(int32_t{-3}, "i");
    expect_round_trip(uint32_t{0xffff'ffff}, "u");
    expect_round_trip(int64_t{-4}, "x");
    expect_round_trip(uint64_t{1} << 63U, "t");
    expect_round_trip(0.25, "d");
    expect_round_trip(std::string("Käse"), "s");
}

TEST_F(Messages, ContainersTravel)
{
    expect_round_trip(std::vector<std::string>{"b", "a"}, "as");
    expect_round_trip(std::vector<bool>{true, false}, "ab");
    expect_round_trip(std::set<uint16_t>{1, 2}, "aq");
    expect_round_trip(std::map<std::string, uint32_t>{{"a", 1}, {"b", 2}}, "a{su}");
    expect_round_trip(boost::container::flat_map<uint8_t, bool>{{1, true}}, "a{yb}");
    expect_round_trip(std::vector<std::pair<std::string, int32_t>>{{"b", 1}, {"b", 2}}, "a{si}");
    expect_round_trip(std::tuple<std::string, std::vector<double>>{"x", {1.5}}, "(sad)");
    expect_round_trip(
        std::map<std::string, std::map<std::string, std::variant<std::string, bool>>>{
            {"interface", {{"property", true}}}, {"other", {}}},
        "a{sa{sv}}");
}

TEST_F(Messages, LiteralsAndPointersAreText)
{
    const char* pointer = "pointer";
    auto message = holding("literal", pointer, std::string("string"));
    EXPECT_STREQ(message.get_signature(), "sss");
    EXPECT_EQ((message.unpack<std::string, std::string, std::string>()),
              (std::tuple<std::string, std::string, std::string>("literal", "pointer", "string")));
}

TEST_F(Messages, ReadingMayStopBeforeTheEnd)
{
    auto message = holding("first", uint32_t{2});
    std::string first;
    message.read(first);
    EXPECT_EQ(first, "first");
    EXPECT_EQ(message.unpack<uint32_t>(), 2U);
    EXPECT_NO_THROW(message.unpack<>());
}

TEST_F(Messages, WrongTypeIsToldByWhatWasRead)
{
    expect_failure<std::string>(holding(uint32_t{1}), "sd_bus_message_read_basic string");
    expect_failure<uint32_t>(holding("1"), "sd_bus_message_read_basic fundamental");
    expect_failure<double>(holding("1"), "sd_bus_message_read_basic fundamental");
    expect_failure<bool>(holding("1"), "sd_bus_message_read_basic bool");
    expect_failure<std::map<std::string, bool>>(holding("1"),
                                                "sd_bus_message_enter_container emplace_container");
    expect_failure<std::set<std::string>>(holding("1"),
                                          "sd_bus_message_enter_container emplace_container");
    expect_failure<std::vector<std::string>>(
        holding("1"), "sd_bus_message_enter_container emplace_back_container");
    expect_failure<std::pair<std::string, bool>>(holding("1"),
                                                 "sd_bus_message_enter_container pair");
    expect_failure<std::variant<std::string>>(holding("1"), "sd_bus_message_skip variant");
}

TEST_F(Messages, NothingLeftIsToldLikeAWrongType)
{
    expect_failure<std::string>(holding(), "sd_bus_message_read_basic string");
    expect_failure<int32_t>(holding(), "sd_bus_message_read_basic fundamental");
}

TEST_F(Messages, FirstOfEqualKeysStays)
{
    using Entries = std::vector<std::pair<std::string, uint32_t>>;
    auto message = holding(Entries{{"key", 1}, {"key", 2}});
    EXPECT_EQ((message.unpack<std::map<std::string, uint32_t>>()),
              (std::map<std::string, uint32_t>{{"key", 1}}));
}

TEST_F(Messages, ContainerKeepsWhatItHadBefore)
{
    std::map<std::string, uint32_t> values{{"old", 1}, {"key", 2}};
    holding(std::map<std::string, uint32_t>{{"key", 3}, {"new", 4}}).read(values);
    EXPECT_EQ(values, (std::map<std::string, uint32_t>{{"old", 1}, {"key", 2}, {"new", 4}}));
    std::vector<uint8_t> bytes{1};
    holding(std::vector<uint8_t>{2, 3}).read(bytes);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{1, 2, 3}));
}

using Value = std::variant<std::string, uint16_t, uint32_t>;

TEST_F(Messages, VariantHoldsTheAlternativeThatFits)
{
    auto message = holding(Value("text"), Value(uint16_t{1}), Value(uint32_t{2}));
    EXPECT_EQ((message.unpack<Value, Value, Value>()),
              (std::tuple<Value, Value, Value>("text", uint16_t{1}, uint32_t{2})));
}

TEST_F(Messages, VariantOfAnotherTypeIsTheFirstAlternativeEmpty)
{
    auto message = holding(std::variant<bool>(true), std::variant<int32_t>(-1), "next");
    Value value = uint32_t{7};
    message.read(value);
    EXPECT_EQ(value, Value(std::string()));
    EXPECT_EQ(message.unpack<Value>(), Value(std::string()));
    EXPECT_EQ(message.unpack<std::string>(), "next");
}

TEST_F(Messages, VariantBehindTheEndIsTheFirstAlternativeEmpty)
{
    Value value = uint32_t{7};
    holding().read(value);
    EXPECT_EQ(value, Value(std::string()));
}

TEST_F(Messages, VariantMayHoldAContainer)
{
    using Nested = std::variant<std::string, std::vector<std::string>>;
    auto message = holding(Nested(std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(message.unpack<Nested>(), Nested(std::vector<std::string>{"a", "b"}));
}

TEST_F(Messages, AppendingNeverThrows)
{
    auto message = service.new_signal("/com/example", "com.example.Test", "Values");
    EXPECT_NO_THROW(message.append("\xff no UTF-8"));
    auto sent = holding("sent");
    EXPECT_NO_THROW(sent.append("more"));
    EXPECT_STREQ(sent.get_signature(), "s");
}

TEST_F(Messages, CopiesShareTheMessage)
{
    sdbusplus::message_t empty;
    EXPECT_FALSE(empty);
    const auto message = holding("text");
    const auto copy = message;
    empty = copy;
    EXPECT_TRUE(empty);
    EXPECT_EQ(copy.get(), message.get());
    EXPECT_EQ(empty.get(), message.get());
    const auto moved = std::move(empty);
    EXPECT_EQ(moved.get(), message.get());
}

TEST_F(Messages, HeaderIsReadable)
{
    const auto call =
        client.new_method_call("com.example.Service", "/com/example", "com.example.Test", "Do");
    EXPECT_STREQ(call.get_destination(), "com.example.Service");
    EXPECT_STREQ(call.get_path(), "/com/example");
    EXPECT_STREQ(call.get_interface(), "com.example.Test");
    EXPECT_STREQ(call.get_member(), "Do");
    EXPECT_EQ(call.get_sender(), nullptr);
    EXPECT_EQ(call.get_type(), SD_BUS_MESSAGE_METHOD_CALL);
    EXPECT_TRUE(call.is_method_call("com.example.Test", "Do"));
    EXPECT_FALSE(call.is_method_error());
    EXPECT_EQ(call.get_bus().get_unique_name(), client.get_unique_name());
}

TEST_F(Messages, ErrorReplyIsOne)
{
    const auto answer = ask(new_call("com.example.Test", "Nope"));
    EXPECT_TRUE(answer.message.is_method_error());
    EXPECT_EQ(answer.message.get_errno(), EBADR);
    EXPECT_NE(answer.message.get_cookie(), 0U);
}

} // namespace
} // namespace bus_test
