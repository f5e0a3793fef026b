#pragma once

#include <string>
#include <string_view>

/** Whether a power state says that a power-on from S5 waits: it contains "S5OnPending". */
bool isPowerOnPending(std::string_view state);

/** Whether a changed property is the internal power state: its name contains that word. */
bool namesPowerState(std::string_view property);
