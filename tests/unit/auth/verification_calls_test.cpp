#include "auth/openssl_resources.hpp"
#include "auth/verification_test.hpp"
#include "case_name.hpp"

#include <algorithm>
#include <optional>

namespace
{

using fakes::errorLine;

/** A call that fails, and the lines that tell of it. */
struct FailingCall
{
    const char* name;
    const char* call;
    /** What the call answers where it gives a number; nothing for OpenSSL's own failure. */
    std::optional<std::int64_t> answer;
    fakes::Log lines;
};

class FailingCallOfOpenssl : public Verification, public testing::WithParamInterface<FailingCall>
{
  protected:
    FailingCallOfOpenssl()
    {
        payloadIs(key().signedFile(payloadData(1000)));
        const auto& [name, call, answer, lines] = GetParam();
        if (answer)
        {
            fakes::answerOpensslCall(call, *answer);
        }
        else
        {
            fakes::failOpensslCall(call);
        }
    }
};

TEST_P(FailingCallOfOpenssl, RefusesAGoodPayloadAndIsTold)
{
    expectRefusal(GetParam().lines);
}

TEST_P(FailingCallOfOpenssl, IsNotFollowedByTheLastAnswer)
{
    constexpr auto last = "EVP_DigestVerifyFinal";
    fakes::opensslCalls().clear();
    EXPECT_FALSE(verify());
    EXPECT_EQ(std::ranges::count(fakes::opensslCalls(), last),
              GetParam().call == std::string(last));
}

TEST_P(FailingCallOfOpenssl, LeavesNothingBehind)
{
    fakes::ResourceWatch watch;
    EXPECT_FALSE(verify());
    EXPECT_EQ(watch.held(), Lines{});
}

fakes::Log failure(const char* format)
{
    return {errorLine(format, "verifySignature")};
}

/** A failure of the key's loading is told twice. */
fakes::Log keyFailure(fakes::LogLine line)
{
    return {std::move(line), errorLine("[%s] : Error in converting PEM public key to DER format\n",
                                       "verifySignature")};
}

constexpr auto keyFunction = "TavrinPemPubKeyToDer";

fakes::Log key(const char* format)
{
    return keyFailure(errorLine(format, keyFunction));
}

fakes::Log notRead()
{
    return keyFailure(errorLine("[%s] : Error reading PEM public key: %s\n", keyFunction,
                                "/etc/shared_keys/i2cpld/K4/default.pub"));
}

fakes::Log notWritten()
{
    return key("[%s] : Error writing DER-encoded public key\n");
}

fakes::Log badSize(std::size_t size)
{
    return keyFailure(errorLine("[%s] : Invalid DER size (%zu) for BIO_read\n", keyFunction, size));
}

fakes::Log notBegun()
{
    return failure("[%s] : Error in initializing signature verifying context\n");
}

fakes::Log notVerified()
{
    return failure("[%s] : Error in signature verification\n");
}

INSTANTIATE_TEST_SUITE_P(
    Table, FailingCallOfOpenssl,
    testing::Values(
        FailingCall{"ReadingTheKey", "PEM_read_PUBKEY", {}, notRead()},
        FailingCall{
            "CreatingTheOutput", "BIO_new", {}, key("[%s] : Error creating BIO for output\n")},
        FailingCall{"WritingTheKey", "i2d_PUBKEY_bio", 0, notWritten()},
        FailingCall{"WritingTheKeyWithAnError", "i2d_PUBKEY_bio", -1, notWritten()},
        FailingCall{"WritingTheKeyWithAnotherNumber", "i2d_PUBKEY_bio", 2, notWritten()},
        FailingCall{"AKeyOfNoBytes", "BIO_ctrl_pending", 0, badSize(0)},
        FailingCall{"AKeyOfTooManyBytes", "BIO_ctrl_pending", 0x80000000, badSize(0x80000000)},
        FailingCall{
            "TheKeysMemory", "malloc", {}, key("[%s] : Error allocating memory for DER buffer\n")},
        FailingCall{"ReadingNoByteOfTheKey", "BIO_read", 0,
                    key("[%s] : Error reading DER buffer\n")},
        FailingCall{"ReadingTheKeysBytes", "BIO_read", -1,
                    key("[%s] : Error reading DER buffer\n")},
        FailingCall{"DecodingTheKey",
                    "d2i_PUBKEY",
                    {},
                    failure("[%s] : Error in converting DER public key to EVP format\n")},
        FailingCall{"CreatingTheContext",
                    "EVP_MD_CTX_new",
                    {},
                    failure("[%s] : Error in creating signature verifying context\n")},
        FailingCall{"Beginning", "EVP_DigestVerifyInit", 0, notBegun()},
        FailingCall{"BeginningWithAnError", "EVP_DigestVerifyInit", -2, notBegun()},
        FailingCall{"TheReadBuffer", "new", {}, failure("[%s] : Error in allocating memory\n")},
        FailingCall{"Digesting", "EVP_DigestVerifyUpdate", 0, notVerified()},
        FailingCall{"DigestingWithAnError", "EVP_DigestVerifyUpdate", -1, notVerified()},
        FailingCall{"CreatingTheSignature", "ECDSA_SIG_new", {}, notVerified()},
        FailingCall{"ReadingTheNumbers", "BN_bin2bn", {}, notVerified()},
        FailingCall{"TakingTheNumbers", "ECDSA_SIG_set0", 0, notVerified()},
        FailingCall{"EncodingTheSignature", "i2d_ECDSA_SIG", 0, notVerified()},
        FailingCall{"EncodingWithAnError", "i2d_ECDSA_SIG", -1, notVerified()},
        FailingCall{"TheLastAnswerNo", "EVP_DigestVerifyFinal", 0, notVerified()},
        FailingCall{"TheLastAnswerAnError", "EVP_DigestVerifyFinal", -1, notVerified()},
        FailingCall{"TheLastAnswerAnotherError", "EVP_DigestVerifyFinal", -2, notVerified()},
        FailingCall{"TheLastAnswerAnotherNumber", "EVP_DigestVerifyFinal", 2, notVerified()}),
    CaseName{});

using VerificationCalls = Verification;

TEST_F(VerificationCalls, TheSecondNumberMayFailAlone)
{
    payloadIs(key().signedFile(payloadData(1000)));
    fakes::atOpensslCall("BN_bin2bn", [calls = 0]() mutable { return ++calls == 2; });
    fakes::ResourceWatch watch;
    expectRefusal({notSigned()});
    EXPECT_EQ(watch.held(), Lines{});
}

TEST_F(VerificationCalls, ComeInOneOrder)
{
    payloadIs(key().signedFile(payloadData(1000)));
    fakes::opensslCalls().clear();
    EXPECT_TRUE(verify());
    EXPECT_EQ(fakes::opensslCalls(),
              (Lines{"PEM_read_PUBKEY", "BIO_new", "i2d_PUBKEY_bio", "BIO_ctrl_pending", "BIO_read",
                     "d2i_PUBKEY", "EVP_MD_CTX_new", "EVP_sha512", "EVP_DigestVerifyInit",
                     "EVP_DigestVerifyUpdate", "ECDSA_SIG_new", "BN_bin2bn", "BN_bin2bn",
                     "ECDSA_SIG_set0", "i2d_ECDSA_SIG", "EVP_DigestVerifyFinal"}));
}

TEST_F(VerificationCalls, EndAfterTheKeyWhereTheFileIsTooShort)
{
    payloadIs(std::string(123, 'x'));
    fakes::opensslCalls().clear();
    fakes::ResourceWatch watch;
    expectRefusal({noSize()});
    EXPECT_EQ(fakes::opensslCalls(), (Lines{"PEM_read_PUBKEY", "BIO_new", "i2d_PUBKEY_bio",
                                            "BIO_ctrl_pending", "BIO_read", "d2i_PUBKEY"}));
    EXPECT_EQ(watch.held(), Lines{});
}

TEST_F(VerificationCalls, GiveEverythingBack)
{
    payloadIs(key().signedFile(payloadData(1000)));
    fakes::ResourceWatch watch;
    EXPECT_TRUE(verify());
    EXPECT_EQ(watch.taken(),
              (Lines{"PEM_read_PUBKEY", "BIO_new", "malloc", "d2i_PUBKEY", "EVP_MD_CTX_new", "new",
                     "ECDSA_SIG_new", "BN_bin2bn", "BN_bin2bn", "i2d_ECDSA_SIG"}));
    EXPECT_EQ(watch.held(), Lines{});
}

TEST_F(VerificationCalls, TakeOneBufferForAFileOfManyPieces)
{
    constexpr std::size_t tenMebibytes = 10 * mebibyte;
    payloadIs(payloadData(tenMebibytes));
    fakes::ResourceWatch watch;
    expectRefusal({notSigned()});
    EXPECT_EQ(fakes::digestedPieces().size(), 3U);
    EXPECT_EQ(std::ranges::count(watch.taken(), "new"), 1);
    EXPECT_EQ(watch.held(), Lines{});
}

TEST_F(VerificationCalls, GiveEverythingBackWhereTheAnswerIsNo)
{
    payloadIs(payloadData(1000) + std::string(signatureLength, 'x'));
    fakes::ResourceWatch watch;
    expectRefusal({notSigned()});
    EXPECT_EQ(watch.held(), Lines{});
}

} // namespace
