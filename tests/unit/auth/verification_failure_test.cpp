#include "auth/verification_test.hpp"

namespace
{

using fakes::errorLine;

TEST_F(Verification, OfAMissingFileIsToldWithItsPath)
{
    EXPECT_FALSE(verify());
    EXPECT_EQ(fakes::platformLog(),
              (Log{begun(), errorLine("[%s] : Error opening file: %s\n", function, path.c_str())}));
}

TEST_F(Verification, OfADirectoryEndsWithItsSize)
{
    std::filesystem::create_directory(path);
    expectRefusal({noSize()});
}

TEST_F(Verification, WithoutTheKeyFileFails)
{
    std::filesystem::remove(fakes::placeOf(defaultKey));
    payloadIs(key().signedFile(payloadData(1000)));
    expectRefusal({errorLine("[%s] : Error opening PEM public key file: %s\n",
                             "TavrinPemPubKeyToDer", defaultKey),
                   noDer()});
}

TEST_F(Verification, WithABrokenKeyFileFails)
{
    fakes::write(fakes::placeOf(defaultKey), "-----BEGIN PUBLIC KEY-----\nno key\n");
    payloadIs(key().signedFile(payloadData(1000)));
    expectRefusal(
        {errorLine("[%s] : Error reading PEM public key: %s\n", "TavrinPemPubKeyToDer", defaultKey),
         noDer()});
}

TEST_F(Verification, OfAnUnknownComponentHasNoKey)
{
    updateRequest().CompId = 7;
    payloadIs(key().signedFile(payloadData(1000)));
    EXPECT_FALSE(verify());
    EXPECT_EQ(fakes::platformLog(1),
              (Log{errorLine("[%s] : Error opening PEM public key file: %s\n",
                             "TavrinPemPubKeyToDer", ""),
                   noDer()}));
}

TEST_F(Verification, RefusesASmallerCurveBeforeItsSignatureIsLookedAt)
{
    const auto small = SigningKey::onCurve("P-256");
    ASSERT_EQ(small.publicDerSize(), 91U);
    fakes::write(fakes::placeOf(defaultKey), small.publicPem());
    payloadIs(small.signedFile(payloadData(1000)));
    expectRefusal({noDer()});
}

TEST_F(Verification, RefusesALargerCurveByTheSignature)
{
    fakes::write(fakes::placeOf(defaultKey), SigningKey::onCurve("P-521").publicPem());
    payloadIs(key().signedFile(payloadData(1000)));
    expectRefusal({notSigned()});
}

TEST_F(Verification, RefusesAnRsaKeyByTheSignature)
{
    fakes::write(fakes::placeOf(defaultKey), SigningKey::rsa().publicPem());
    payloadIs(key().signedFile(payloadData(1000)));
    expectRefusal({notSigned()});
}

TEST_F(Verification, RefusesAFileThatShrinksWhileItIsRead)
{
    payloadIs(key().signedFile(payloadData(mebibyte)));
    fakes::atOpensslCall("EVP_DigestVerifyInit",
                         [this]
                         {
                             std::filesystem::resize_file(path, mebibyte / 2);
                             return false;
                         });
    expectRefusal({error("[%s] : Error in reading payload's data\n")});
}

TEST_F(Verification, RefusesAFileWhoseSignatureShrinksWhileItIsRead)
{
    payloadIs(key().signedFile(payloadData(mebibyte)));
    fakes::atOpensslCall("EVP_DigestVerifyInit",
                         [this]
                         {
                             std::filesystem::resize_file(path, mebibyte + signatureLength - 1);
                             return false;
                         });
    expectRefusal({error("[%s] : Error in reading payload's signature\n")});
}

} // namespace
