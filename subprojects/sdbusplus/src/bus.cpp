#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>

#include <utility>

namespace sdbusplus
{

using exception::SdBusError;

namespace
{

int checked(int result, const char* call)
{
    if (result < 0)
    {
        throw SdBusError(result, call);
    }
    return result;
}

/** @param factory  what the error names as the call that failed */
bus_t opened(int (*open)(sd_bus**), bool is_private, const char* factory)
{
    sd_bus* native = nullptr;
    checked(open(&native), factory);
    bus_t bus(native, std::false_type());
    bus.set_should_close(is_private);
    return bus;
}

} // namespace

bus_t::bus_t(sd_bus* native) noexcept : native_(sd_bus_ref(native)) {}

bus_t& bus_t::operator=(bus_t&& other) noexcept
{
    std::swap(native_, other.native_);
    std::swap(should_close_, other.should_close_);
    std::swap(stored_, other.stored_);
    return *this;
}

bus_t::~bus_t()
{
    if (should_close_ && native_)
    {
        flush();
        close();
    }
}

message_t bus_t::new_method_call(const char* service, const char* path, const char* interface,
                                 const char* member) const
{
    sd_bus_message* call = nullptr;
    checked(sd_bus_message_new_method_call(get(), &call, service, path, interface, member),
            "sd_bus_message_new_method_call");
    return {call, std::false_type()};
}

message_t bus_t::new_signal(const char* path, const char* interface, const char* member) const
{
    sd_bus_message* signal = nullptr;
    checked(sd_bus_message_new_signal(get(), &signal, path, interface, member),
            "sd_bus_message_new_signal");
    return {signal, std::false_type()};
}

message_t bus_t::call(message_t& call, std::uint64_t timeout_us) const
{
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    if (sd_bus_call(get(), call.get(), timeout_us, &error, &reply) < 0)
    {
        throw SdBusError(&error, "sd_bus_call");
    }
    return {reply, std::false_type()};
}

message_t bus_t::call(message_t& call, std::optional<SdBusDuration> timeout) const
{
    return this->call(call, timeout.value_or(SdBusDuration::zero()).count());
}

void bus_t::request_name(const char* name) const
{
    constexpr std::uint64_t flags = SD_BUS_NAME_ALLOW_REPLACEMENT | SD_BUS_NAME_REPLACE_EXISTING;
    checked(sd_bus_request_name(get(), name, flags), "sd_bus_request_name");
}

bool bus_t::process_discard()
{
    rethrow_stored();
    const int result = sd_bus_process(get(), nullptr);
    // A handler's exception says more than the failure that it may have caused in sd-bus.
    rethrow_stored();
    return checked(result, "sd_bus_process discard") > 0;
}

std::string bus_t::get_unique_name() const
{
    const char* name = nullptr;
    checked(sd_bus_get_unique_name(get(), &name), "sd_bus_get_unique_name");
    return name;
}

int bus_t::get_fd() const
{
    return checked(sd_bus_get_fd(get()), "sd_bus_get_fd");
}

void bus_t::flush() const noexcept
{
    sd_bus_flush(get());
}

void bus_t::close() const noexcept
{
    sd_bus_close(get());
}

bool bus_t::is_open() const noexcept
{
    return sd_bus_is_open(get()) > 0;
}

void bus_t::set_current_exception(std::exception_ptr exception) noexcept
{
    stored_ = std::move(exception);
}

void bus_t::rethrow_stored()
{
    if (stored_)
    {
        std::rethrow_exception(std::exchange(stored_, nullptr));
    }
}

namespace bus
{

bus_t new_default()
{
    return opened(sd_bus_default, false, __PRETTY_FUNCTION__);
}

bus_t new_default_system()
{
    return opened(sd_bus_default_system, false, __PRETTY_FUNCTION__);
}

bus_t new_default_user()
{
    return opened(sd_bus_default_user, false, __PRETTY_FUNCTION__);
}

bus_t new_bus()
{
    return opened(sd_bus_open, true, __PRETTY_FUNCTION__);
}

bus_t new_system()
{
    return opened(sd_bus_open_system, true, __PRETTY_FUNCTION__);
}

bus_t new_user()
{
    return opened(sd_bus_open_user, true, __PRETTY_FUNCTION__);
}

} // namespace bus

} // namespace sdbusplus
