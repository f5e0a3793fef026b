#pragma once

/** @file Owners of OpenSSL's objects. */

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>

#include <cstdint>
#include <memory>

template <auto release>
struct OpensslDeleter
{
    template <typename Object>
    void operator()(Object* object) const
    {
        release(object);
    }
};

using BioPtr = std::unique_ptr<BIO, OpensslDeleter<BIO_free>>;
using BignumPtr = std::unique_ptr<BIGNUM, OpensslDeleter<BN_free>>;
using EcdsaSignaturePtr = std::unique_ptr<ECDSA_SIG, OpensslDeleter<ECDSA_SIG_free>>;
using DigestContextPtr = std::unique_ptr<EVP_MD_CTX, OpensslDeleter<EVP_MD_CTX_free>>;
using PublicKeyPtr = std::unique_ptr<EVP_PKEY, OpensslDeleter<EVP_PKEY_free>>;

/** A buffer that one of OpenSSL's encoders allocated. */
struct EncodedDeleter
{
    void operator()(std::uint8_t* buffer) const { OPENSSL_free(buffer); }
};
using EncodedPtr = std::unique_ptr<std::uint8_t, EncodedDeleter>;
