#pragma once

/** @file What the C programs of this folder share. */

#include <err.h>
#include <errno.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>

/** Ends the program where `result` is a negative errno; `what` has failed then. */
static inline void must(int result, const char* what)
{
    if (result < 0)
    {
        errno = -result;
        err(EXIT_FAILURE, "%s", what);
    }
}

/** The monotonic clock, in nanoseconds. */
static inline int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * INT64_C(1000000000) + time.tv_nsec;
}
