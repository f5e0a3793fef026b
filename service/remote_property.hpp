#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/message.hpp>

#include <variant>

/** A property of another service. */
struct RemoteProperty
{
    const char* service;
    const char* path;
    const char* interface;
    const char* name;
};

/** Asks for it and blocks for the answer, a variant. @throws sdbusplus::exception::SdBusError */
inline sdbusplus::message_t askFor(sdbusplus::bus_t& bus, const RemoteProperty& property)
{
    auto call = bus.new_method_call(property.service, property.path,
                                    "org.freedesktop.DBus.Properties", "Get");
    call.append(property.interface, property.name);
    return bus.call(call);
}

/**
 * Reads a property on the process's default bus connection; blocks for the answer.
 *
 * @tparam Value what the property must hold
 * @tparam Other another type, taken where the property holds none of the two
 * @throws sdbusplus::exception::SdBusError when the call fails
 * @throws std::bad_variant_access when the property holds something else
 */
template <typename Value, typename Other>
Value readProperty(const RemoteProperty& property)
{
    auto bus = sdbusplus::bus::new_default();
    auto reply = askFor(bus, property);

    // A variant of neither type reads as its first alternative, which must not pass for a value.
    std::variant<Other, Value> value;
    reply.read(value);
    return std::get<Value>(value);
}
