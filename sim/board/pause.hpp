#pragma once

/**
 * @file
 * The two ways in which a script makes the simulation wait.
 */

#include <chrono>
#include <string>

namespace sim
{

/** Waits for the whole time, signals or not. */
void pauseFor(std::chrono::milliseconds time);

/**
 * Waits until the gate `name` of the board stands open, which Python arranges. The arrival and the
 * release are traced, so that a test knows when the caller is inside. A gate that was opened stays
 * open.
 */
void waitAtGate(const std::string& name);

} // namespace sim
