#pragma once

/**
 * @file
 * The image of a simulated CPLD, as a payload file carries it and as the configuration memory holds
 * it: the 8 bytes "SIMCPLD" and NUL, the kind code, major, minor and maintenance (one byte each, at
 * most 15), the body's length (32 bits, little endian), the body.
 */

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace sim
{

using Bytes = std::span<const unsigned char>;

/** A firmware version; each number is at most 15, as the devices keep it in four bits. */
struct Version
{
    std::uint8_t major;
    std::uint8_t minor;
    std::uint8_t maintenance;
};

/** The kinds of device, by the code that an image carries. */
enum class Kind : std::uint8_t
{
    flop = 0,
    pbb = 1,
    pdb = 2,
};

/** What the first bytes of an image say. */
struct ImageHeader
{
    static constexpr std::size_t size = 16;

    Kind kind;
    Version version;
    std::uint32_t bodyLength;

    /** Bytes of the whole image. */
    [[nodiscard]] std::size_t imageSize() const { return size + bodyLength; }

    /** Nothing where the bytes do not begin like an image. */
    static std::optional<ImageHeader> read(Bytes image);
};

/** The image inside a payload: without the header before it and the signature behind it. */
Bytes imageOfPayload(Bytes payload);

} // namespace sim
