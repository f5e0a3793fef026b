#pragma once

/**
 * @file
 * Arithmetic of a payload file: everything but its last 96 bytes is signed, those are the numbers r
 * and s of an ECDSA signature over P-384, 48 bytes each, unsigned and big-endian.
 */

#include "auth/openssl_handles.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

inline constexpr std::size_t signatureSize = 96;

using RawSignature = std::span<const std::uint8_t, signatureSize>;

/** A signature in DER. */
struct EncodedSignature
{
    EncodedPtr bytes;
    std::size_t length = 0;
};

/**
 * Number of signed bytes of a file.
 *
 * @param fileSize as lseek tells it; negative where it could not
 * @return nothing where the file holds no signature or has 4 GiB or more
 */
std::optional<std::uint32_t> signedSize(std::int64_t fileSize);

/** Turns the raw signature into DER. @return null bytes when memory is exhausted */
EncodedSignature encodeSignature(RawSignature raw);
