#pragma once

/** Throws what $THROWN names: "boost", "system", "bus", "bus and system", "general", or a number.
 */
[[noreturn]] void throwWanted();
