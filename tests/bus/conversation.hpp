#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/** @file Two parties on the tests' bus, talked for by one thread. */

namespace bus_test
{

/** What a caller got. */
struct Answer
{
    sdbusplus::message_t message;

    /** Empty where the call succeeded. */
    std::string error_name() const;
    std::string error_text() const;
};

/** A service and a client, each with its own connection. */
class Conversation : public ::testing::Test
{
  protected:
    using Predicate = std::function<bool()>;

    static constexpr const char* service_path = "/com/example/thing";

    /** Dispatches both parties until `done`. @throws std::runtime_error where nothing happens for
     * long */
    void pump_until(const Predicate& done, int other_descriptor = -1);

    /** Lets the client call the service, and the service answer. */
    Answer ask(sdbusplus::message_t call);

    /** A call from the client to the service. */
    sdbusplus::message_t new_call(const char* interface, const char* member,
                                  const char* path = service_path);
    sdbusplus::message_t new_property_call(const char* member, const char* path = service_path);

    /** Sends the call; `answer` gets the reply in some later dispatch of the client. */
    void ask_without_waiting(sdbusplus::message_t& call, Answer& answer);

    /** Returns when the client has seen all the signals that the service has sent so far. */
    void see_all_signals();

    sdbusplus::bus_t service = sdbusplus::bus::new_system();
    sdbusplus::bus_t client = sdbusplus::bus::new_system();
};

} // namespace bus_test
