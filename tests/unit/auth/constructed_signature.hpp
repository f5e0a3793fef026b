#pragma once

#include "auth/openssl_handles.hpp"

#include <openssl/ec.h>

#include <string>
#include <string_view>

/**
 * @file
 * Signatures whose numbers are chosen first.
 *
 * Signing makes r and s by chance. Here a point R and a number s are chosen, and
 * the public key that makes them a signature of the data is computed: Q = (s R - e G) / r. Nobody
 * knows its private half, and nobody needs it.
 */

using PointPtr = std::unique_ptr<EC_POINT, OpensslDeleter<EC_POINT_free>>;

namespace p384
{

/** The curve's numbers, and any other in hexadecimal digits. */
BignumPtr number(std::string_view hexadecimal);
BignumPtr order();
BignumPtr prime();

BignumPtr sum(const BignumPtr& a, const BignumPtr& b);
BignumPtr difference(const BignumPtr& a, const BignumPtr& b);

/** 48 bytes, big-endian. The number must fit. */
std::string bytesOf(const BignumPtr& number);

/** The base point times a number. */
PointPtr multiple(const BignumPtr& factor);

/**
 * The point with the x coordinate that is nearest to a wanted one.
 *
 * @param step +1 looks upwards, -1 downwards; half of all numbers are coordinates
 * @param odd  which of the two points with that coordinate: the one whose y is odd, or even
 */
PointPtr pointNear(const BignumPtr& x, int step, bool odd);

/** The first of the base point's multiples whose x coordinate has a leading zero byte. */
PointPtr multipleWithALeadingZero();

/** The point's x coordinate. */
BignumPtr abscissa(const PointPtr& point);

} // namespace p384

/** A public key in PEM, and r and s that it takes for a signature. */
struct ConstructedSignature
{
    std::string publicPem;
    BignumPtr r;
    BignumPtr s;

    std::string bytes() const { return p384::bytesOf(r) + p384::bytesOf(s); }
};

/** Makes the key for which the point and the number are a signature of the data. */
ConstructedSignature constructSignature(std::string_view data, const PointPtr& point,
                                        const BignumPtr& s);
