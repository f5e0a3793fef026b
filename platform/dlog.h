#pragma once

/**
 * @file
 * The platform's log facility.
 *
 * Both calls are printf-style, may be made from any thread and never fail visibly. What the level
 * and module numbers mean is the facility's own business.
 */

#include <stdarg.h> // NOLINT(modernize-deprecated-headers): the library is C

#ifdef __cplusplus
extern "C"
{
#endif

    /** Writes one message, formatted from `format` and what follows it. */
    void dlog_printf(int level, int module, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /** The same for arguments that the caller already gathered; `arguments` is used up. */
    void dlog_vprintf(int level, int module, const char* format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

#ifdef __cplusplus
}
#endif
