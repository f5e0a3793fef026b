#pragma once

#include <sdbusplus/detail/codec.hpp>

#include <tuple>
#include <utility>
#include <variant>

/** @file How containers, pairs, tuples and variants travel in a message. */

namespace sdbusplus::detail
{

/** std::map, std::set, boost::container::flat_map and the like: what has keys. */
template <typename T>
concept keyed_container = requires(T container)
{
    typename T::key_type;
    container.begin();
};

/** std::vector and the like. Text looks the same from outside and is none. */
template <typename T>
concept list_container =
    !keyed_container<T> && !std::same_as<T, std::string> && requires(T container)
{
    container.emplace_back();
};

/** The element of a container as one can hold it: a map's own pairs have a constant key. */
template <typename T>
struct element_of
{
    using type = typename T::value_type;
};

template <typename T>
requires requires
{
    typename T::mapped_type;
}
struct element_of<T>
{
    using type = std::pair<typename T::key_type, typename T::mapped_type>;
};

template <typename T>
requires keyed_container<T> || list_container<T>
struct codec<T>
{
    using element = typename element_of<T>::type;
    static constexpr auto signature = signature_text{"a"} + signature_of<element>;

    static void append(sd_bus_message* message, const T& values) noexcept
    {
        wire::open_container(message, SD_BUS_TYPE_ARRAY, signature_of<element>.c_str());
        for (const auto& value : values)
        {
            codec<std::remove_cvref_t<decltype(value)>>::append(message, value);
        }
        wire::close_container(message);
    }

    /** Adds to what is in the container. Of a key that comes twice the first stays. */
    static void read(sd_bus_message* message, T& values)
    {
        constexpr auto* kind = keyed_container<T> ? "emplace_container" : "emplace_back_container";
        wire::enter_container(message, SD_BUS_TYPE_ARRAY, signature_of<element>.c_str(), kind);
        while (!wire::at_end(message, kind))
        {
            element value{};
            codec<element>::read(message, value);
            add(values, std::move(value));
        }
        wire::exit_container(message, kind);
    }

  private:
    static void add(T& values, element&& value)
    {
        if constexpr (keyed_container<T>)
        {
            values.emplace(std::move(value));
        }
        else
        {
            values.emplace_back(std::move(value));
        }
    }
};

/** A pair is an entry of a dictionary; the bus allows it only inside an array. */
template <typename Key, typename Value>
struct codec<std::pair<Key, Value>>
{
    static constexpr auto contents = signature_of<std::remove_const_t<Key>> + signature_of<Value>;
    static constexpr auto signature = signature_text{"{"} + contents + signature_text{"}"};

    static void append(sd_bus_message* message, const std::pair<Key, Value>& entry) noexcept
    {
        wire::open_container(message, SD_BUS_TYPE_DICT_ENTRY, contents.c_str());
        codec<std::remove_const_t<Key>>::append(message, entry.first);
        codec<Value>::append(message, entry.second);
        wire::close_container(message);
    }

    static void read(sd_bus_message* message, std::pair<Key, Value>& entry)
    {
        wire::enter_container(message, SD_BUS_TYPE_DICT_ENTRY, contents.c_str(), "pair");
        codec<Key>::read(message, entry.first);
        codec<Value>::read(message, entry.second);
        wire::exit_container(message, "pair");
    }
};

template <typename... Ts>
struct codec<std::tuple<Ts...>>
{
    static constexpr auto contents = (signature_of<Ts> + ...);
    static constexpr auto signature = signature_text{"("} + contents + signature_text{")"};

    static void append(sd_bus_message* message, const std::tuple<Ts...>& values) noexcept
    {
        wire::open_container(message, SD_BUS_TYPE_STRUCT, contents.c_str());
        std::apply([message](const Ts&... value) { (codec<Ts>::append(message, value), ...); },
                   values);
        wire::close_container(message);
    }

    static void read(sd_bus_message* message, std::tuple<Ts...>& values)
    {
        wire::enter_container(message, SD_BUS_TYPE_STRUCT, contents.c_str(), "tuple");
        std::apply([message](Ts&... value) { (codec<Ts>::read(message, value), ...); }, values);
        wire::exit_container(message, "tuple");
    }
};

template <typename... Ts>
struct codec<std::variant<Ts...>>
{
    static constexpr signature_text signature{"v"};

    static void append(sd_bus_message* message, const std::variant<Ts...>& value) noexcept
    {
        std::visit(
            [message]<typename T>(const T& held)
            {
                wire::open_container(message, SD_BUS_TYPE_VARIANT, signature_of<T>.c_str());
                codec<T>::append(message, held);
                wire::close_container(message);
            },
            value);
    }

    /** Content of a type that is not asked for becomes the default value: no error tells of it. */
    static void read(sd_bus_message* message, std::variant<Ts...>& value)
    {
        if (!(read_if<Ts>(message, value) || ...))
        {
            wire::skip_variant(message);
            value = std::variant<Ts...>{};
        }
    }

  private:
    template <typename T>
    static bool read_if(sd_bus_message* message, std::variant<Ts...>& value)
    {
        if (!wire::variant_holds(message, signature_of<T>.c_str()))
        {
            return false;
        }
        T content{};
        wire::enter_container(message, SD_BUS_TYPE_VARIANT, signature_of<T>.c_str(), "variant");
        codec<T>::read(message, content);
        wire::exit_container(message, "variant");
        value = std::move(content);
        return true;
    }
};

} // namespace sdbusplus::detail
