#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

/** Length in bytes of the header that a payload file begins with. */
inline constexpr std::size_t payloadHeaderSize = 124;

using PayloadHeader = std::array<std::uint8_t, payloadHeaderSize>;

/** Releases what `malloc` allocated. */
struct FreeDeleter
{
    void operator()(void* block) const { std::free(block); } // NOLINT: the counterpart of malloc
};

/** DER bytes of a public key, allocated with `malloc`; null where there is no key. */
using DerBuffer = std::unique_ptr<std::uint8_t, FreeDeleter>;
