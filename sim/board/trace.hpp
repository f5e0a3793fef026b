#pragma once

/**
 * @file
 * The trace: what happened in the simulated world, one JSON object a line, in one file that every
 * process of the world appends to.
 */

#include "board/json.hpp"

#include <span>
#include <string>

namespace sim
{

/** The board directory of this process, or empty where no board is simulated. */
const std::string& boardDirectory();

/**
 * Appends one line: the time, the process, the thread, `what`, then `fields`. Callable from any
 * thread; does nothing where no board is simulated.
 */
void trace(const char* what, const Json& fields);

/** Traces a call into one of the platform's libraries. */
void traceCall(const char* name, const Json& arguments, const Json& result = {});

/** Bytes as hexadecimal text, the way the trace shows them. */
std::string hexadecimal(std::span<const unsigned char> bytes);

} // namespace sim
