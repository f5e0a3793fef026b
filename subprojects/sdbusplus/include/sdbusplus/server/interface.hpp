#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/vtable.hpp>

#include <string>

/** @file One interface at one path of a bus. */

namespace sdbusplus::server::interface
{

/** Keeps an interface registered at a path until it is destroyed. Its address is known to nobody
 * else. */
class interface final
{
  public:
    /**
     * @param bus        must outlive this object where bus() is used; the registration has its own
     * reference
     * @param name       of the interface; it and the vtable must outlive this object
     * @param context    what the vtable's functions are called with
     * @throws exception::SdBusError, "File exists" where the path has an interface of that name
     * already
     */
    interface(bus_t& bus, const char* path, const char* name, const vtable_t* vtable,
              void* context);

    interface(const interface&) = delete;
    interface& operator=(const interface&) = delete;
    interface(interface&&) = delete;
    interface& operator=(interface&&) = delete;
    ~interface() = default;

    bus_t& bus() const noexcept { return bus_; }
    const std::string& path() const noexcept { return path_; }

    /** Announces a property. For one that is not flagged to emit changes it declines, and nobody
     * is told. */
    void property_changed(const char* property) const noexcept;

    /** A signal of this interface. @throws exception::SdBusError */
    message_t new_signal(const char* member) const;

    /** InterfacesAdded and InterfacesRemoved for this interface alone, in turn: the same one twice
     * does nothing. */
    void emit_added() noexcept;
    void emit_removed() noexcept;

  private:
    bus_t& bus_;
    std::string path_;
    const char* name_;
    const vtable_t* vtable_;
    bool added_ = false;
    detail::bus_ref native_;
    detail::slot_ref slot_;
};

} // namespace sdbusplus::server::interface

namespace sdbusplus::server
{

using interface_t = interface::interface;

} // namespace sdbusplus::server
