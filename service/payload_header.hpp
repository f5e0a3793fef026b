#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/** Length in bytes of the header that a payload file begins with. */
inline constexpr std::size_t payloadHeaderSize = 124;

using PayloadHeader = std::array<std::uint8_t, payloadHeaderSize>;
