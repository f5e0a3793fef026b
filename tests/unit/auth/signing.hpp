#pragma once

#include "auth/openssl_handles.hpp"

#include <cstdint>
#include <string>
#include <string_view>

/** A public key as a key file holds it. The key may be a private one's public half. */
std::string publicPemOf(EVP_PKEY& key);

/** A private key made for the test, with what its owner does with it. */
class SigningKey
{
  public:
    static SigningKey onCurve(const char* curve);
    static SigningKey ofKind(const char* algorithm);
    static SigningKey rsa();

    /** DSA of 1024 bits; its signatures are two numbers, too. */
    static SigningKey dsa();

    /** The public half, as a key file holds it. */
    std::string publicPem() const { return publicPemOf(*key_); }

    /** The same with only one of the point's coordinates, the other one as a sign. */
    std::string compressedPublicPem() const;

    /** The same with the curve's numbers in the place of its name. */
    SigningKey withExplicitParameters() const;

    /** The private half, as its owner's file holds it. */
    std::string privatePem() const;

    /** A certificate of the key, signed with itself. */
    std::string certificatePem() const;

    /** The public half in DER. */
    std::string publicDer() const;

    /** Number of bytes of the public half in DER. */
    std::size_t publicDerSize() const { return publicDer().size(); }

    /** The data with its signature behind it: r and s of ECDSA, 48 bytes each. */
    std::string signedFile(std::string_view data, const EVP_MD* digest = EVP_sha512()) const;

  private:
    explicit SigningKey(EVP_PKEY* key) : key_(key) {}

    PublicKeyPtr key_;
};

/** The signed bytes of a payload: header and body. @param size at least that of the header */
std::string payloadData(std::size_t size, std::uint32_t revisionCode = 0);
