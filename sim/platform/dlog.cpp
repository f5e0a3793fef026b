#include "platform/dlog.h"

#include "board/lifetime.hpp"
#include "board/trace.hpp"

#include <cstdarg>
#include <cstdio>
#include <string>

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)

namespace
{

std::string formatted(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0)
    {
        return format;
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

} // namespace

void dlog_vprintf(int level, int module, const char* format, std::va_list arguments)
{
    const sim::ErrnoKeeper keeper;
    const std::string text = formatted(format, arguments);
    if (sim::boardDirectory().empty())
    {
        (void)std::fprintf(stderr, "%d %d %s%s", level, module, text.c_str(),
                           text.ends_with('\n') ? "" : "\n");
        return;
    }
    sim::trace("log", {{"level", level}, {"module", module}, {"format", format}, {"text", text}});
}

void dlog_printf(int level, int module, const char* format, ...) // NOLINT(cert-dcl50-cpp)
{
    std::va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(level, module, format, arguments);
    va_end(arguments);
}

// NOLINTEND(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)
