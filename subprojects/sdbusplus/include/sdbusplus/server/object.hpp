#pragma once

#include <sdbusplus/bus.hpp>

#include <string>
#include <utility>

/** @file Objects made of generated interface bindings. */

namespace sdbusplus::server::object
{

namespace details
{

/** All the bindings of one object, registered at one path in the order of their names. */
template <typename... Bases>
struct compose : public Bases...
{
    compose(bus_t& bus, const char* path) : Bases(bus, path)... {}
};

/** Announces a path with all that is registered there. Has its own reference to the bus. */
class announcer
{
  public:
    announcer(bus_t& bus, const char* path);

    void emit_object_added() const noexcept;
    void emit_object_removed() const noexcept;

  private:
    sdbusplus::detail::bus_ref native_;
    std::string path_;
};

} // namespace details

/**
 * An object at a path of a bus, with the interfaces of its bases. The bus holds its address: it can
 * be neither copied nor moved. Announcements come from the nearest object manager above the path;
 * without one there are none.
 */
template <typename... Bases>
class object : public details::compose<Bases...>
{
  public:
    /** What is announced when the object appears and when it goes. */
    enum class action
    {
        /** the whole path at once, both times */
        emit_object_added,
        /** the same interfaces one by one, without what others have at the path */
        emit_interface_added,
        /** nothing until emit_object_added() is called; the whole path at the end, even where it
           never was */
        defer_emit,
        /** nothing at all */
        emit_no_signals,
    };

    /** @throws exception::SdBusError, see interface_t */
    object(bus_t& bus, const char* path, action announcement = action::emit_object_added) :
        details::compose<Bases...>(bus, path), announcer_(bus, path), announcement_(announcement)
    {
        if (announcement_ == action::emit_object_added)
        {
            announcer_.emit_object_added();
        }
        else if (announcement_ == action::emit_interface_added)
        {
            (this->Bases::emit_added(), ...);
        }
    }

    object(const object&) = delete;
    object& operator=(const object&) = delete;
    object(object&&) = delete;
    object& operator=(object&&) = delete;

    ~object() override
    {
        if (announcement_ == action::emit_interface_added)
        {
            (this->Bases::emit_removed(), ...);
        }
        else if (announcement_ != action::emit_no_signals)
        {
            announcer_.emit_object_removed();
        }
    }

    /** Announces a deferred object with the values that it has by now. The first call counts. */
    void emit_object_added()
    {
        if (announcement_ == action::defer_emit)
        {
            announcer_.emit_object_added();
            announcement_ = action::emit_object_added;
        }
    }

  private:
    details::announcer announcer_;
    action announcement_;
};

} // namespace sdbusplus::server::object

namespace sdbusplus::server
{

template <typename... Bases>
using object_t = object::object<Bases...>;

} // namespace sdbusplus::server
