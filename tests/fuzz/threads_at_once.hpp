#pragma once

namespace fuzz
{

/**
 * What becomes of a new thread: what an input leads to must not depend on who is scheduled first.
 * What threads do to each other is asked elsewhere.
 */
enum class Threads
{
    /** It is a thread, as always. */
    real,
    /** It runs to its end where it is started. */
    atOnce,
    /** It is never scheduled. */
    never,
};

/** From now on new threads are treated so. */
void treatThreads(Threads treatment);

} // namespace fuzz
