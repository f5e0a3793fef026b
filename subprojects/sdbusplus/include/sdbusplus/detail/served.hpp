#pragma once

#include <sdbusplus/bus.hpp>

#include <tuple>
#include <type_traits>
#include <utility>

/**
 * @file
 * The functions that a generated vtable names: each takes a request of sd-bus to a member of a
 * binding.
 *
 * The caller gets an internal_exception as an error reply. Any other std::exception is kept for the
 * dispatch to throw, and the request stays without a reply. What is no std::exception ends the
 * process.
 */

namespace sdbusplus::detail
{

/** Settles the exception in flight as told above. @return what the handler has to return to sd-bus
 */
int settle_exception(bus_t& bus, sd_bus_error* error) noexcept;

/** As above; also keeps sd-bus from confirming a write that was not made. */
int settle_set_exception(bus_t& bus, sd_bus_message* request, sd_bus_error* error) noexcept;

template <typename Class, typename Result, typename... Arguments>
void call_method(Class& object, Result (Class::*method)(Arguments...), message_t& request)
{
    std::tuple<Arguments...> arguments;
    std::apply([&](auto&... argument) { request.read(argument...); }, arguments);
    auto reply = request.new_method_return();
    auto handle = [&](auto&... argument) { return (object.*method)(std::move(argument)...); };
    if constexpr (std::is_void_v<Result>)
    {
        std::apply(handle, arguments);
    }
    else
    {
        reply.append(std::apply(handle, arguments));
    }
    reply.method_return();
}

/** Serves calls of a method. */
template <typename Class, auto Method>
int serve_method(sd_bus_message* request, void* context, sd_bus_error* error) noexcept
{
    auto& object = *static_cast<Class*>(context);
    try
    {
        message_t call(request);
        call_method(object, Method, call);
        return 1;
    }
    catch (...)
    {
        return settle_exception(object.get_bus(), error);
    }
}

/** Serves reads of a property. */
template <typename Class, typename Value, Value (Class::*Getter)() const>
int serve_get(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
              const char* /*name*/, sd_bus_message* reply, void* context,
              sd_bus_error* error) noexcept
{
    auto& object = *static_cast<Class*>(context);
    try
    {
        codec<Value>::append(reply, (object.*Getter)());
        return 1;
    }
    catch (...)
    {
        return settle_exception(object.get_bus(), error);
    }
}

/** Serves writes of a property. */
template <typename Class, typename Value, Value (Class::*Setter)(Value)>
int serve_set(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
              const char* /*name*/, sd_bus_message* request, void* context,
              sd_bus_error* error) noexcept
{
    auto& object = *static_cast<Class*>(context);
    try
    {
        Value value{};
        codec<Value>::read(request, value);
        (object.*Setter)(std::move(value));
        return 1;
    }
    catch (...)
    {
        return settle_set_exception(object.get_bus(), request, error);
    }
}

} // namespace sdbusplus::detail
