#pragma once

/** @file Owners of libsystemd's bus objects, where the binding library has none or hides failures.
 */

#include <systemd/sd-bus.h>

#include <memory>

struct SdBusDeleter
{
    void operator()(sd_bus* bus) const { sd_bus_unref(bus); }
};
using SdBusPtr = std::unique_ptr<sd_bus, SdBusDeleter>;

struct SdBusMessageDeleter
{
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using SdBusMessagePtr = std::unique_ptr<sd_bus_message, SdBusMessageDeleter>;

struct SdBusSlotDeleter
{
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SdBusSlotPtr = std::unique_ptr<sd_bus_slot, SdBusSlotDeleter>;

/** An error record; released when it goes. */
class SdBusErrorRecord
{
  public:
    SdBusErrorRecord() = default;
    SdBusErrorRecord(const SdBusErrorRecord&) = delete;
    SdBusErrorRecord& operator=(const SdBusErrorRecord&) = delete;
    SdBusErrorRecord(SdBusErrorRecord&&) = delete;
    SdBusErrorRecord& operator=(SdBusErrorRecord&&) = delete;
    ~SdBusErrorRecord() { sd_bus_error_free(&error_); }

    sd_bus_error* get() { return &error_; }

    const char* name() const { return error_.name != nullptr ? error_.name : "unknown"; }
    const char* message() const
    {
        return error_.message != nullptr ? error_.message : "no message";
    }

  private:
    sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

/** Opens a private connection to the system bus. @return 0 or more, or a negative errno */
inline int openSystemBus(SdBusPtr& bus)
{
    sd_bus* opened = nullptr;
    const int result = sd_bus_open_system(&opened);
    bus.reset(opened);
    return result;
}
