#include "fakes/platform_log.hpp"

#include "platform/dlog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <mutex>

namespace
{

constexpr int errorLevel = 1;
constexpr int traceLevel = 4;
constexpr int serviceModule = 352;

std::mutex guard;
fakes::Log lines;

std::string formatted(const char* format, std::va_list arguments)
{
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);

    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

} // namespace

void dlog_vprintf(int level, int module, const char* format, va_list arguments)
{
    auto text = formatted(format, arguments);
    const std::lock_guard lock(guard);
    lines.push_back({level, module, format, std::move(text)});
}

void dlog_printf(int level, int module, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(level, module, format, arguments);
    va_end(arguments);
}

namespace fakes
{

std::ostream& operator<<(std::ostream& stream, const LogLine& line)
{
    return stream << "level " << line.level << " module " << line.module << " \"" << line.text
                  << "\" from \"" << line.format << '"';
}

Log platformLog()
{
    const std::lock_guard lock(guard);
    return lines;
}

Log platformLog(int level)
{
    Log chosen;
    std::ranges::copy_if(platformLog(), std::back_inserter(chosen),
                         [level](const LogLine& line) { return line.level == level; });
    return chosen;
}

void clearPlatformLog()
{
    const std::lock_guard lock(guard);
    lines.clear();
}

LogLine errorLine(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    LogLine line{errorLevel, serviceModule, format, formatted(format, arguments)};
    va_end(arguments);
    return line;
}

LogLine traceLine(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    LogLine line{traceLevel, serviceModule, format, formatted(format, arguments)};
    va_end(arguments);
    return line;
}

LogLine lineOf(int level, int module, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    LogLine line{level, module, format, formatted(format, arguments)};
    va_end(arguments);
    return line;
}

} // namespace fakes
