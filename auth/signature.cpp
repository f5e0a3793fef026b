#include "auth/signature.hpp"

#include <limits>
#include <utility>

namespace
{

BignumPtr readNumber(std::span<const std::uint8_t> bytes)
{
    return BignumPtr(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

} // namespace

std::optional<std::uint32_t> signedSize(std::int64_t fileSize)
{
    constexpr std::int64_t largest = std::numeric_limits<std::uint32_t>::max();
    if (fileSize < static_cast<std::int64_t>(signatureSize) || fileSize > largest)
    {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(fileSize - static_cast<std::int64_t>(signatureSize));
}

EncodedSignature encodeSignature(RawSignature raw)
{
    constexpr std::size_t numberSize = signatureSize / 2;
    const EcdsaSignaturePtr signature(ECDSA_SIG_new());
    BignumPtr r = readNumber(raw.first<numberSize>());
    BignumPtr s = readNumber(raw.last<numberSize>());
    if (signature == nullptr || r == nullptr || s == nullptr ||
        ECDSA_SIG_set0(signature.get(), r.get(), s.get()) != 1)
    {
        return {};
    }
    // The signature object owns the numbers now.
    static_cast<void>(r.release());
    static_cast<void>(s.release());

    std::uint8_t* encoded = nullptr;
    const int length = i2d_ECDSA_SIG(signature.get(), &encoded);
    EncodedPtr owned(encoded);
    if (length <= 0)
    {
        return {};
    }
    return {std::move(owned), static_cast<std::size_t>(length)};
}
