#pragma once

#include <sdbusplus/detail/signature.hpp>
#include <sdbusplus/detail/wire.hpp>

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>

/** @file How the basic C++ types travel in a message; codec_containers.hpp has the rest. */

namespace sdbusplus::detail
{

/**
 * What a C++ type is on the bus. Each specialisation has
 *  - signature: its D-Bus signature,
 *  - append(message, value): writes it, never throws,
 *  - read(message, value): reads it, throws SdBusError.
 */
template <typename T>
struct codec;

template <typename T>
inline constexpr auto signature_of = codec<T>::signature;

/** What append() makes of its arguments: literals are pointers, references are values. */
template <typename T>
using codec_for = codec<std::decay_t<T>>;

template <>
struct codec<bool>
{
    static constexpr signature_text signature{"b"};

    static void append(sd_bus_message* message, bool value) noexcept
    {
        const int wide = value ? 1 : 0;
        wire::append_basic(message, SD_BUS_TYPE_BOOLEAN, &wide);
    }

    static void read(sd_bus_message* message, bool& value)
    {
        int wide = 0;
        wire::read_basic(message, SD_BUS_TYPE_BOOLEAN, &wide, "bool");
        value = wide != 0;
    }
};

/** The D-Bus type of a number, by size and sign: `long` and `long long` are both 64 bits wide. */
template <typename T>
consteval char number_type()
{
    if constexpr (std::floating_point<T>)
    {
        static_assert(sizeof(T) == sizeof(double), "the bus knows double only");
        return SD_BUS_TYPE_DOUBLE;
    }
    else if constexpr (std::is_signed_v<T>)
    {
        static_assert(sizeof(T) > 1, "the bus has no signed byte");
        return sizeof(T) == 2   ? SD_BUS_TYPE_INT16
               : sizeof(T) == 4 ? SD_BUS_TYPE_INT32
                                : SD_BUS_TYPE_INT64;
    }
    else
    {
        return sizeof(T) == 1   ? SD_BUS_TYPE_BYTE
               : sizeof(T) == 2 ? SD_BUS_TYPE_UINT16
               : sizeof(T) == 4 ? SD_BUS_TYPE_UINT32
                                : SD_BUS_TYPE_UINT64;
    }
}

template <typename T>
requires std::integral<T> || std::floating_point<T>
struct codec<T>
{
    static constexpr char type = number_type<T>();
    static constexpr signature_text<1> signature{{type, '\0'}};

    static void append(sd_bus_message* message, T value) noexcept
    {
        wire::append_basic(message, type, &value);
    }

    static void read(sd_bus_message* message, T& value)
    {
        wire::read_basic(message, type, &value, "fundamental");
    }
};

template <>
struct codec<const char*>
{
    static constexpr signature_text signature{"s"};

    static void append(sd_bus_message* message, const char* value) noexcept
    {
        wire::append_basic(message, SD_BUS_TYPE_STRING, value);
    }
};

template <>
struct codec<char*> : codec<const char*>
{
};

template <>
struct codec<std::string>
{
    static constexpr signature_text signature{"s"};

    static void append(sd_bus_message* message, const std::string& value) noexcept
    {
        wire::append_basic(message, SD_BUS_TYPE_STRING, value.c_str());
    }

    static void read(sd_bus_message* message, std::string& value)
    {
        const char* text = nullptr;
        wire::read_basic(message, SD_BUS_TYPE_STRING, static_cast<void*>(&text), "string");
        value = text == nullptr ? "" : text;
    }
};

} // namespace sdbusplus::detail
