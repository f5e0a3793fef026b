#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/exception.hpp>

#include <utility>

namespace sdbusplus::bus
{

namespace
{

detail::slot_ref add_match(bus_t& bus, const char* rule, sd_bus_message_handler_t handler,
                           void* context)
{
    sd_bus_slot* slot = nullptr;
    if (const int result =
            sd_bus_add_match(detail::native_bus::of(bus), &slot, rule, handler, context);
        result < 0)
    {
        throw exception::SdBusError(result, "sd_bus_match");
    }
    return detail::slot_ref(slot);
}

/** Tells sd-bus that the signal may go on to other matches. */
int run_callback(sd_bus_message* native, void* context, sd_bus_error* /*error*/) noexcept
{
    message_t signal(native);
    (*static_cast<match_t::callback_t*>(context))(signal);
    return 0;
}

} // namespace

match_t::match_t(bus_t& bus, const char* rule, callback_t callback) :
    callback_(std::make_unique<callback_t>(std::move(callback)))
{
    slot_ = add_match(bus, rule, run_callback, callback_.get());
}

match_t::match_t(bus_t& bus, const std::string& rule, callback_t callback) :
    match_t(bus, rule.c_str(), std::move(callback))
{
}

match_t::match_t(bus_t& bus, const char* rule, sd_bus_message_handler_t handler, void* context) :
    slot_(add_match(bus, rule, handler, context))
{
}

match_t::match_t(bus_t& bus, const std::string& rule, sd_bus_message_handler_t handler,
                 void* context) :
    match_t(bus, rule.c_str(), handler, context)
{
}

} // namespace sdbusplus::bus
