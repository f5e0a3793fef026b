#pragma once

#include <systemd/sd-bus.h>

#include <memory>

/** @file Owners of what libsystemd counts by reference. */

namespace sdbusplus::detail
{

/** Calls a plain function on what a unique_ptr lets go. */
template <auto Function>
struct released_by
{
    template <typename T>
    void operator()(T* resource) const noexcept
    {
        Function(resource);
    }
};

using bus_ref = std::unique_ptr<sd_bus, released_by<sd_bus_unref>>;
using message_ref = std::unique_ptr<sd_bus_message, released_by<sd_bus_message_unref>>;
using slot_ref = std::unique_ptr<sd_bus_slot, released_by<sd_bus_slot_unref>>;

} // namespace sdbusplus::detail
