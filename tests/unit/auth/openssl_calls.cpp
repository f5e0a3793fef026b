#include "auth/openssl_calls.hpp"

#include "auth/openssl_resources.hpp"
#include "fakes/next_symbol.hpp"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <optional>
#include <utility>

namespace
{

std::string watchedName;
fakes::OpensslAction watchedAction;
std::optional<std::int64_t> watchedAnswer;

using fakes::fails;

/** The real function's object, noted as taken; null where the call is to fail. */
template <typename Object, typename... Arguments>
Object* object(const char* name, Arguments... arguments)
{
    fakes::opensslCalls().emplace_back(name);
    if (fails(name))
    {
        return nullptr;
    }
    auto* const made = fakes::nextSymbol<Object*(Arguments...)>(name)(arguments...);
    fakes::taken(made, name);
    return made;
}

/** The real function's answer, or the one that is to come in its place. */
template <typename... Arguments>
int number(const char* name, int usualFailure, Arguments... arguments)
{
    fakes::opensslCalls().emplace_back(name);
    return fails(name) ? static_cast<int>(watchedAnswer.value_or(usualFailure))
                       : fakes::nextSymbol<int(Arguments...)>(name)(arguments...);
}

} // namespace

extern "C" EVP_PKEY* PEM_read_PUBKEY(std::FILE* file, EVP_PKEY** key, pem_password_cb* callback,
                                     void* data)
{
    return object<EVP_PKEY>("PEM_read_PUBKEY", file, key, callback, data);
}

extern "C" BIO* BIO_new(const BIO_METHOD* type)
{
    return object<BIO>("BIO_new", type);
}

extern "C" int i2d_PUBKEY_bio(BIO* bio, const EVP_PKEY* key)
{
    return number("i2d_PUBKEY_bio", 0, bio, key);
}

extern "C" std::size_t BIO_ctrl_pending(BIO* bio)
{
    constexpr std::int64_t tooMuch = 0x80000000;
    fakes::opensslCalls().emplace_back("BIO_ctrl_pending");
    return fails("BIO_ctrl_pending")
               ? static_cast<std::size_t>(watchedAnswer.value_or(tooMuch))
               : fakes::nextSymbol<std::size_t(BIO*)>("BIO_ctrl_pending")(bio);
}

extern "C" int BIO_read(BIO* bio, void* data, int length)
{
    return number("BIO_read", 0, bio, data, length);
}

extern "C" EVP_PKEY* d2i_PUBKEY(EVP_PKEY** key, const unsigned char** bytes, long length)
{
    return object<EVP_PKEY>("d2i_PUBKEY", key, bytes, length);
}

extern "C" EVP_MD_CTX* EVP_MD_CTX_new()
{
    return object<EVP_MD_CTX>("EVP_MD_CTX_new");
}

extern "C" const EVP_MD* EVP_sha512()
{
    fakes::opensslCalls().emplace_back("EVP_sha512");
    return fakes::nextSymbol<const EVP_MD*()>("EVP_sha512")();
}

extern "C" int EVP_DigestVerifyInit(EVP_MD_CTX* context, EVP_PKEY_CTX** keyContext,
                                    const EVP_MD* type, ENGINE* engine, EVP_PKEY* key)
{
    return number("EVP_DigestVerifyInit", 0, context, keyContext, type, engine, key);
}

extern "C" int EVP_DigestVerifyUpdate(EVP_MD_CTX* context, const void* data, std::size_t length)
{
    fakes::digestedPieces().push_back(length);
    return number("EVP_DigestVerifyUpdate", 0, context, data, length);
}

extern "C" int EVP_DigestVerifyFinal(EVP_MD_CTX* context, const unsigned char* signature,
                                     std::size_t length)
{
    // Neither yes nor no: an error inside OpenSSL.
    return number("EVP_DigestVerifyFinal", -1, context, signature, length);
}

extern "C" ECDSA_SIG* ECDSA_SIG_new()
{
    return object<ECDSA_SIG>("ECDSA_SIG_new");
}

extern "C" BIGNUM* BN_bin2bn(const unsigned char* bytes, int length, BIGNUM* target)
{
    return object<BIGNUM>("BN_bin2bn", bytes, length, target);
}

extern "C" int ECDSA_SIG_set0(ECDSA_SIG* signature, BIGNUM* r, BIGNUM* s)
{
    const int done = number("ECDSA_SIG_set0", 0, signature, r, s);
    if (done == 1)
    {
        // They go with the signature from now on.
        fakes::givenBack(r);
        fakes::givenBack(s);
    }
    return done;
}

extern "C" int i2d_ECDSA_SIG(const ECDSA_SIG* signature, unsigned char** encoded)
{
    const int length = number("i2d_ECDSA_SIG", -1, signature, encoded);
    if (length > 0 && encoded != nullptr)
    {
        fakes::taken(*encoded, "i2d_ECDSA_SIG");
    }
    return length;
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

void answerOpensslCall(const std::string& name, std::int64_t answer)
{
    failOpensslCall(name);
    watchedAnswer = answer;
}

bool fails(const char* name)
{
    return watchedName == name && watchedAction();
}

std::vector<std::string>& opensslCalls()
{
    static std::vector<std::string> calls;
    return calls;
}

std::vector<std::size_t>& digestedPieces()
{
    static std::vector<std::size_t> pieces;
    return pieces;
}

void resetOpenssl()
{
    watchedName.clear();
    watchedAnswer.reset();
    opensslCalls().clear();
    digestedPieces().clear();
}

} // namespace fakes
