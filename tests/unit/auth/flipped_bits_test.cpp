#include "auth/verification_test.hpp"

namespace
{

/** A small payload: the header, 16 bytes and the signature. */
class FlippedBits : public Verification
{
  protected:
    static constexpr std::size_t bodySize = 16;
    static constexpr std::size_t dataSize = payloadHeaderSize + bodySize;

    FlippedBits()
    {
        // The same key for every revision: the signature alone protects the revision code.
        fakes::write(fakes::placeOf(xKey), key().publicPem());
        fakes::write(fakes::placeOf(aKey), key().publicPem());
    }

    /** No bit from one offset up to another may be another one. */
    void expectEveryBitCounts(std::size_t begin, std::size_t end) const
    {
        constexpr int bits = 8;
        const auto good = key().signedFile(payloadData(dataSize));
        payloadIs(good);
        ASSERT_TRUE(verify());
        for (auto offset = begin; offset < end; ++offset)
        {
            for (int bit = 0; bit < bits; ++bit)
            {
                auto changed = good;
                changed[offset] = static_cast<char>(changed[offset] ^ (1 << bit));
                payloadIs(changed);
                fakes::clearPlatformLog();
                ASSERT_FALSE(verify()) << "bit " << bit << " of byte " << offset;
                ASSERT_EQ(fakes::platformLog(1), Log{notSigned()}) << bit << " " << offset;
            }
        }
    }

    static constexpr auto aKey = "/etc/shared_keys/i2cpld/K4/arev.pub";
};

TEST_F(FlippedBits, OfTheHeaderAreRefused)
{
    expectEveryBitCounts(0, payloadHeaderSize);
}

TEST_F(FlippedBits, OfTheBodyAreRefused)
{
    expectEveryBitCounts(payloadHeaderSize, dataSize);
}

TEST_F(FlippedBits, OfTheSignatureAreRefused)
{
    expectEveryBitCounts(dataSize, dataSize + signatureLength);
}

} // namespace
