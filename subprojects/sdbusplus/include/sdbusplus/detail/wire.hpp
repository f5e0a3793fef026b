#pragma once

#include <systemd/sd-bus.h>

/**
 * @file
 * The steps of reading and writing a message, kept out of the templates so that a value type costs
 * little code.
 *
 * Reading throws SdBusError with the prefix "<sd-bus call> <kind>". Writing does not throw: a
 * message that sd-bus has refused a value for cannot be sent any more, so the failure shows there.
 */

namespace sdbusplus::detail::wire
{

void append_basic(sd_bus_message* message, char type, const void* value) noexcept;
void open_container(sd_bus_message* message, char type, const char* contents) noexcept;
void close_container(sd_bus_message* message) noexcept;

void read_basic(sd_bus_message* message, char type, void* value, const char* kind);
void enter_container(sd_bus_message* message, char type, const char* contents, const char* kind);
void exit_container(sd_bus_message* message, const char* kind);
bool at_end(sd_bus_message* message, const char* kind);

/** Whether a variant with just these contents comes next; false too where nothing is left. */
bool variant_holds(sd_bus_message* message, const char* contents);
void skip_variant(sd_bus_message* message);

} // namespace sdbusplus::detail::wire
