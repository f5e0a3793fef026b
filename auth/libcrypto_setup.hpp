#pragma once

/** @file The set-up that libcrypto makes in the first verification of a process. */

/**
 * Lets libcrypto set itself up, by a verification whose outcome is known. Main thread, before any
 * payload is checked.
 *
 * libcrypto sets itself up once in a process, at its first use. What it gets no memory for then it
 * never asks for again, and every payload would be refused until the process ends; here, the
 * process can end over it at once.
 *
 * Where the verification fails for another reason, the service goes on: it refuses payloads then,
 * and says so at each, but its inventory is as good as ever.
 *
 * @throws std::bad_alloc when memory is exhausted
 */
void setUpLibcrypto();
