#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

namespace sdbusplus::message
{

using exception::SdBusError;

message::message(sd_bus_message* native) noexcept : native_(sd_bus_message_ref(native)) {}

message& message::operator=(const message& other) noexcept
{
    if (this != &other)
    {
        native_.reset(sd_bus_message_ref(other.get()));
    }
    return *this;
}

const char* message::get_member() const noexcept
{
    return sd_bus_message_get_member(get());
}

const char* message::get_interface() const noexcept
{
    return sd_bus_message_get_interface(get());
}

const char* message::get_path() const noexcept
{
    return sd_bus_message_get_path(get());
}

const char* message::get_sender() const noexcept
{
    return sd_bus_message_get_sender(get());
}

const char* message::get_destination() const noexcept
{
    return sd_bus_message_get_destination(get());
}

const char* message::get_signature() const noexcept
{
    return sd_bus_message_get_signature(get(), 1);
}

std::uint8_t message::get_type() const noexcept
{
    std::uint8_t type = 0;
    sd_bus_message_get_type(get(), &type);
    return type;
}

std::uint64_t message::get_cookie() const noexcept
{
    std::uint64_t cookie = 0;
    sd_bus_message_get_cookie(get(), &cookie);
    return cookie;
}

int message::get_errno() const noexcept
{
    return sd_bus_message_get_errno(get());
}

bool message::is_method_error() const noexcept
{
    return sd_bus_message_is_method_error(get(), nullptr) > 0;
}

bool message::is_method_call(const char* interface, const char* member) const noexcept
{
    return sd_bus_message_is_method_call(get(), interface, member) > 0;
}

bool message::is_signal(const char* interface, const char* member) const noexcept
{
    return sd_bus_message_is_signal(get(), interface, member) > 0;
}

bus_t message::get_bus() const noexcept
{
    return bus_t(sd_bus_message_get_bus(get()));
}

message message::new_method_return() const
{
    sd_bus_message* reply = nullptr;
    if (const int result = sd_bus_message_new_method_return(get(), &reply); result < 0)
    {
        throw SdBusError(result, "sd_bus_message_new_method_return");
    }
    return {reply, std::false_type()};
}

void message::method_return()
{
    send();
}

void message::signal_send()
{
    send();
}

message message::call(std::uint64_t timeout_us)
{
    return get_bus().call(*this, timeout_us);
}

void message::send() const
{
    if (const int result = sd_bus_send(nullptr, get(), nullptr); result < 0)
    {
        throw SdBusError(result, "sd_bus_send");
    }
}

} // namespace sdbusplus::message
