#include "log/log.hpp"

#include "log/log_file.hpp"
#include "platform/dlog.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace
{

constexpr int errorLevel = 1;
constexpr int traceLevel = 4;

/** Longest message of a log-file record, its terminating NUL included. */
constexpr std::size_t recordBufferSize = 1024;

} // namespace

// printf-style on purpose: the platform log takes format and arguments apart, and sees each
// message's format as it stands in the source.
// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)
void logRecord(const char* format, ...) // NOLINT(cert-dcl50-cpp)
{
    std::array<char, recordBufferSize> message{};

    std::va_list arguments;
    va_start(arguments, format);
    std::va_list forTheFile;
    va_copy(forTheFile, arguments);

    dlog_vprintf(errorLevel, logModule, format, arguments);
    std::vsnprintf(message.data(), message.size(), format, forTheFile);

    va_end(forTheFile);
    va_end(arguments);

    addlog(message.data());
}

void logTrace(const char* format, ...) // NOLINT(cert-dcl50-cpp)
{
    std::va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(traceLevel, logModule, format, arguments);
    va_end(arguments);
}
// NOLINTEND(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)
