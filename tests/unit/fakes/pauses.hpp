#pragma once

#include <chrono>

namespace fakes
{

/**
 * Makes a signal arrive during the next pause.
 *
 * No pause takes any time in a test: each goes to the journal with its whole length, as
 * "pause 5 ms", and is over.
 *
 * @param after what of the pause has passed by then
 */
void interruptNextPause(std::chrono::nanoseconds after);

void resetPauses();

} // namespace fakes
