/**
 * @file
 * Writes a number of records to the log file, each of 100 characters, for a look at the system
 * calls.
 *
 * usage: write_records COUNT
 */

#include "log/log_file.hpp"

#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

int main(int count, char** words)
{
    const std::span arguments(words, static_cast<std::size_t>(count));
    if (arguments.size() != 2)
    {
        std::fputs("usage: write_records COUNT\n", stderr);
        return 2;
    }
    constexpr std::size_t length = 100;
    const std::string message(length, 'x');
    for (int left = std::atoi(arguments.back()); left > 0; --left)
    {
        addlog(message.c_str());
    }
    return 0;
}
