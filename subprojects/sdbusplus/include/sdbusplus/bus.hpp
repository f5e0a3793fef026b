#pragma once

#include <sdbusplus/detail/handle.hpp>
#include <sdbusplus/message.hpp>

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <type_traits>

/** @file A connection to a bus. */

namespace sdbusplus
{

namespace detail
{
struct native_bus;
}

/** The unit of sd-bus's time-outs. */
using SdBusDuration = std::chrono::duration<std::uint64_t, std::micro>;

/** A connection to a bus. It belongs to one thread at a time: nothing here takes a lock. */
class bus_t
{
  public:
    /** Adds a reference. */
    explicit bus_t(sd_bus* native) noexcept;
    /** Takes the caller's reference over. */
    bus_t(sd_bus* native, std::false_type /*takes over*/) noexcept : native_(native) {}

    bus_t(const bus_t&) = delete;
    bus_t& operator=(const bus_t&) = delete;
    bus_t(bus_t&& other) noexcept = default;
    bus_t& operator=(bus_t&& other) noexcept;
    ~bus_t();

    /** @throws exception::SdBusError */
    message_t new_method_call(const char* service, const char* path, const char* interface,
                              const char* member) const;
    /** @throws exception::SdBusError */
    message_t new_signal(const char* path, const char* interface, const char* member) const;

    /**
     * Sends a call and waits for its reply. What else arrives meanwhile is kept for a later
     * dispatch.
     * @param timeout_us  microseconds; 0 is sd-bus's default of 25 s
     * @throws exception::SdBusError also where the reply is an error
     */
    message_t call(message_t& call, std::uint64_t timeout_us = 0) const;
    message_t call(message_t& call, std::optional<SdBusDuration> timeout) const;

    /**
     * Claims a name; an owner that allows it is replaced, and so may this one be.
     * @throws exception::SdBusError also where this connection owns the name already
     */
    void request_name(const char* name) const;

    /**
     * Dispatches one message.
     * @return whether there was one
     * @throws exception::SdBusError, and whatever a handler let out that is no answer to its caller
     */
    bool process_discard();

    /** Waits until the bus has given the connection its name. @throws exception::SdBusError */
    std::string get_unique_name() const;
    /** The descriptor to watch. @throws exception::SdBusError */
    int get_fd() const;

    void flush() const noexcept;
    void close() const noexcept;
    bool is_open() const noexcept;
    /** Whether the destructor flushes and closes the connection, even if others refer to it. */
    void set_should_close(bool should_close) noexcept { should_close_ = should_close; }
    /** Hands the native connection over to the caller and leaves this object empty. */
    sd_bus* release() noexcept { return native_.release(); }

    /** Keeps what a handler threw until process_discard() can throw it again; for generated code.
     */
    void set_current_exception(std::exception_ptr exception) noexcept;

  protected:
    sd_bus* get() const noexcept { return native_.get(); }

  private:
    friend struct detail::native_bus;

    void rethrow_stored();

    detail::bus_ref native_;
    bool should_close_ = false;
    std::exception_ptr stored_;
};

namespace detail
{

/** The library's own way from a bus to what sd-bus knows it by. */
struct native_bus
{
    static sd_bus* of(const bus_t& bus) noexcept { return bus.get(); }
};

} // namespace detail

namespace bus
{

/** The thread's shared connections. @throws exception::SdBusError where there is no bus */
bus_t new_default();
bus_t new_default_system();
bus_t new_default_user();

/** Fresh connections that nobody else uses; flushed and closed at their end. @throws
 * exception::SdBusError */
bus_t new_bus();
bus_t new_system();
bus_t new_user();

} // namespace bus

} // namespace sdbusplus
