#include "auth/libcrypto_setup.hpp"

#include "auth/openssl_handles.hpp"
#include "auth/signature.hpp"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <new>
#include <string_view>

namespace
{

// The example for P-384 with SHA-512 in RFC 6979, A.2.6.

constexpr std::string_view knownKey = R"(-----BEGIN PUBLIC KEY-----
MHYwEAYHKoZIzj0CAQYFK4EEACIDYgAE7DpOQVtOGaRWhhgCn0J/pdqai8SukuAu
BqrlKGswDGTe+PDqkFWGYGSiVFFUgLwTgBXZty19VyROqO+awMYhiWcIpZNn+d+5
9UyoSz8cnbEoiyMcOuDU/nNE/SUzJkcg
-----END PUBLIC KEY-----
)";

constexpr std::array<std::uint8_t, 6> knownMessage{'s', 'a', 'm', 'p', 'l', 'e'};

constexpr std::array<std::uint8_t, signatureSize> knownSignature{
    0xed, 0x09, 0x59, 0xd5, 0x88, 0x0a, 0xb2, 0xd8, 0x69, 0xae, 0x7f, 0x6c, 0x29, 0x15, 0xc6, 0xd6,
    0x0f, 0x96, 0x50, 0x7f, 0x9c, 0xb3, 0xe0, 0x47, 0xc0, 0x04, 0x68, 0x61, 0xda, 0x4a, 0x79, 0x9c,
    0xfe, 0x30, 0xf3, 0x5c, 0xc9, 0x00, 0x05, 0x6d, 0x7c, 0x99, 0xcd, 0x78, 0x82, 0x43, 0x37, 0x09,
    0x51, 0x2c, 0x8c, 0xce, 0xee, 0x38, 0x90, 0xa8, 0x40, 0x58, 0xce, 0x1e, 0x22, 0xdb, 0xc2, 0x19,
    0x8f, 0x42, 0x32, 0x3c, 0xe8, 0xac, 0xa9, 0x13, 0x53, 0x29, 0xf0, 0x3c, 0x06, 0x8e, 0x51, 0x12,
    0xdc, 0x7c, 0xc3, 0xef, 0x34, 0x46, 0xde, 0xfc, 0xeb, 0x01, 0xa4, 0x5c, 0x26, 0x67, 0xfd, 0xd5};

PublicKeyPtr fromPem(std::string_view pem)
{
    const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return PublicKeyPtr(bio != nullptr ? PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr)
                                       : nullptr);
}

/** To DER and back, as a payload's key goes. */
PublicKeyPtr throughDer(EVP_PKEY& key)
{
    std::uint8_t* encoded = nullptr;
    const int length = i2d_PUBKEY(&key, &encoded);
    const EncodedPtr owned(encoded);
    const std::uint8_t* position = encoded;
    return PublicKeyPtr(length > 0 ? d2i_PUBKEY(nullptr, &position, length) : nullptr);
}

bool isVerified(EVP_PKEY& key)
{
    const DigestContextPtr context(EVP_MD_CTX_new());
    const auto signature = encodeSignature(knownSignature);
    return context != nullptr && signature.bytes != nullptr &&
           EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha512(), nullptr, &key) == 1 &&
           EVP_DigestVerifyUpdate(context.get(), knownMessage.data(), knownMessage.size()) == 1 &&
           EVP_DigestVerifyFinal(context.get(), signature.bytes.get(), signature.length) == 1;
}

bool verifiesKnownSignature()
{
    const PublicKeyPtr read = fromPem(knownKey);
    const PublicKeyPtr key = read != nullptr ? throughDer(*read) : nullptr;
    return key != nullptr && isVerified(*key);
}

} // namespace

void setUpLibcrypto()
{
    // libcrypto may lack the memory to record its own error, but malloc has set errno then.
    errno = 0;
    if (!verifiesKnownSignature() && errno == ENOMEM)
    {
        throw std::bad_alloc();
    }
}
