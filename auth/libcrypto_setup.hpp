#pragma once

/**
 * Lets libcrypto set itself up, by a verification whose outcome is known. Main thread, before
 * any payload is checked.
 *
 * libcrypto sets itself up once in a process, at its first use. If an allocation fails then, it
 * is never repeated, and every payload would be refused until the process ends. Here the
 * process can still end at once.
 *
 * When the verification fails for another reason, the service goes on: it refuses each payload
 * and logs why, and its inventory is not affected.
 *
 * @throws std::bad_alloc when memory is exhausted
 */
void setUpLibcrypto();
