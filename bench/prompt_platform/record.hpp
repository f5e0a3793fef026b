#pragma once

/**
 * @file
 * What happened when: moments in a file that is mapped, so that taking one costs next to nothing.
 *
 * The file is named by BENCH_RECORD and made, all zeros, by who reads it (record.py). Without it
 * nothing is kept.
 */

#include <cstdint>

namespace bench
{

/** The monotonic clock, in nanoseconds. */
std::int64_t now();

/** Keeps a moment under a text, of which the first 111 bytes are kept. Any thread. */
void note(const char* text);

/** Adds the bits and the nanoseconds of one transfer to the sums. Any thread. */
void noteTransfer(std::uint64_t bits, std::int64_t nanoseconds);

} // namespace bench
