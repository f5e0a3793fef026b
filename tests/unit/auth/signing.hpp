#pragma once

#include "auth/openssl_handles.hpp"

#include <cstdint>
#include <string>
#include <string_view>

/** A private key made for the test, with what its owner does with it. */
class SigningKey
{
  public:
    static SigningKey onCurve(const char* curve);
    static SigningKey rsa();

    /** The public half, as a key file holds it. */
    std::string publicPem() const;

    /** Number of bytes of the public half in DER. */
    std::size_t publicDerSize() const;

    /** The data with its signature behind it: r and s of ECDSA over SHA-512, 48 bytes each. */
    std::string signedFile(std::string_view data) const;

  private:
    explicit SigningKey(EVP_PKEY* key) : key_(key) {}

    PublicKeyPtr key_;
};

/** The signed bytes of a payload: header and body. @param size at least that of the header */
std::string payloadData(std::size_t size, std::uint32_t revisionCode = 0);
