#pragma once

#include <sdbusplus/bus.hpp>

#include <functional>
#include <memory>
#include <string>

/** @file Signals that the bus is asked to deliver. */

namespace sdbusplus::bus
{

/** A match rule on a bus, until it is destroyed. May be moved: sd-bus never sees this object's own
 * address. */
class match_t
{
  public:
    /** Called on the thread that dispatches the bus. It must not throw: that ends the process. */
    using callback_t = std::function<void(message_t&)>;

    /**
     * Adds the rule; returns when the bus has accepted it.
     * @param rule  as the bus wants it, such as "type='signal',member='Changed'"
     * @throws exception::SdBusError
     */
    match_t(bus_t& bus, const char* rule, callback_t callback);
    match_t(bus_t& bus, const std::string& rule, callback_t callback);

    /** The same with a plain sd-bus handler; what it returns is sd-bus's business. */
    match_t(bus_t& bus, const char* rule, sd_bus_message_handler_t handler,
            void* context = nullptr);
    match_t(bus_t& bus, const std::string& rule, sd_bus_message_handler_t handler,
            void* context = nullptr);

  private:
    // The callback goes first, then the rule.
    detail::slot_ref slot_;
    std::unique_ptr<callback_t> callback_;
};

} // namespace sdbusplus::bus
