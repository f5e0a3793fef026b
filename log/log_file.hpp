#pragma once

/**
 * @file
 * The service's own log file, "/var/log/tavrinupdate.log".
 *
 * A record is the file's size before it was written, " : " and the message, nothing else. A record
 * that brings the file to 9216 bytes or more makes its first 1024 bytes go, once, wherever that
 * cuts.
 *
 * Both functions are exported from the executable, so that libraries in the process can write to
 * the same file. They may be called from any thread without a lock: a trim that runs while another
 * thread appends may lose that thread's record, which is accepted.
 */

/** Marks the only functions that the executable exports. */
#define TAVRINUPDATE_EXPORT __attribute__((visibility("default")))

/**
 * Appends one record and trims the file when it has reached its limit.
 *
 * Never throws: a file that cannot be opened is told to the platform log, and the message is gone.
 *
 * @param message NUL-terminated text, written as it is; a null pointer writes nothing
 */
TAVRINUPDATE_EXPORT void addlog(char const* message);

/** Drops the first 1024 bytes of the file; all of it where it is shorter. Never throws. */
TAVRINUPDATE_EXPORT void delete_old_log();
