#pragma once

#include <cstdint>

/**
 * Writes the I/O bit that keeps the host in soft-off (S5) while a FLOP CPLD is updated.
 *
 * Two attempts, each followed by 50 ms of sleep when it fails. Main thread.
 *
 * @param value 0 releases the hold, 1 holds
 * @return 1 when the bit was written, 0 when both attempts failed
 */
std::int32_t cpld_update_holdS5(std::uint8_t value);
