#include <sdbusplus/exception.hpp>
#include <sdbusplus/server.hpp>

#include <iterator>
#include <string_view>

namespace sdbusplus::server
{

namespace interface
{

namespace
{

detail::slot_ref add_vtable(sd_bus* bus, const char* path, const char* name, const vtable_t* vtable,
                            void* context)
{
    sd_bus_slot* slot = nullptr;
    if (const int result = sd_bus_add_object_vtable(bus, &slot, path, name, vtable, context);
        result < 0)
    {
        throw exception::SdBusError(result, "sd_bus_add_object_vtable");
    }
    return detail::slot_ref(slot);
}

bool emits_changes(const vtable_t& property)
{
    return (property.flags &
            (vtable::property_::emits_change | vtable::property_::emits_invalidation)) != 0;
}

bool is_property(const vtable_t& entry, std::string_view name)
{
    const bool fits =
        entry.type == _SD_BUS_VTABLE_PROPERTY || entry.type == _SD_BUS_VTABLE_WRITABLE_PROPERTY;
    return fits && name == entry.x.property.member; // NOLINT(*-union-access): sd-bus's own layout
}

/** The entry of a property, or the one that ends the vtable. */
const vtable_t& find_property(const vtable_t* entry, std::string_view name)
{
    while (entry->type != _SD_BUS_VTABLE_END && !is_property(*entry, name))
    {
        ++entry; // NOLINT(*-pointer-arithmetic): so that the last one ends them
    }
    return *entry;
}

} // namespace

interface::interface(bus_t& bus, const char* path, const char* name, const vtable_t* vtable,
                     void* context) :
    bus_(bus),
    path_(path), name_(name), vtable_(vtable), native_(sd_bus_ref(detail::native_bus::of(bus))),
    slot_(add_vtable(native_.get(), path, name, vtable, context))
{
}

void interface::property_changed(const char* property) const noexcept
{
    // sd-bus declines as well, but makes half of the signal before, which is a third of a Set.
    if (!emits_changes(find_property(vtable_, property)))
    {
        return;
    }
    sd_bus_emit_properties_changed(native_.get(), path_.c_str(), name_, property, nullptr);
}

message_t interface::new_signal(const char* member) const
{
    return bus_.new_signal(path_.c_str(), name_, member);
}

void interface::emit_added() noexcept
{
    if (!std::exchange(added_, true))
    {
        sd_bus_emit_interfaces_added(native_.get(), path_.c_str(), name_, nullptr);
    }
}

void interface::emit_removed() noexcept
{
    if (std::exchange(added_, false))
    {
        sd_bus_emit_interfaces_removed(native_.get(), path_.c_str(), name_, nullptr);
    }
}

} // namespace interface

namespace manager
{

manager::manager(bus_t& bus, const char* path) noexcept
{
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_manager(detail::native_bus::of(bus), &slot, path);
    slot_.reset(slot);
}

} // namespace manager

namespace object::details
{

announcer::announcer(bus_t& bus, const char* path) :
    native_(sd_bus_ref(sdbusplus::detail::native_bus::of(bus))), path_(path)
{
}

void announcer::emit_object_added() const noexcept
{
    sd_bus_emit_object_added(native_.get(), path_.c_str());
}

void announcer::emit_object_removed() const noexcept
{
    sd_bus_emit_object_removed(native_.get(), path_.c_str());
}

} // namespace object::details

} // namespace sdbusplus::server
