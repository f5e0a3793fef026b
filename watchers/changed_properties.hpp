#pragma once

#include <boost/container/flat_map.hpp>
#include <sdbusplus/message.hpp>

#include <string>

/** The changed values of a PropertiesChanged signal; entries of other types hold a default. */
template <typename Value>
using ChangedProperties = boost::container::flat_map<std::string, Value>;

/**
 * Reads interface name and changed values; the list of invalidated properties is left unread.
 *
 * @throws sdbusplus::exception::SdBusError when the signal has another shape
 */
template <typename Value>
ChangedProperties<Value> readChangedProperties(sdbusplus::message_t& signal)
{
    std::string interface;
    ChangedProperties<Value> changed;
    signal.read(interface, changed);
    return changed;
}
