#include <sdbusplus/detail/wire.hpp>
#include <sdbusplus/exception.hpp>

#include <string>

namespace sdbusplus::detail::wire
{

namespace
{

int checked(int result, const char* call, const char* kind)
{
    if (result < 0)
    {
        throw exception::SdBusError(result, (std::string(call) + " " + kind).c_str());
    }
    return result;
}

} // namespace

void append_basic(sd_bus_message* message, char type, const void* value) noexcept
{
    sd_bus_message_append_basic(message, type, value);
}

void open_container(sd_bus_message* message, char type, const char* contents) noexcept
{
    sd_bus_message_open_container(message, type, contents);
}

void close_container(sd_bus_message* message) noexcept
{
    sd_bus_message_close_container(message);
}

void read_basic(sd_bus_message* message, char type, void* value, const char* kind)
{
    checked(sd_bus_message_read_basic(message, type, value), "sd_bus_message_read_basic", kind);
}

void enter_container(sd_bus_message* message, char type, const char* contents, const char* kind)
{
    checked(sd_bus_message_enter_container(message, type, contents),
            "sd_bus_message_enter_container", kind);
}

void exit_container(sd_bus_message* message, const char* kind)
{
    checked(sd_bus_message_exit_container(message), "sd_bus_message_exit_container", kind);
}

bool at_end(sd_bus_message* message, const char* kind)
{
    return checked(sd_bus_message_at_end(message, 0), "sd_bus_message_at_end", kind) > 0;
}

bool variant_holds(sd_bus_message* message, const char* contents)
{
    return checked(sd_bus_message_verify_type(message, SD_BUS_TYPE_VARIANT, contents),
                   "sd_bus_message_verify_type", "variant") > 0;
}

void skip_variant(sd_bus_message* message)
{
    checked(sd_bus_message_skip(message, "v"), "sd_bus_message_skip", "variant");
}

} // namespace sdbusplus::detail::wire
