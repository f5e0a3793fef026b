/** @file Matches: which signals reach which callbacks. */

#include "conversation.hpp"

#include <sdbusplus/exception.hpp>

#include <csignal>
#include <optional>
#include <utility>

namespace bus_test
{
namespace
{

constexpr auto all_news = "type='signal',interface='com.example.News'";

class Matches : public Conversation
{
  protected:
    void send_news(const char* topic)
    {
        auto signal = service.new_signal("/com/example/news", "com.example.News", "Heard");
        signal.append(topic);
        signal.signal_send();
    }

    auto count(int& counter)
    {
        return [&counter](sdbusplus::message_t&) { ++counter; };
    }
};

TEST_F(Matches, CallbackReadsTheSignal)
{
    std::string topic;
    const sdbusplus::bus::match_t match(
        client, std::string(all_news),
        [&](sdbusplus::message_t& signal)
        {
            EXPECT_STREQ(signal.get_member(), "Heard");
            EXPECT_TRUE(signal.is_signal("com.example.News", "Heard"));
            EXPECT_EQ(signal.get_sender(), service.get_unique_name());
            signal.read(topic);
        });
    send_news("a.b");
    pump_until([&] { return !topic.empty(); });
    EXPECT_EQ(topic, "a.b");
}

TEST_F(Matches, SeveralSeeTheSameSignal)
{
    int first = 0;
    int second = 0;
    const sdbusplus::bus::match_t one(client, all_news, count(first));
    const sdbusplus::bus::match_t other(client, all_news, count(second));
    send_news("a.b");
    see_all_signals();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TEST_F(Matches, RuleReachesTheBusAsWritten)
{
    int seen = 0;
    const sdbusplus::bus::match_t match(client, std::string(all_news) + ",arg0namespace='a.b'",
                                        count(seen));
    send_news("a.b");
    send_news("a.b.c");
    send_news("a.bc");
    see_all_signals();
    EXPECT_EQ(seen, 2);
}

TEST_F(Matches, EndsWithItsOwner)
{
    int seen = 0;
    std::optional<sdbusplus::bus::match_t> match(std::in_place, client, all_news, count(seen));
    match.reset();
    send_news("a.b");
    see_all_signals();
    EXPECT_EQ(seen, 0);
}

TEST_F(Matches, MayBeMoved)
{
    int seen = 0;
    sdbusplus::bus::match_t first(client, all_news, count(seen));
    std::vector<sdbusplus::bus::match_t> matches;
    matches.push_back(std::move(first));
    send_news("a.b");
    see_all_signals();
    EXPECT_EQ(seen, 1);
}

TEST_F(Matches, PlainHandlerGetsItsContext)
{
    int seen = 0;
    const auto handler = [](sd_bus_message*, void* context, sd_bus_error*)
    { return ++*static_cast<int*>(context), 0; };
    const sdbusplus::bus::match_t match(client, all_news, +handler, &seen);
    send_news("a.b");
    see_all_signals();
    EXPECT_EQ(seen, 1);
}

TEST_F(Matches, RuleThatIsNoneIsRefused)
{
    try
    {
        const sdbusplus::bus::match_t match(client, "no rule", [](sdbusplus::message_t&) {});
        FAIL() << "accepted";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_STREQ(e.what(),
                     "sd_bus_match: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    }
}

/** Everything is made in the process that dies: connections do not survive a fork. */
[[noreturn]] void hear_a_signal_and_throw()
{
    auto bus = sdbusplus::bus::new_system();
    const sdbusplus::bus::match_t match(bus, all_news,
                                        [](sdbusplus::message_t&)
                                        { throw std::runtime_error("out of a callback"); });
    bus.new_signal("/com/example/news", "com.example.News", "Heard").signal_send();
    while (true)
    {
        try
        {
            bus.process_discard();
        }
        catch (...)
        {
            std::exit(1);
        }
    }
}

TEST(MatchesDeathTest, CallbackThatThrowsEndsTheProcess)
{
    EXPECT_EXIT(hear_a_signal_and_throw(), ::testing::KilledBySignal(SIGABRT), "out of a callback");
}

} // namespace
} // namespace bus_test
