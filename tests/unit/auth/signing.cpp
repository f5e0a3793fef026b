#include "auth/signing.hpp"

#include "auth/signature.hpp"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace
{

constexpr std::string_view dsaParameters = R"(-----BEGIN DSA PARAMETERS-----
MIIBJgKBgQCArLzDzj12hab7cx9W3hpk3mVTFGO5Z+6hM8VmsVfNlO16vIt1Rwqz
xarMly/3s4qoilQSU5SPe0nk0sumnRsG7I0oqL9fm27x8R1qlGQA0DAnHwkngFhD
I+wE9ja/H++/PuoeTcIi/zA1NA+rZaP5TOzRkTDdwFDkLUTXnVjuqQIdAPSUfDYu
fLab8YqIvDb6HlUDDD3pSVeIWVTMJKsCgYB8xDi9UReypy384VaWttu4CnoUxxIV
YdE5myDib40KAPWLsCFwq/7gcwl4dPdWFYW1QXdw2oisRBr8cRT+RvdVYxY2bsin
6Jaq9DA/eKxDYOawmTNJMJSdt9oQX5+utZ0H+YEmSaawv/YR8M9mggxoDO8SnhDa
G7CDHbIZGxcmbg==
-----END DSA PARAMETERS-----
)";

const std::uint8_t* bytesOf(std::string_view text)
{
    return reinterpret_cast<const std::uint8_t*>(text.data()); // NOLINT: bytes as bytes
}

void check(bool done)
{
    if (!done)
    {
        throw std::runtime_error("OpenSSL refuses to make what the test needs");
    }
}

std::vector<std::uint8_t> derSignature(EVP_PKEY& key, std::string_view data, const EVP_MD* digest)
{
    const DigestContextPtr context(EVP_MD_CTX_new());
    check(EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, &key) == 1);
    std::size_t length = 0;
    check(EVP_DigestSign(context.get(), nullptr, &length, bytesOf(data), data.size()) == 1);
    std::vector<std::uint8_t> signature(length);
    check(EVP_DigestSign(context.get(), signature.data(), &length, bytesOf(data), data.size()) ==
          1);
    signature.resize(length);
    return signature;
}

std::string contentOf(BIO& bio)
{
    char* text = nullptr;
    const long length = BIO_get_mem_data(&bio, &text); // NOLINT: a macro of OpenSSL's
    return {text, static_cast<std::size_t>(length)};
}

} // namespace

SigningKey SigningKey::onCurve(const char* curve)
{
    return SigningKey(EVP_EC_gen(curve));
}

SigningKey SigningKey::ofKind(const char* algorithm)
{
    return SigningKey(EVP_PKEY_Q_keygen(nullptr, nullptr, algorithm));
}

SigningKey SigningKey::rsa()
{
    constexpr unsigned bits = 2048;
    return SigningKey(EVP_RSA_gen(bits));
}

SigningKey SigningKey::dsa()
{
    using ContextPtr = std::unique_ptr<EVP_PKEY_CTX, OpensslDeleter<EVP_PKEY_CTX_free>>;

    const BioPtr bio(BIO_new_mem_buf(dsaParameters.data(), static_cast<int>(dsaParameters.size())));
    const PublicKeyPtr parameters(PEM_read_bio_Parameters(bio.get(), nullptr));
    const ContextPtr context(EVP_PKEY_CTX_new(parameters.get(), nullptr));
    EVP_PKEY* made = nullptr;
    check(EVP_PKEY_keygen_init(context.get()) == 1);
    check(EVP_PKEY_keygen(context.get(), &made) == 1);
    return SigningKey(made);
}

std::string publicPemOf(EVP_PKEY& key)
{
    const BioPtr bio(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_PUBKEY(bio.get(), &key) == 1);
    return contentOf(*bio);
}

std::string SigningKey::compressedPublicPem() const
{
    const PublicKeyPtr copy(EVP_PKEY_dup(key_.get()));
    check(EVP_PKEY_set_utf8_string_param(copy.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT,
                                         OSSL_PKEY_EC_POINT_CONVERSION_FORMAT_COMPRESSED) == 1);
    return publicPemOf(*copy);
}

SigningKey SigningKey::withExplicitParameters() const
{
    SigningKey copy(EVP_PKEY_dup(key_.get()));
    check(EVP_PKEY_set_utf8_string_param(copy.key_.get(), OSSL_PKEY_PARAM_EC_ENCODING,
                                         OSSL_PKEY_EC_ENCODING_EXPLICIT) == 1);
    return copy;
}

std::string SigningKey::privatePem() const
{
    const BioPtr bio(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_PrivateKey(bio.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) ==
          1);
    return contentOf(*bio);
}

std::string SigningKey::certificatePem() const
{
    const std::unique_ptr<X509, OpensslDeleter<X509_free>> certificate(X509_new());
    check(X509_set_pubkey(certificate.get(), key_.get()) == 1);
    check(X509_sign(certificate.get(), key_.get(), EVP_sha512()) > 0);
    const BioPtr bio(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_X509(bio.get(), certificate.get()) == 1);
    return contentOf(*bio);
}

std::string SigningKey::publicDer() const
{
    const BioPtr bio(BIO_new(BIO_s_mem()));
    check(i2d_PUBKEY_bio(bio.get(), key_.get()) == 1);
    return contentOf(*bio);
}

std::string SigningKey::signedFile(std::string_view data, const EVP_MD* digest) const
{
    constexpr int numberSize = 48;
    const auto der = derSignature(*key_, data, digest);
    const auto* position = der.data();
    const EcdsaSignaturePtr signature(
        d2i_ECDSA_SIG(nullptr, &position, static_cast<long>(der.size())));
    std::array<std::uint8_t, signatureSize> raw{};
    check(BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), raw.data(), numberSize) == numberSize);
    check(BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), raw.data() + numberSize, numberSize) ==
          numberSize);
    return std::string(data) + std::string(raw.begin(), raw.end());
}

std::string payloadData(std::size_t size, std::uint32_t revisionCode)
{
    constexpr std::size_t codeOffset = 88;
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
    {
        data[i] = static_cast<char>(i * 7 + i / 251);
    }
    for (std::size_t i = 0; i < 4 && codeOffset + i < size; ++i)
    {
        data[codeOffset + i] = static_cast<char>(revisionCode >> (8 * i));
    }
    return data;
}
