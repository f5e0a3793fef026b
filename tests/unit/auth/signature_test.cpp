#include "auth/signature.hpp"

#include "auth/openssl_calls.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t fourGiB = 4294967296;

TEST(SignedSize, IsTheFileWithoutItsSignature)
{
    EXPECT_EQ(signedSize(96), 0U);
    EXPECT_EQ(signedSize(124), 28U);
    EXPECT_EQ(signedSize(220), 124U);
}

TEST(SignedSize, OfAFileTooShortForASignatureIsNone)
{
    EXPECT_EQ(signedSize(95), std::nullopt);
    EXPECT_EQ(signedSize(0), std::nullopt);
}

TEST(SignedSize, OfAnUnknownSizeIsNone)
{
    EXPECT_EQ(signedSize(-1), std::nullopt);
}

TEST(SignedSize, EndsWhere32BitsEnd)
{
    EXPECT_EQ(signedSize(fourGiB - 1), 4294967199U);
    EXPECT_EQ(signedSize(fourGiB), std::nullopt);
    EXPECT_EQ(signedSize(fourGiB + 200), std::nullopt);
    EXPECT_EQ(signedSize(std::numeric_limits<std::int64_t>::max()), std::nullopt);
}

class EncodedSignatureTest : public testing::Test
{
  protected:
    EncodedSignatureTest() { fakes::resetOpenssl(); }
    ~EncodedSignatureTest() override { fakes::resetOpenssl(); }

    Bytes encoded() const
    {
        const auto signature = encodeSignature(RawSignature(raw));
        return signature.bytes == nullptr
                   ? Bytes{}
                   : Bytes(signature.bytes.get(), signature.bytes.get() + signature.length);
    }

    /** r in the first 48 bytes, s in the others. */
    Bytes raw = Bytes(signatureSize, 0);
};

TEST_F(EncodedSignatureTest, HoldsRThenS)
{
    raw[47] = 0x11;
    raw[95] = 0x22;
    EXPECT_EQ(encoded(), (Bytes{0x30, 6, 0x02, 1, 0x11, 0x02, 1, 0x22}));
}

TEST_F(EncodedSignatureTest, ReadsTheNumbersBigEndian)
{
    raw[46] = 0x01;
    raw[47] = 0x02;
    raw[95] = 0x03;
    EXPECT_EQ(encoded(), (Bytes{0x30, 7, 0x02, 2, 0x01, 0x02, 0x02, 1, 0x03}));
}

TEST_F(EncodedSignatureTest, ReadsTheNumbersUnsigned)
{
    raw[47] = 0x80;
    raw[95] = 0xFF;
    EXPECT_EQ(encoded(), (Bytes{0x30, 8, 0x02, 2, 0x00, 0x80, 0x02, 2, 0x00, 0xFF}));
}

TEST_F(EncodedSignatureTest, TakesTheNumbersWhole)
{
    raw.assign(signatureSize, 0x7F);
    Bytes expected{0x30, 100, 0x02, 48};
    expected.insert(expected.end(), 48, 0x7F);
    expected.insert(expected.end(), {0x02, 48});
    expected.insert(expected.end(), 48, 0x7F);
    EXPECT_EQ(encoded(), expected);
}

TEST_F(EncodedSignatureTest, IsNothingWhereOpensslTakesTheNumbersNot)
{
    fakes::failOpensslCall("ECDSA_SIG_set0");
    EXPECT_EQ(encoded(), Bytes{});
}

TEST_F(EncodedSignatureTest, IsNothingWhereOpensslDoesNotEncode)
{
    fakes::failOpensslCall("i2d_ECDSA_SIG");
    EXPECT_EQ(encoded(), Bytes{});
}

} // namespace
