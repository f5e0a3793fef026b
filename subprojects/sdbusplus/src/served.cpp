#include <sdbusplus/detail/served.hpp>
#include <sdbusplus/exception.hpp>

namespace sdbusplus::detail
{

namespace
{

/** To sd-bus this is a request that was dealt with. */
constexpr int kept_for_dispatch = 1;

} // namespace

int settle_exception(bus_t& bus, sd_bus_error* error) noexcept
{
    // Thrown again to sort it by type; what no clause takes ends the process, since this function
    // lets nothing out.
    try
    {
        throw;
    }
    catch (const exception::internal_exception& e)
    {
        return sd_bus_error_set(error, e.name(), e.description());
    }
    catch (const std::exception&)
    {
        bus.set_current_exception(std::current_exception());
        return kept_for_dispatch;
    }
}

int settle_set_exception(bus_t& bus, sd_bus_message* request, sd_bus_error* error) noexcept
{
    const int result = settle_exception(bus, error);
    if (result == kept_for_dispatch)
    {
        // sd-bus confirms a write whose handler reports no error, unless the value lies there
        // unread.
        sd_bus_message_rewind(request, 0);
    }
    return result;
}

} // namespace sdbusplus::detail
