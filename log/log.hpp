#pragma once

/**
 * @file
 * The two log calls that the whole service uses.
 *
 * They are not "bad" and "good": the error log also takes what must be found in the log file later
 * (versions, counts, I2C transfers, the success of an update), the trace log everything that only
 * matters while somebody watches the platform log.
 */

#include <cstdint>

/** The platform log's module number of this service, also handed to the programming library. */
inline constexpr int logModule = 352;

/**
 * The error log: one line to the platform log at level 1 and one record to the log file.
 *
 * The platform log receives the message whole; the log file at most its first 1023 characters.
 * Callable from any thread; failures of the log file are told to the platform log only.
 */
void logRecord(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** The trace log: one line to the platform log at level 4. Callable from any thread. */
void logTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
