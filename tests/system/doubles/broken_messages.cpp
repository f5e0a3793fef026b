/**
 * @file
 * A bus library that takes every signal for an error reply, which no bus delivers to a
 * subscription.
 */

#include "next_function.hpp"

#include <systemd/sd-bus.h>

extern "C" int sd_bus_message_is_method_error(sd_bus_message* message, const char* name)
{
    static auto* const next =
        nextFunction("sd_bus_message_is_method_error", &sd_bus_message_is_method_error);
    const bool isSignal = sd_bus_message_is_signal(message, nullptr, nullptr) > 0;
    return isSignal && name == nullptr ? 1 : next(message, name);
}
