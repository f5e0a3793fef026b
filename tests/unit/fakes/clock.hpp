#pragma once

#include <chrono>

namespace fakes
{

/** Makes the steady clock stand still; it goes on by itself after resetClock(). */
void stopClock();

/** Puts a clock that stands still forward. */
void advanceClock(std::chrono::nanoseconds by);

void resetClock();

} // namespace fakes
