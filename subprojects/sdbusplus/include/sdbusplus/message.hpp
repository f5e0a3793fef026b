#pragma once

#include <sdbusplus/detail/codec_containers.hpp>
#include <sdbusplus/detail/handle.hpp>

#include <cstdint>
#include <tuple>
#include <type_traits>

/** @file A message of the bus. */

namespace sdbusplus
{
class bus_t;
}

namespace sdbusplus::message
{

/** A message, shared by its copies. An empty one may only be assigned to, destroyed or asked
 * whether it is there. */
class message
{
  public:
    message() = default;
    /** Adds a reference. */
    explicit message(sd_bus_message* native) noexcept;
    /** Takes the caller's reference over. */
    message(sd_bus_message* native, std::false_type /*takes over*/) noexcept : native_(native) {}

    message(const message& other) noexcept : message(other.native_.get()) {}
    message& operator=(const message& other) noexcept;
    message(message&&) noexcept = default;
    message& operator=(message&&) noexcept = default;
    ~message() = default;

    explicit operator bool() const noexcept { return native_ != nullptr; }

    /** The native message, still owned by this object. */
    sd_bus_message* get() const noexcept { return native_.get(); }

    /** Adds values at the end. What sd-bus refuses (text that is no UTF-8, a message already sent)
     * is not reported. */
    template <typename... Values>
    void append(Values&&... values) noexcept
    {
        (detail::codec_for<Values>::append(get(), values), ...);
    }

    /**
     * Reads the next values, in order; more may be left afterwards.
     * @throws exception::SdBusError where a value has another type or nothing is left
     */
    template <typename... Values>
    void read(Values&... values)
    {
        (detail::codec<Values>::read(get(), values), ...);
    }

    /** read() into fresh values. @return nothing, the one value, or a tuple of them */
    template <typename... Values>
    auto unpack()
    {
        std::tuple<Values...> values;
        std::apply([this](auto&... value) { this->read(value...); }, values);
        if constexpr (sizeof...(Values) == 1)
        {
            return std::get<0>(std::move(values));
        }
        else if constexpr (sizeof...(Values) > 1)
        {
            return values;
        }
    }

    /** The header's fields; null where the message has none. They live as long as the message. */
    const char* get_member() const noexcept;
    const char* get_interface() const noexcept;
    const char* get_path() const noexcept;
    const char* get_sender() const noexcept;
    const char* get_destination() const noexcept;
    /** The signature of the whole message. */
    const char* get_signature() const noexcept;
    std::uint8_t get_type() const noexcept;
    std::uint64_t get_cookie() const noexcept;

    /** Of an error reply: the errno that comes closest, otherwise 0. */
    int get_errno() const noexcept;
    bool is_method_error() const noexcept;
    bool is_method_call(const char* interface, const char* member) const noexcept;
    bool is_signal(const char* interface, const char* member) const noexcept;

    /** The bus that the message belongs to. */
    bus_t get_bus() const noexcept;

    /** An empty reply to this call. @throws exception::SdBusError */
    message new_method_return() const;
    /** Sends this reply. @throws exception::SdBusError */
    void method_return();
    /** Sends this signal. @throws exception::SdBusError */
    void signal_send();
    /** Sends this call and waits for the reply. @see bus_t::call() */
    message call(std::uint64_t timeout_us = 0);

  private:
    void send() const;

    detail::message_ref native_;
};

} // namespace sdbusplus::message

namespace sdbusplus
{

using message_t = message::message;

} // namespace sdbusplus
