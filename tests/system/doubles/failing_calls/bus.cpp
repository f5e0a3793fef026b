/**
 * @file
 * The bus library as the service calls it; what the library calls of itself does not count.
 */

#include "../next_function.hpp"
#include "control.hpp"
#include "executable.hpp"

#include <systemd/sd-bus.h>

#include <array>
#include <cstdarg>
#include <cstdint>

namespace
{

/** @return the negative error number with which the call fails, or zero */
int failure(const void* caller, const char* call)
{
    return failing::isInExecutable(caller)
               ? failing::judge(failing::Class::bus, call).negativeError()
               : 0;
}

} // namespace

// One line a function: its name, its parameters, and the same as arguments.
#define FAILING_BUS_CALL(name, parameters, arguments)                                              \
    int name parameters                                                                            \
    {                                                                                              \
        static auto* const next = nextFunction(#name, &name);                                      \
        const int failed = failure(__builtin_return_address(0), #name);                            \
        return failed != 0 ? failed : next arguments;                                              \
    }

using Bus = sd_bus;
using Message = sd_bus_message;
using Slot = sd_bus_slot;
using Error = sd_bus_error;
using Handler = sd_bus_message_handler_t;
using Text = const char;

extern "C"
{

    // clang-format off
    FAILING_BUS_CALL(sd_bus_default, (Bus** bus), (bus))
    FAILING_BUS_CALL(sd_bus_open_system, (Bus** bus), (bus))
    FAILING_BUS_CALL(sd_bus_get_fd, (Bus* bus), (bus))
    FAILING_BUS_CALL(sd_bus_get_unique_name, (Bus* bus, Text** name), (bus, name))
    FAILING_BUS_CALL(sd_bus_request_name, (Bus* bus, Text* name, std::uint64_t flags), (bus, name, flags))
    FAILING_BUS_CALL(sd_bus_set_method_call_timeout, (Bus* bus, std::uint64_t timeout), (bus, timeout))
    FAILING_BUS_CALL(sd_bus_process, (Bus* bus, Message** message), (bus, message))
    FAILING_BUS_CALL(sd_bus_flush, (Bus* bus), (bus))
    FAILING_BUS_CALL(sd_bus_send, (Bus* bus, Message* message, std::uint64_t* cookie), (bus, message, cookie))

    FAILING_BUS_CALL(sd_bus_add_match, (Bus* bus, Slot** slot, Text* rule, Handler handler, void* context), (bus, slot, rule, handler, context))
    FAILING_BUS_CALL(sd_bus_add_match_async, (Bus* bus, Slot** slot, Text* rule, Handler handler, Handler installed, void* context), (bus, slot, rule, handler, installed, context))
    FAILING_BUS_CALL(sd_bus_add_object_manager, (Bus* bus, Slot** slot, Text* path), (bus, slot, path))
    FAILING_BUS_CALL(sd_bus_add_object_vtable, (Bus* bus, Slot** slot, Text* path, Text* interface, const sd_bus_vtable* vtable, void* context), (bus, slot, path, interface, vtable, context))
    FAILING_BUS_CALL(sd_bus_emit_object_added, (Bus* bus, Text* path), (bus, path))
    FAILING_BUS_CALL(sd_bus_emit_object_removed, (Bus* bus, Text* path), (bus, path))

    FAILING_BUS_CALL(sd_bus_message_new_method_call, (Bus* bus, Message** message, Text* service, Text* path, Text* interface, Text* member), (bus, message, service, path, interface, member))
    FAILING_BUS_CALL(sd_bus_message_new_method_return, (Message* call, Message** message), (call, message))
    FAILING_BUS_CALL(sd_bus_message_new_signal, (Bus* bus, Message** message, Text* path, Text* interface, Text* member), (bus, message, path, interface, member))
    FAILING_BUS_CALL(sd_bus_message_append_basic, (Message* message, char type, const void* value), (message, type, value))
    FAILING_BUS_CALL(sd_bus_message_open_container, (Message* message, char type, Text* contents), (message, type, contents))
    FAILING_BUS_CALL(sd_bus_message_close_container, (Message* message), (message))
    FAILING_BUS_CALL(sd_bus_message_read_basic, (Message* message, char type, void* value), (message, type, value))
    FAILING_BUS_CALL(sd_bus_message_enter_container, (Message* message, char type, Text* contents), (message, type, contents))
    FAILING_BUS_CALL(sd_bus_message_exit_container, (Message* message), (message))
    FAILING_BUS_CALL(sd_bus_message_at_end, (Message* message, int complete), (message, complete))
    FAILING_BUS_CALL(sd_bus_message_skip, (Message* message, Text* types), (message, types))
    FAILING_BUS_CALL(sd_bus_message_verify_type, (Message* message, char type, Text* contents), (message, type, contents))
    FAILING_BUS_CALL(sd_bus_message_rewind, (Message* message, int complete), (message, complete))
    // clang-format on

    int sd_bus_wait(Bus* bus, std::uint64_t longest)
    {
        static auto* const next = nextFunction("sd_bus_wait", &sd_bus_wait);
        const void* const caller = __builtin_return_address(0);
        if (failing::isInExecutable(caller))
        {
            failing::countWait();
        }
        const int failed = failure(caller, "sd_bus_wait");
        return failed != 0 ? failed : next(bus, longest);
    }

    // Those that tell of a failure in an error record as well.

    int sd_bus_call(Bus* bus, Message* call, std::uint64_t timeout, Error* error, Message** reply)
    {
        static auto* const next = nextFunction("sd_bus_call", &sd_bus_call);
        const int failed = failure(__builtin_return_address(0), "sd_bus_call");
        return failed != 0 ? sd_bus_error_set_errno(error, failed)
                           : next(bus, call, timeout, error, reply);
    }

    // Those with any number of arguments; the library has a twin of each that takes a list.

    int sd_bus_call_method(Bus* bus, Text* service, Text* path, Text* interface, Text* member,
                           Error* error, Message** reply, Text* types, ...)
    {
        if (const int failed = failure(__builtin_return_address(0), "sd_bus_call_method"))
        {
            return sd_bus_error_is_set(error) > 0 ? failed : sd_bus_error_set_errno(error, failed);
        }
        va_list arguments;
        va_start(arguments, types);
        const int result = sd_bus_call_methodv(bus, service, path, interface, member, error, reply,
                                               types, arguments);
        va_end(arguments);
        return result;
    }

    int sd_bus_emit_properties_changed(Bus* bus, Text* path, Text* interface, Text* name, ...)
    {
        if (const int failed =
                failure(__builtin_return_address(0), "sd_bus_emit_properties_changed"))
        {
            return failed;
        }
        std::array<char*, 2> names{const_cast<char*>(name), nullptr}; // the service gives one
        return sd_bus_emit_properties_changed_strv(bus, path, interface, names.data());
    }
}

#undef FAILING_BUS_CALL
