#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace fuzz
{

/** Ends the process where something does not hold; the fuzzer keeps the input that led there. */
inline void require(bool holds, std::string_view what)
{
    if (!holds)
    {
        std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
        std::abort();
    }
}

} // namespace fuzz
