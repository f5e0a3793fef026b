#include "auth/verification_test.hpp"
#include "case_name.hpp"

#include <sys/stat.h>

namespace
{

using fakes::errorLine;

/** Something in the place of the key file, and the line of its loading, if any. */
struct KeyFile
{
    const char* name;
    void (*put)(const std::filesystem::path& place, const SigningKey& key);
    fakes::Log lines{};
};

fakes::Log notOpened()
{
    return {errorLine("[%s] : Error opening PEM public key file: %s\n", "TavrinPemPubKeyToDer",
                      "/etc/shared_keys/i2cpld/K4/default.pub")};
}

fakes::Log notRead()
{
    return {errorLine("[%s] : Error reading PEM public key: %s\n", "TavrinPemPubKeyToDer",
                      "/etc/shared_keys/i2cpld/K4/default.pub")};
}

std::string between(const std::string& begin, const std::string& pem, const std::string& end)
{
    const auto first = pem.find('\n') + 1;
    return begin + pem.substr(first, pem.rfind("-----END") - first) + end;
}

std::string withCarriageReturns(const std::string& text)
{
    std::string changed;
    for (const char character : text)
    {
        changed += character == '\n' ? std::string("\r\n") : std::string(1, character);
    }
    return changed;
}

/** A payload that the key has signed, whatever its key file is. */
class VerificationWithAKeyFile : public Verification, public testing::WithParamInterface<KeyFile>
{
  protected:
    VerificationWithAKeyFile()
    {
        std::filesystem::remove(fakes::placeOf(defaultKey));
        GetParam().put(fakes::placeOf(defaultKey), key());
        payloadIs(key().signedFile(payloadData(1000)));
    }
};

class UselessKeyFile : public VerificationWithAKeyFile
{
};

TEST_P(UselessKeyFile, RefusesEveryPayload)
{
    auto lines = GetParam().lines;
    lines.push_back(noDer());
    expectRefusal(lines);
    EXPECT_TRUE(fakes::digestedPieces().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Table, UselessKeyFile,
    testing::Values(
        KeyFile{"Missing", [](const auto&, const auto&) {}, notOpened()},
        KeyFile{"LinkToNothing",
                [](const auto& place, const auto&)
                { std::filesystem::create_symlink("missing.pub", place); },
                notOpened()},
        // Cannot be opened by anybody, whatever its rights.
        KeyFile{"LinkToItself",
                [](const auto& place, const auto&)
                { std::filesystem::create_symlink(place.filename(), place); },
                notOpened()},
        KeyFile{"Directory",
                [](const auto& place, const auto&) { std::filesystem::create_directory(place); },
                notRead()},
        // Into which nobody writes.
        KeyFile{"Pipe", [](const auto& place, const auto&) { ::mkfifo(place.c_str(), 0600); },
                notRead()},
        KeyFile{"Empty", [](const auto& place, const auto&) { fakes::write(place, ""); },
                notRead()},
        KeyFile{"Text", [](const auto& place, const auto&) { fakes::write(place, "no key\n"); },
                notRead()},
        KeyFile{"Der",
                [](const auto& place, const auto& key) { fakes::write(place, key.publicDer()); },
                notRead()},
        KeyFile{"WithoutItsEnd",
                [](const auto& place, const auto& key)
                {
                    const auto pem = key.publicPem();
                    fakes::write(place, pem.substr(0, pem.rfind("-----END")));
                },
                notRead()},
        KeyFile{"WithAByteLost",
                [](const auto& place, const auto& key)
                {
                    auto pem = key.publicPem();
                    fakes::write(place, pem.erase(100, 4));
                },
                notRead()},
        KeyFile{"PrivateKey",
                [](const auto& place, const auto& key) { fakes::write(place, key.privatePem()); },
                notRead()},
        KeyFile{"Certificate",
                [](const auto& place, const auto& key)
                { fakes::write(place, key.certificatePem()); },
                notRead()},
        KeyFile{"PublicKeyUnderAnotherName",
                [](const auto& place, const auto& key)
                {
                    fakes::write(place, between("-----BEGIN PUBLIC THING-----\n", key.publicPem(),
                                                "-----END PUBLIC THING-----\n"));
                },
                notRead()},
        KeyFile{"SmallerCurve", [](const auto& place, const auto&)
                { fakes::write(place, SigningKey::onCurve("P-256").publicPem()); }},
        // 72 bytes in DER.
        KeyFile{"CompressedPoint", [](const auto& place, const auto& key)
                { fakes::write(place, key.compressedPublicPem()); }},
        KeyFile{"EdwardsCurve", [](const auto& place, const auto&)
                { fakes::write(place, SigningKey::ofKind("ED25519").publicPem()); }}),
    CaseName{});

class OtherKeyFile : public VerificationWithAKeyFile
{
};

TEST_P(OtherKeyFile, RefusesThePayloadByItsSignature)
{
    expectRefusal({notSigned()});
    EXPECT_EQ(fakes::digestedPieces(), (std::vector<std::size_t>{1000}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, OtherKeyFile,
    testing::Values(KeyFile{"AnotherKey", [](const auto& place, const auto&)
                            { fakes::write(place, SigningKey::onCurve("P-384").publicPem()); }},
                    KeyFile{"LargerCurve", [](const auto& place, const auto&)
                            { fakes::write(place, SigningKey::onCurve("P-521").publicPem()); }},
                    KeyFile{"AnotherCurveOfTheSize",
                            [](const auto& place, const auto&) {
                                fakes::write(place,
                                             SigningKey::onCurve("brainpoolP384r1").publicPem());
                            }},
                    KeyFile{"Rsa", [](const auto& place, const auto&)
                            { fakes::write(place, SigningKey::rsa().publicPem()); }}),
    CaseName{});

/** A key that is none for a payload, but long enough in DER to be taken for one. */
struct UnusualKey
{
    const char* name;
    SigningKey (*make)();
};

class UnusualKeyFile : public Verification, public testing::WithParamInterface<UnusualKey>
{
};

// Nothing but the length is asked of a key: who may write key files decides what is programmed.
TEST_P(UnusualKeyFile, AcceptsWhatItsOwnKeySigned)
{
    const auto own = GetParam().make();
    fakes::write(fakes::placeOf(defaultKey), own.publicPem());
    payloadIs(own.signedFile(payloadData(1000)));
    EXPECT_TRUE(verify());
    expectLog({accepted()});
}

INSTANTIATE_TEST_SUITE_P(
    Table, UnusualKeyFile,
    testing::Values(
        // 96 bytes in DER, as short as a key may be.
        UnusualKey{"BinaryCurve", [] { return SigningKey::onCurve("sect283k1"); }},
        UnusualKey{"Brainpool320", [] { return SigningKey::onCurve("brainpoolP320r1"); }},
        UnusualKey{"Brainpool384", [] { return SigningKey::onCurve("brainpoolP384r1"); }},
        UnusualKey{"CurveOf112BitsInNumbers",
                   [] { return SigningKey::onCurve("secp112r1").withExplicitParameters(); }},
        UnusualKey{"P384InNumbers",
                   [] { return SigningKey::onCurve("P-384").withExplicitParameters(); }},
        UnusualKey{"Dsa", [] { return SigningKey::dsa(); }}),
    CaseName{});

class GoodKeyFile : public VerificationWithAKeyFile
{
};

TEST_P(GoodKeyFile, AcceptsThePayload)
{
    EXPECT_TRUE(verify());
    expectLog({accepted()});
}

INSTANTIATE_TEST_SUITE_P(
    Table, GoodKeyFile,
    testing::Values(KeyFile{"Plain", [](const auto& place, const auto& key)
                            { fakes::write(place, key.publicPem()); }},
                    KeyFile{"BehindALink",
                            [](const auto& place, const auto& key)
                            {
                                fakes::write(place.parent_path() / "real.pub", key.publicPem());
                                std::filesystem::create_symlink("real.pub", place);
                            }},
                    KeyFile{"WithTextAround", [](const auto& place, const auto& key)
                            { fakes::write(place, "of the board\n" + key.publicPem() + "end\n"); }},
                    KeyFile{"WithCarriageReturns", [](const auto& place, const auto& key)
                            { fakes::write(place, withCarriageReturns(key.publicPem())); }}),
    CaseName{});

} // namespace
