/**
 * @file
 * Tells the time and becomes the program that it is told: the time at which that one is started,
 * and the processor time that this process had used until then, both in nanoseconds.
 *
 * usage: begin PROGRAM [ARGUMENT...]
 */

#include "support.hpp"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>

int main(int count, char** words)
{
    if (count < 2)
    {
        return 2;
    }
    const std::int64_t used = bench::now(CLOCK_PROCESS_CPUTIME_ID);
    std::printf("%" PRId64 " %" PRId64 "\n", bench::now(), used);
    std::fflush(stdout);
    execv(words[1], &words[1]);
    std::perror(words[1]);
    return 1;
}
