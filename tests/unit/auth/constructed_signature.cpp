#include "auth/constructed_signature.hpp"

#include "auth/signing.hpp"

#include <openssl/core_names.h>
#include <openssl/obj_mac.h>
#include <openssl/params.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <vector>

namespace
{

using GroupPtr = std::unique_ptr<EC_GROUP, OpensslDeleter<EC_GROUP_free>>;
using ContextPtr = std::unique_ptr<BN_CTX, OpensslDeleter<BN_CTX_free>>;
using KeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, OpensslDeleter<EVP_PKEY_CTX_free>>;

constexpr int numberSize = 48;

void check(bool done)
{
    if (!done)
    {
        throw std::runtime_error("no such signature can be constructed");
    }
}

const EC_GROUP* group()
{
    static const GroupPtr made(EC_GROUP_new_by_curve_name(NID_secp384r1));
    return made.get();
}

BN_CTX* scratch()
{
    static const ContextPtr made(BN_CTX_new());
    return made.get();
}

BignumPtr copyOf(const BIGNUM* number)
{
    return BignumPtr(BN_dup(number));
}

BignumPtr product(const BignumPtr& a, const BignumPtr& b)
{
    BignumPtr result(BN_new());
    check(BN_mod_mul(result.get(), a.get(), b.get(), EC_GROUP_get0_order(group()), scratch()) == 1);
    return result;
}

/** The first 384 bits of the data's SHA-512. */
BignumPtr digestOf(std::string_view data)
{
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    check(EVP_Digest(data.data(), data.size(), digest.data(), nullptr, EVP_sha512(), nullptr) == 1);
    return BignumPtr(BN_bin2bn(digest.data(), numberSize, nullptr));
}

std::string pemOfPoint(const PointPtr& point)
{
    std::vector<std::uint8_t> encoded(1 + 2 * numberSize);
    check(EC_POINT_point2oct(group(), point.get(), POINT_CONVERSION_UNCOMPRESSED, encoded.data(),
                             encoded.size(), scratch()) == encoded.size());
    std::string curve = SN_secp384r1;
    const std::array<OSSL_PARAM, 3> parameters{
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, curve.data(), 0),
        OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, encoded.data(), encoded.size()),
        OSSL_PARAM_construct_end(),
    };
    const KeyContextPtr context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    check(EVP_PKEY_fromdata_init(context.get()) == 1);
    EVP_PKEY* made = nullptr;
    auto* const given = const_cast<OSSL_PARAM*>(parameters.data()); // NOLINT: only read
    check(EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, given) == 1);
    const PublicKeyPtr key(made);
    return publicPemOf(*key);
}

} // namespace

namespace p384
{

BignumPtr number(std::string_view hexadecimal)
{
    BIGNUM* made = nullptr;
    check(BN_hex2bn(&made, std::string(hexadecimal).c_str()) ==
          static_cast<int>(hexadecimal.size()));
    return BignumPtr(made);
}

BignumPtr order()
{
    return copyOf(EC_GROUP_get0_order(group()));
}

BignumPtr prime()
{
    return copyOf(EC_GROUP_get0_field(group()));
}

BignumPtr sum(const BignumPtr& a, const BignumPtr& b)
{
    BignumPtr result(BN_new());
    check(BN_add(result.get(), a.get(), b.get()) == 1);
    return result;
}

BignumPtr difference(const BignumPtr& a, const BignumPtr& b)
{
    BignumPtr result(BN_new());
    check(BN_sub(result.get(), a.get(), b.get()) == 1);
    return result;
}

std::string bytesOf(const BignumPtr& number)
{
    std::array<std::uint8_t, numberSize> bytes{};
    check(BN_bn2binpad(number.get(), bytes.data(), numberSize) == numberSize);
    return {bytes.begin(), bytes.end()};
}

PointPtr multiple(const BignumPtr& factor)
{
    PointPtr point(EC_POINT_new(group()));
    check(EC_POINT_mul(group(), point.get(), factor.get(), nullptr, nullptr, scratch()) == 1);
    return point;
}

PointPtr pointNear(const BignumPtr& x, int step, bool odd)
{
    constexpr int patience = 100;
    PointPtr point(EC_POINT_new(group()));
    BignumPtr candidate = copyOf(x.get());
    for (int i = 0; i < patience; ++i)
    {
        if (EC_POINT_set_compressed_coordinates(group(), point.get(), candidate.get(), odd ? 1 : 0,
                                                scratch()) == 1)
        {
            return point;
        }
        check((step > 0 ? BN_add_word(candidate.get(), 1) : BN_sub_word(candidate.get(), 1)) == 1);
    }
    throw std::runtime_error("no point near that coordinate");
}

PointPtr multipleWithALeadingZero()
{
    constexpr int bitsWithALeadingZero = 8 * (numberSize - 1);
    const auto base = multiple(number("1"));
    auto point = multiple(number("1"));
    while (BN_num_bits(abscissa(point).get()) > bitsWithALeadingZero)
    {
        check(EC_POINT_add(group(), point.get(), point.get(), base.get(), scratch()) == 1);
    }
    return point;
}

BignumPtr abscissa(const PointPtr& point)
{
    BignumPtr x(BN_new());
    check(EC_POINT_get_affine_coordinates(group(), point.get(), x.get(), nullptr, scratch()) == 1);
    return x;
}

} // namespace p384

ConstructedSignature constructSignature(std::string_view data, const PointPtr& point,
                                        const BignumPtr& s)
{
    const BIGNUM* const order = EC_GROUP_get0_order(group());
    const auto x = p384::abscissa(point);
    BignumPtr r(BN_new());
    check(BN_nnmod(r.get(), x.get(), order, scratch()) == 1);

    const BignumPtr inverse(BN_mod_inverse(nullptr, r.get(), order, scratch()));
    const auto pointFactor = product(s, inverse);
    const auto baseFactor = product(digestOf(data), inverse);
    BN_set_negative(baseFactor.get(), 1);

    const PointPtr key(EC_POINT_new(group()));
    check(EC_POINT_mul(group(), key.get(), baseFactor.get(), point.get(), pointFactor.get(),
                       scratch()) == 1);
    return {pemOfPoint(key), std::move(r), copyOf(s.get())};
}
