#pragma once

#include <sdbusplus/bus.hpp>

/** @file The object manager of a part of a bus's tree. */

namespace sdbusplus::server::manager
{

/** Keeps org.freedesktop.DBus.ObjectManager at a path. Only below one are objects announced. */
class manager final
{
  public:
    /** A failure, such as a path that is none, leaves an object that does nothing. */
    manager(bus_t& bus, const char* path) noexcept;

  private:
    detail::slot_ref slot_;
};

} // namespace sdbusplus::server::manager

namespace sdbusplus::server
{

using manager_t = manager::manager;

} // namespace sdbusplus::server
