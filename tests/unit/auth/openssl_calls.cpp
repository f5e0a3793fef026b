#include "auth/openssl_calls.hpp"

#include "fakes/next_symbol.hpp"

#include <openssl/bio.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <new>
#include <utility>

namespace
{

std::string watchedName;
fakes::OpensslAction watchedAction;

bool fails(const char* name)
{
    return watchedName == name && watchedAction();
}

} // namespace

extern "C" BIO* BIO_new(const BIO_METHOD* type)
{
    return fails("BIO_new") ? nullptr : fakes::nextSymbol<BIO*(const BIO_METHOD*)>("BIO_new")(type);
}

extern "C" int i2d_PUBKEY_bio(BIO* bio, const EVP_PKEY* key)
{
    return fails("i2d_PUBKEY_bio")
               ? 0
               : fakes::nextSymbol<int(BIO*, const EVP_PKEY*)>("i2d_PUBKEY_bio")(bio, key);
}

extern "C" std::size_t BIO_ctrl_pending(BIO* bio)
{
    return fails("BIO_ctrl_pending")
               ? std::size_t{0x80000000}
               : fakes::nextSymbol<std::size_t(BIO*)>("BIO_ctrl_pending")(bio);
}

extern "C" int BIO_read(BIO* bio, void* data, int length)
{
    return fails("BIO_read")
               ? 0
               : fakes::nextSymbol<int(BIO*, void*, int)>("BIO_read")(bio, data, length);
}

extern "C" EVP_PKEY* d2i_PUBKEY(EVP_PKEY** key, const unsigned char** bytes, long length)
{
    using Function = EVP_PKEY*(EVP_PKEY**, const unsigned char**, long);
    return fails("d2i_PUBKEY") ? nullptr
                               : fakes::nextSymbol<Function>("d2i_PUBKEY")(key, bytes, length);
}

extern "C" EVP_MD_CTX* EVP_MD_CTX_new()
{
    return fails("EVP_MD_CTX_new") ? nullptr : fakes::nextSymbol<EVP_MD_CTX*()>("EVP_MD_CTX_new")();
}

extern "C" int EVP_DigestVerifyInit(EVP_MD_CTX* context, EVP_PKEY_CTX** keyContext,
                                    const EVP_MD* type, ENGINE* engine, EVP_PKEY* key)
{
    using Function = int(EVP_MD_CTX*, EVP_PKEY_CTX**, const EVP_MD*, ENGINE*, EVP_PKEY*);
    return fails("EVP_DigestVerifyInit") ? 0
                                         : fakes::nextSymbol<Function>("EVP_DigestVerifyInit")(
                                               context, keyContext, type, engine, key);
}

extern "C" int EVP_DigestVerifyUpdate(EVP_MD_CTX* context, const void* data, std::size_t length)
{
    using Function = int(EVP_MD_CTX*, const void*, std::size_t);
    fakes::digestedPieces().push_back(length);
    return fails("EVP_DigestVerifyUpdate")
               ? 0
               : fakes::nextSymbol<Function>("EVP_DigestVerifyUpdate")(context, data, length);
}

extern "C" int EVP_DigestVerifyFinal(EVP_MD_CTX* context, const unsigned char* signature,
                                     std::size_t length)
{
    using Function = int(EVP_MD_CTX*, const unsigned char*, std::size_t);
    // Neither yes nor no: an error inside OpenSSL.
    return fails("EVP_DigestVerifyFinal")
               ? -1
               : fakes::nextSymbol<Function>("EVP_DigestVerifyFinal")(context, signature, length);
}

extern "C" int ECDSA_SIG_set0(ECDSA_SIG* signature, BIGNUM* r, BIGNUM* s)
{
    using Function = int(ECDSA_SIG*, BIGNUM*, BIGNUM*);
    return fails("ECDSA_SIG_set0") ? 0
                                   : fakes::nextSymbol<Function>("ECDSA_SIG_set0")(signature, r, s);
}

extern "C" int i2d_ECDSA_SIG(const ECDSA_SIG* signature, unsigned char** encoded)
{
    using Function = int(const ECDSA_SIG*, unsigned char**);
    return fails("i2d_ECDSA_SIG")
               ? -1
               : fakes::nextSymbol<Function>("i2d_ECDSA_SIG")(signature, encoded);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return fails("new") ? nullptr : std::malloc(size); // NOLINT: a replacement of the operator
}

void operator delete[](void* block) noexcept
{
    std::free(block); // NOLINT: a replacement of the operator
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    std::free(block); // NOLINT: a replacement of the operator
}

void* operator new[](std::size_t size)
{
    void* const block = std::malloc(size); // NOLINT: a replacement of the operator
    return block != nullptr ? block : throw std::bad_alloc();
}

namespace fakes
{

void atOpensslCall(const std::string& name, OpensslAction action)
{
    watchedName = name;
    watchedAction = std::move(action);
}

void failOpensslCall(const std::string& name)
{
    atOpensslCall(name, [] { return true; });
}

std::vector<std::size_t>& digestedPieces()
{
    static std::vector<std::size_t> pieces;
    return pieces;
}

void resetOpenssl()
{
    watchedName.clear();
    digestedPieces().clear();
}

} // namespace fakes
