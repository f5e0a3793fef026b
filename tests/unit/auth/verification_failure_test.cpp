#include "auth/verification_test.hpp"

#include <fcntl.h>
#include <sys/stat.h>

namespace
{

using fakes::errorLine;

TEST_F(Verification, OfAMissingFileIsToldWithItsPath)
{
    expectNotOpened();
}

TEST_F(Verification, OfADirectoryIsThatOfAFileThatCannotBeOpened)
{
    std::filesystem::create_directory(path);
    expectNotOpened();
}

// An open that waited for somebody to write into it would wait for ever.
TEST_F(Verification, OfAPipeIsThatOfAFileThatCannotBeOpened)
{
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    expectNotOpened();
}

TEST_F(Verification, OfADeviceIsThatOfAFileThatCannotBeOpened)
{
    std::filesystem::create_symlink("/dev/zero", path);
    expectNotOpened();
}

TEST_F(Verification, HasNothingOpenThatAProgramStartedMeanwhileWouldInherit)
{
    payloadIs(key().signedFile(payloadData(1000)));
    Lines open;
    Lines inherited;
    fakes::atOpensslCall("PEM_read_PUBKEY",
                         [&]
                         {
                             for (int fd = 3; fd < 100; ++fd)
                             {
                                 std::error_code none;
                                 const auto name = std::filesystem::read_symlink(
                                     "/proc/self/fd/" + std::to_string(fd), none);
                                 if (name == path || name == fakes::placeOf(defaultKey))
                                 {
                                     open.push_back(name);
                                     if (::fcntl(fd, F_GETFD) != FD_CLOEXEC)
                                     {
                                         inherited.push_back(name);
                                     }
                                 }
                             }
                             return false;
                         });
    EXPECT_TRUE(verify());
    EXPECT_EQ(open.size(), 2U);
    EXPECT_EQ(inherited, Lines{});
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
