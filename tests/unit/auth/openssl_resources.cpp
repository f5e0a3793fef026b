#include "auth/openssl_resources.hpp"

#include "fakes/next_symbol.hpp"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>

namespace
{

fakes::ResourceWatch* watch = nullptr;

/** Calls the real function of a name. */
template <typename Result, typename Object>
Result release(const char* name, Object* object)
{
    fakes::givenBack(object);
    return fakes::nextSymbol<Result(Object*)>(name)(object);
}

} // namespace

extern "C" int BIO_free(BIO* bio)
{
    return release<int>("BIO_free", bio);
}

extern "C" void BN_free(BIGNUM* number)
{
    release<void>("BN_free", number);
}

extern "C" void ECDSA_SIG_free(ECDSA_SIG* signature)
{
    release<void>("ECDSA_SIG_free", signature);
}

extern "C" void EVP_MD_CTX_free(EVP_MD_CTX* context)
{
    release<void>("EVP_MD_CTX_free", context);
}

extern "C" void EVP_PKEY_free(EVP_PKEY* key)
{
    release<void>("EVP_PKEY_free", key);
}

extern "C" void CRYPTO_free(void* block, const char* file, int line)
{
    fakes::givenBack(block);
    fakes::nextSymbol<void(void*, const char*, int)>("CRYPTO_free")(block, file, line);
}

namespace fakes
{

ResourceWatch::ResourceWatch()
{
    watch = this;
}

ResourceWatch::~ResourceWatch()
{
    watch = nullptr;
}

std::vector<std::string> ResourceWatch::held() const
{
    std::vector<std::string> calls;
    for (const auto& [resource, call] : held_)
    {
        calls.push_back(call);
    }
    return calls;
}

void ResourceWatch::take(const void* resource, const char* call)
{
    held_[resource] = call;
    taken_.emplace_back(call);
}

void* taken(void* resource, const char* call)
{
    if (watch != nullptr && resource != nullptr)
    {
        watch->take(resource, call);
    }
    return resource;
}

void givenBack(const void* resource)
{
    if (watch != nullptr)
    {
        watch->giveBack(resource);
    }
}

} // namespace fakes
