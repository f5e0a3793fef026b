/**
 * @file
 * The service's check of one payload as a process of its own.
 *
 * usage: check_payload FILE
 *
 * The payload is one for a PBB. Ends with 0 where its signature verifies.
 *
 * What the service loads once in its life must not count at every check, so this process begins
 * with little: the C++ library is linked in, and the platform's libraries stay out.
 */

#include "platform/dlog.h"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"

#include <cstdarg>
#include <cstdio>
#include <span>

// The platform log of a controller on which nobody watches it.

void dlog_vprintf(int /*level*/, int /*module*/, const char* /*format*/, std::va_list /*arguments*/)
{
}

void dlog_printf(int /*level*/, int /*module*/, const char* /*format*/, ...) // NOLINT: as declared
{
}

int main(int count, char** words)
{
    const std::span arguments(words, static_cast<std::size_t>(count));
    if (arguments.size() != 2)
    {
        std::fputs("usage: check_payload FILE\n", stderr);
        return 2;
    }
    updateRequest().CompId = component_id::pbb;
    return Tavrinupdate::verifySignature(arguments.back()) ? 0 : 1;
}
