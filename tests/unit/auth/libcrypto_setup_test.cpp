#include "auth/libcrypto_setup.hpp"
#include "auth/openssl_calls.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace
{

class LibcryptoSetup : public testing::Test
{
  protected:
    LibcryptoSetup() { fakes::resetOpenssl(); }

    void TearDown() override { fakes::resetOpenssl(); }

    /** What a call leaves behind when malloc failed in it. */
    static void endMemoryAt(const char* call, bool fails)
    {
        fakes::atOpensslCall(call,
                             [fails]
                             {
                                 errno = ENOMEM;
                                 return fails;
                             });
    }
};

TEST_F(LibcryptoSetup, VerifiesASignatureAndKnowsItsOutcome)
{
    // If the signature did not verify, a lack of memory would be blamed.
    endMemoryAt("EVP_DigestVerifyFinal", false);
    EXPECT_NO_THROW(setUpLibcrypto());
    const auto calls = fakes::opensslCalls();
    EXPECT_EQ(std::ranges::count(calls, "EVP_DigestVerifyFinal"), 1);
}

TEST_F(LibcryptoSetup, ThatFailsWithoutMemoryThrows)
{
    for (const auto* const call :
         {"d2i_PUBKEY", "EVP_MD_CTX_new", "EVP_DigestVerifyInit", "EVP_DigestVerifyUpdate",
          "ECDSA_SIG_new", "i2d_ECDSA_SIG", "EVP_DigestVerifyFinal"})
    {
        fakes::resetOpenssl();
        endMemoryAt(call, true);
        EXPECT_THROW(setUpLibcrypto(), std::bad_alloc) << call;
    }
}

TEST_F(LibcryptoSetup, ThatFailsForAnotherReasonLetsTheServiceGoOn)
{
    errno = ENOMEM; // of some call before
    fakes::failOpensslCall("EVP_DigestVerifyInit");
    EXPECT_NO_THROW(setUpLibcrypto());
}

} // namespace
