#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

/** Releases what `malloc` allocated. */
struct FreeDeleter
{
    void operator()(void* block) const { std::free(block); } // NOLINT: the counterpart of malloc
};

/** DER bytes of a public key, allocated with `malloc`; null where there is no key. */
using DerBuffer = std::unique_ptr<std::uint8_t, FreeDeleter>;
