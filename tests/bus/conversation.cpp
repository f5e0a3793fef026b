#include "conversation.hpp"

#include "private_bus.hpp"

#include <poll.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace bus_test
{

namespace
{

/** Far more than any step takes; only a failing test waits that long. */
constexpr int patience_ms = 20'000;

/** One daemon serves all tests; the process takes it for the system bus. */
class SharedBus : public ::testing::Environment
{
  public:
    void SetUp() override
    {
        bus_.emplace();
        setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_->address().c_str(), 1);
    }
    void TearDown() override { bus_.reset(); }

  private:
    std::optional<PrivateBus> bus_;
};

// GoogleTest owns it.
[[maybe_unused]] auto* const shared_bus = ::testing::AddGlobalTestEnvironment(new SharedBus);

int keep_answer(sd_bus_message* reply, void* answer, sd_bus_error* /*error*/) noexcept
{
    static_cast<Answer*>(answer)->message = sdbusplus::message_t(reply);
    return 0;
}

} // namespace

std::string Answer::error_name() const
{
    const auto* error = sd_bus_message_get_error(message.get());
    return error == nullptr ? "" : error->name;
}

std::string Answer::error_text() const
{
    const auto* error = sd_bus_message_get_error(message.get());
    return error == nullptr ? "" : error->message;
}

void Conversation::pump_until(const Predicate& done, int other_descriptor)
{
    while (!done())
    {
        const bool service_was_busy = service.process_discard();
        const bool client_was_busy = client.process_discard();
        if (service_was_busy || client_was_busy)
        {
            continue;
        }
        std::array<pollfd, 3> sources{{{service.get_fd(), POLLIN, 0},
                                       {client.get_fd(), POLLIN, 0},
                                       {other_descriptor, POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), patience_ms) == 0)
        {
            throw std::runtime_error("what the test waits for does not come");
        }
    }
}

Answer Conversation::ask(sdbusplus::message_t call)
{
    Answer answer;
    ask_without_waiting(call, answer);
    pump_until([&] { return static_cast<bool>(answer.message); });
    return answer;
}

sdbusplus::message_t Conversation::new_call(const char* interface, const char* member,
                                            const char* path)
{
    return client.new_method_call(service.get_unique_name().c_str(), path, interface, member);
}

sdbusplus::message_t Conversation::new_property_call(const char* member, const char* path)
{
    return new_call("org.freedesktop.DBus.Properties", member, path);
}

void Conversation::ask_without_waiting(sdbusplus::message_t& call, Answer& answer)
{
    const int result = sd_bus_call_async(sd_bus_message_get_bus(call.get()), nullptr, call.get(),
                                         keep_answer, &answer, 0);
    ASSERT_GE(result, 0);
}

void Conversation::see_all_signals()
{
    bool seen = false;
    const sdbusplus::bus::match_t mark(client, "type='signal',interface='com.example.Mark'",
                                       [&seen](sdbusplus::message_t&) { seen = true; });
    service.new_signal("/com/example/mark", "com.example.Mark", "Here").signal_send();
    pump_until([&seen] { return seen; });
}

} // namespace bus_test
