#include "auth/verification_test.hpp"

#include "case_name.hpp"

namespace
{

TEST_F(Verification, AcceptsWhatItsKeySigned)
{
    payloadIs(key().signedFile(payloadData(1000)));
    EXPECT_TRUE(verify());
    expectLog({accepted()});
}

TEST_F(Verification, ChoosesTheKeyByTheHeader)
{
    const auto other = SigningKey::onCurve("P-384");
    fakes::write(fakes::placeOf(xKey), other.publicPem());
    payloadIs(other.signedFile(payloadData(1000, 2)));
    EXPECT_TRUE(verify());
}

TEST_F(Verification, RefusesASignatureOfTheKeyOfAnotherRevision)
{
    fakes::write(fakes::placeOf(xKey), SigningKey::onCurve("P-384").publicPem());
    payloadIs(key().signedFile(payloadData(1000, 2)));
    EXPECT_FALSE(verify());
    EXPECT_EQ(fakes::platformLog().back(), notSigned());
}

TEST_F(Verification, RefusesASignatureOfAnotherFile)
{
    const auto other = key().signedFile(payloadData(999));
    payloadIs(payloadData(1000) + other.substr(other.size() - signatureLength));
    expectRefusal({notSigned()});
}

TEST_F(Verification, RefusesASignatureOverAnotherDigest)
{
    for (const auto* digest : {EVP_sha384(), EVP_sha256(), EVP_sha3_512()})
    {
        fakes::clearPlatformLog();
        payloadIs(key().signedFile(payloadData(1000), digest));
        expectRefusal({notSigned()});
    }
}

TEST_F(Verification, RefusesAZeroedSignature)
{
    payloadIs(payloadData(1000) + std::string(signatureLength, '\0'));
    expectRefusal({notSigned()});
}

TEST_F(Verification, RefusesBytesBehindTheSignature)
{
    payloadIs(key().signedFile(payloadData(1000)) + "x");
    expectRefusal({notSigned()});
}

class VerificationOfAChangedByte : public Verification,
                                   public testing::WithParamInterface<std::size_t>
{
};

TEST_P(VerificationOfAChangedByte, Refuses)
{
    auto content = key().signedFile(payloadData(1000));
    content.at(GetParam()) = static_cast<char>(content.at(GetParam()) ^ 0x40);
    payloadIs(content);
    expectRefusal({notSigned()});
}

INSTANTIATE_TEST_SUITE_P(Header, VerificationOfAChangedByte, testing::Values(0, 91, 123));
INSTANTIATE_TEST_SUITE_P(Body, VerificationOfAChangedByte, testing::Values(124, 500, 999));
INSTANTIATE_TEST_SUITE_P(R, VerificationOfAChangedByte, testing::Values(1000, 1047));
INSTANTIATE_TEST_SUITE_P(S, VerificationOfAChangedByte, testing::Values(1048, 1095));

/** A payload whose signature's number at an offset has a wanted first byte. */
std::string signedWith(const SigningKey& key, std::size_t numberOffset,
                       bool (*wanted)(std::uint8_t))
{
    constexpr int patience = 20000;
    const auto data = payloadData(300);
    for (int i = 0; i < patience; ++i)
    {
        auto content = key.signedFile(data);
        if (wanted(static_cast<std::uint8_t>(content.at(data.size() + numberOffset))))
        {
            return content;
        }
    }
    throw std::runtime_error("no such signature comes up");
}

constexpr std::size_t offsetOfR = 0;
constexpr std::size_t offsetOfS = 48;

TEST_F(Verification, TakesLeadingZeroesOfR)
{
    payloadIs(signedWith(key(), offsetOfR, [](std::uint8_t first) { return first == 0; }));
    EXPECT_TRUE(verify());
}

TEST_F(Verification, TakesLeadingZeroesOfS)
{
    payloadIs(signedWith(key(), offsetOfS, [](std::uint8_t first) { return first == 0; }));
    EXPECT_TRUE(verify());
}

TEST_F(Verification, TakesNumbersWithTheHighestBitSet)
{
    payloadIs(signedWith(key(), offsetOfR, [](std::uint8_t first) { return first >= 0x80; }));
    EXPECT_TRUE(verify());
    payloadIs(signedWith(key(), offsetOfS, [](std::uint8_t first) { return first >= 0x80; }));
    EXPECT_TRUE(verify());
}

struct FileOfSize
{
    const char* name;
    std::size_t size;
    std::vector<std::size_t> pieces;
};

class VerificationOfASize : public Verification, public testing::WithParamInterface<FileOfSize>
{
};

TEST_P(VerificationOfASize, DigestsAllButTheSignatureInPieces)
{
    const auto& [name, size, pieces] = GetParam();
    payloadIs(key().signedFile(payloadData(size - signatureLength)));
    ASSERT_EQ(std::filesystem::file_size(path), size);
    EXPECT_TRUE(verify());
    EXPECT_EQ(fakes::digestedPieces(), pieces);
}

constexpr std::size_t piece = 0x400000;
constexpr std::size_t tenMebibytes = 0xA00000;

INSTANTIATE_TEST_SUITE_P(
    Sizes, VerificationOfASize,
    testing::Values(
        FileOfSize{"ExactlyTheHeader", 124, {28}}, FileOfSize{"HeaderAndSignature", 220, {124}},
        FileOfSize{"OneByteBelowTheBuffer", piece - 1, {piece - 97}},
        FileOfSize{"TheBuffer", piece, {piece - 96}},
        FileOfSize{"TheBufferAndTheSignature", piece + 96, {piece}},
        FileOfSize{"OneByteBeyond", piece + 97, {piece, 1}},
        FileOfSize{"TenMebibytes", tenMebibytes, {piece, piece, tenMebibytes - 2 * piece - 96}}),
    CaseName{});

class VerificationOfAShortFile : public Verification,
                                 public testing::WithParamInterface<std::size_t>
{
};

TEST_P(VerificationOfAShortFile, EndsWithItsSizeAfterTheKeyWasLoaded)
{
    payloadIs(std::string(GetParam(), 'x'));
    expectRefusal({noSize()});
}

INSTANTIATE_TEST_SUITE_P(Sizes, VerificationOfAShortFile, testing::Values(0, 88, 96, 100, 123));

TEST_F(Verification, RefusesAFileOf4GiBByItsSize)
{
    payloadIs("");
    std::filesystem::resize_file(path, 4294967296);
    expectRefusal({noSize()});
    EXPECT_TRUE(fakes::digestedPieces().empty());
}

TEST_F(Verification, DoesNotTakeTheSizeOfALargeFileIn32Bits)
{
    payloadIs(key().signedFile(payloadData(1000)));
    std::filesystem::resize_file(path, 4294967296 + 1096);
    expectRefusal({noSize()});
}

} // namespace
