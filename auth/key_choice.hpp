#pragma once

/**
 * @file
 * Which public key a payload must be signed for.
 *
 * The choice rests on the component and on the key-revision code in the payload's own header. No
 * board is asked for its revision: each of a component's three keys signs for every board of it.
 */

#include "service/payload_header.hpp"

#include <cstdint>

/** What a payload's header asks for. */
enum class KeyRevision
{
    standard,
    x,
    a,
};

/** Reads the revision code: 32 bits, little-endian, at offset 88. */
std::uint32_t revisionCode(const PayloadHeader& header);

/** 2 is the X revision, 16 the A revision, any other code the default key. */
KeyRevision keyRevision(std::uint32_t code);
