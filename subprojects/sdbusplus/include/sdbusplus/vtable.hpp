#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>

/** @file The entries of an sd-bus vtable, for generated code. */

namespace sdbusplus::vtable
{

using vtable_t = sd_bus_vtable;

namespace common_
{
inline constexpr std::uint64_t none = 0;
inline constexpr std::uint64_t deprecated = SD_BUS_VTABLE_DEPRECATED;
inline constexpr std::uint64_t hidden = SD_BUS_VTABLE_HIDDEN;
inline constexpr std::uint64_t unprivileged = SD_BUS_VTABLE_UNPRIVILEGED;
} // namespace common_

namespace method_
{
inline constexpr std::uint64_t no_reply = SD_BUS_VTABLE_METHOD_NO_REPLY;
} // namespace method_

namespace property_
{
inline constexpr std::uint64_t none = 0;
inline constexpr std::uint64_t const_ = SD_BUS_VTABLE_PROPERTY_CONST;
inline constexpr std::uint64_t emits_change = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
inline constexpr std::uint64_t emits_invalidation = SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION;
inline constexpr std::uint64_t explicit_ = SD_BUS_VTABLE_PROPERTY_EXPLICIT;
} // namespace property_

namespace detail
{

constexpr vtable_t entry(std::uint8_t type, std::uint64_t flags)
{
    vtable_t result{};
    result.type = type;
    result.flags = flags & ((1ULL << 56U) - 1);
    return result;
}

} // namespace detail

constexpr vtable_t start(std::uint64_t flags = 0)
{
    auto result = detail::entry(_SD_BUS_VTABLE_START, flags);
    result.x.start = {sizeof(vtable_t), _SD_BUS_VTABLE_PARAM_NAMES, &sd_bus_object_vtable_format};
    return result;
}

constexpr vtable_t end()
{
    auto result = detail::entry(_SD_BUS_VTABLE_END, 0);
    result.x.end = {0};
    return result;
}

/** A method; its arguments have no names on the bus. */
constexpr vtable_t method(const char* name, const char* signature, const char* result_signature,
                          sd_bus_message_handler_t handler, std::uint64_t flags = 0)
{
    auto result = detail::entry(_SD_BUS_VTABLE_METHOD, flags);
    result.x.method = {name, signature, result_signature, handler, 0, ""};
    return result;
}

/** A property that callers can only read. */
constexpr vtable_t property(const char* name, const char* signature, sd_bus_property_get_t getter,
                            std::uint64_t flags = 0)
{
    auto result = detail::entry(_SD_BUS_VTABLE_PROPERTY, flags);
    result.x.property = {name, signature, getter, nullptr, 0};
    return result;
}

/** A property that callers can also write. */
constexpr vtable_t property(const char* name, const char* signature, sd_bus_property_get_t getter,
                            sd_bus_property_set_t setter, std::uint64_t flags = 0)
{
    auto result = detail::entry(_SD_BUS_VTABLE_WRITABLE_PROPERTY, flags);
    result.x.property = {name, signature, getter, setter, 0};
    return result;
}

} // namespace sdbusplus::vtable

namespace sdbusplus
{

using vtable_t = vtable::vtable_t;

} // namespace sdbusplus
