#pragma once

#include <chrono>

namespace fakes
{

/**
 * Makes a signal arrive during the next pause, or during what is left of one interrupted already.
 *
 * No pause takes any time in a test: each goes to the journal with its whole length, as
 * "pause 5 ms", and is over.
 *
 * @param after what of the pause has passed by then
 */
void interruptNextPause(std::chrono::nanoseconds after);

/** Makes the next pause fail at once, for another reason than a signal. */
void failNextPause(int errorNumber);

void resetPauses();

} // namespace fakes
