#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace fakes
{

/** One call of the platform log. */
struct LogLine
{
    int level = 0;
    int module = 0;
    /** The message as it stands in the source. */
    std::string format;
    /** The message with its arguments filled in. */
    std::string text;

    bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const LogLine& line);

using Log = std::vector<LogLine>;

/** All lines so far, in their order. Any thread. */
Log platformLog();

/** The lines of one level only. */
Log platformLog(int level);

void clearPlatformLog();

/** The line that a call of the error log must leave. */
LogLine errorLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** The line that a call of the trace log must leave. */
LogLine traceLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** A line that goes to the platform log directly. */
LogLine lineOf(int level, int module, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

} // namespace fakes
