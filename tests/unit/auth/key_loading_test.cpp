#include "auth/openssl_calls.hpp"
#include "auth/signing.hpp"
#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <openssl/x509.h>

namespace
{

using fakes::errorLine;

constexpr auto keyPath = "/etc/shared_keys/flop/K4/flop.pub";
constexpr auto function = "TavrinPemPubKeyToDer";

class KeyLoading : public ServiceTest
{
  protected:
    KeyLoading() { fakes::resetOpenssl(); }

    void TearDown() override
    {
        fakes::resetOpenssl();
        ServiceTest::TearDown();
    }

    static void keyFileHolds(std::string_view pem) { fakes::write(fakes::placeOf(keyPath), pem); }

    DerBuffer load() { return Tavrinupdate::TavrinPemPubKeyToDer(keyPath, length); }

    /** The key is refused with exactly this line, and the length is left alone. */
    void expectRefusal(const fakes::LogLine& line)
    {
        EXPECT_EQ(load(), nullptr);
        EXPECT_EQ(length, 4711U);
        EXPECT_EQ(fakes::platformLog(), Log{line});
    }

    std::size_t length = 4711;
};

TEST_F(KeyLoading, GivesTheDerOfTheKey)
{
    const auto key = SigningKey::onCurve("P-384");
    keyFileHolds(key.publicPem());
    const auto der = load();
    ASSERT_NE(der, nullptr);
    EXPECT_EQ(length, 120U);
    EXPECT_EQ(std::string(der.get(), der.get() + length), key.publicDer());
}

TEST_F(KeyLoading, TellsNothingOfASuccess)
{
    keyFileHolds(SigningKey::onCurve("P-384").publicPem());
    ASSERT_NE(load(), nullptr);
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(KeyLoading, TakesOtherKindsOfKeys)
{
    const auto small = SigningKey::onCurve("P-256");
    keyFileHolds(small.publicPem());
    ASSERT_NE(load(), nullptr);
    EXPECT_EQ(length, small.publicDerSize());

    const auto rsa = SigningKey::rsa();
    keyFileHolds(rsa.publicPem());
    ASSERT_NE(load(), nullptr);
    EXPECT_EQ(length, rsa.publicDerSize());
}

TEST_F(KeyLoading, TakesTheFirstOfSeveralKeys)
{
    keyFileHolds("a comment\n" + SigningKey::onCurve("P-384").publicPem() +
                 SigningKey::onCurve("P-256").publicPem());
    ASSERT_NE(load(), nullptr);
    EXPECT_EQ(length, 120U);
}

TEST_F(KeyLoading, AMissingFileIsToldWithItsPath)
{
    expectRefusal(errorLine("[%s] : Error opening PEM public key file: %s\n", function, keyPath));
}

TEST_F(KeyLoading, AnEmptyPathIsAMissingFile)
{
    EXPECT_EQ(Tavrinupdate::TavrinPemPubKeyToDer("", length), nullptr);
    EXPECT_EQ(fakes::platformLog(),
              Log{errorLine("[%s] : Error opening PEM public key file: %s\n", function, "")});
}

TEST_F(KeyLoading, AnEmptyFileIsNoKey)
{
    keyFileHolds("");
    expectRefusal(errorLine("[%s] : Error reading PEM public key: %s\n", function, keyPath));
}

TEST_F(KeyLoading, ADamagedKeyIsNoKey)
{
    auto pem = SigningKey::onCurve("P-384").publicPem();
    pem.erase(pem.size() / 2, 10);
    keyFileHolds(pem);
    expectRefusal(errorLine("[%s] : Error reading PEM public key: %s\n", function, keyPath));
}

TEST_F(KeyLoading, WithoutMemoryForTheOutputIsTold)
{
    keyFileHolds(SigningKey::onCurve("P-384").publicPem());
    fakes::failOpensslCall("BIO_new");
    expectRefusal(errorLine("[%s] : Error creating BIO for output\n", function));
}

TEST_F(KeyLoading, AKeyThatCannotBeEncodedIsTold)
{
    keyFileHolds(SigningKey::onCurve("P-384").publicPem());
    fakes::failOpensslCall("i2d_PUBKEY_bio");
    expectRefusal(errorLine("[%s] : Error writing DER-encoded public key\n", function));
}

TEST_F(KeyLoading, AKeyOfAnImpossibleSizeIsTold)
{
    keyFileHolds(SigningKey::onCurve("P-384").publicPem());
    fakes::failOpensslCall("BIO_ctrl_pending");
    expectRefusal(errorLine("[%s] : Invalid DER size (%zu) for BIO_read\n", function,
                            std::size_t{0x80000000}));
}

TEST_F(KeyLoading, ADerThatCannotBeReadIsTold)
{
    keyFileHolds(SigningKey::onCurve("P-384").publicPem());
    fakes::failOpensslCall("BIO_read");
    expectRefusal(errorLine("[%s] : Error reading DER buffer\n", function));
}

} // namespace
