#include "inventory/software_record.hpp"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace
{

using Bytes = std::vector<std::uint8_t>;

class Record : public testing::Test
{
  protected:
    std::uint32_t numberAt(std::size_t offset) const
    {
        return std::accumulate(block.rend() - static_cast<std::ptrdiff_t>(offset + 4),
                               block.rend() - static_cast<std::ptrdiff_t>(offset), 0U,
                               [](std::uint32_t sum, std::uint8_t byte)
                               { return sum << 8U | byte; });
    }

    std::string textAt(std::size_t offset) const
    {
        return reinterpret_cast<const char*>(&block.at(offset)); // NOLINT: NUL-terminated there
    }

    Bytes block = Bytes(softwareRecordSize, 0xA5);
};

TEST_F(Record, BeginsAsAZeroedHeaderWithTheConstants)
{
    const SoftwareRecord record(block, 0x0001BFF6);
    Bytes expected(softwareRecordSize, 0);
    expected[0] = 109;
    expected[60] = 0xF6;
    expected[61] = 0xBF;
    expected[62] = 0x01;
    EXPECT_EQ(block, expected);
    EXPECT_EQ(record.size(), 109U);
    EXPECT_EQ(record.stringBytes(), 0U);
}

TEST_F(Record, PutsAStringBehindTheHeaderAndItsOffsetInTheField)
{
    SoftwareRecord record(block, 1);
    record.append(RecordField::displayName, "PBB_CPLD.1");
    EXPECT_EQ(numberAt(52), 109U);
    EXPECT_EQ(textAt(109), "PBB_CPLD.1");
    EXPECT_EQ(numberAt(0), 120U);
    EXPECT_EQ(record.size(), 120U);
    EXPECT_EQ(record.stringBytes(), 11U);
}

TEST_F(Record, PutsStringsOneAfterTheOther)
{
    SoftwareRecord record(block, 1);
    record.append(RecordField::cpldVersion, "1.2.3");
    record.append(RecordField::currentVersion, "1.2.4");
    record.append(RecordField::previousVersion, "1.2.2");
    record.append(RecordField::sha256, "ab");
    EXPECT_EQ(numberAt(48), 109U);
    EXPECT_EQ(numberAt(44), 115U);
    EXPECT_EQ(numberAt(40), 121U);
    EXPECT_EQ(numberAt(71), 127U);
    EXPECT_EQ(textAt(109), "1.2.3");
    EXPECT_EQ(textAt(115), "1.2.4");
    EXPECT_EQ(textAt(121), "1.2.2");
    EXPECT_EQ(textAt(127), "ab");
    EXPECT_EQ(numberAt(0), 130U);
}

TEST_F(Record, PointsIntoTheKeyBehindItsType)
{
    SoftwareRecord record(block, 1);
    record.appendKey("0x803||CPLD.IOBay.1");
    EXPECT_EQ(textAt(numberAt(20)), "0x803||CPLD.IOBay.1");
    EXPECT_EQ(textAt(numberAt(24)), "||CPLD.IOBay.1");
}

TEST_F(Record, HoldsTheChangeValueLittleEndian)
{
    SoftwareRecord record(block, 1);
    record.setChangeValue(0x0123456789ABCDEF);
    EXPECT_EQ((Bytes{block.begin() + 32, block.begin() + 40}),
              (Bytes{0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}));
}

TEST_F(Record, TakesAStringThatJustFits)
{
    SoftwareRecord record(block, 1);
    const std::string text(softwareRecordSize - 110, 'x');
    record.append(RecordField::sha256, text);
    EXPECT_EQ(numberAt(71), 109U);
    EXPECT_EQ(record.size(), softwareRecordSize);
    EXPECT_EQ(block.back(), 0);
}

TEST_F(Record, LeavesAStringOutThatDoesNotFit)
{
    SoftwareRecord record(block, 1);
    record.append(RecordField::sha256, std::string(softwareRecordSize - 109, 'x'));
    EXPECT_EQ(numberAt(71), 0U);
    EXPECT_EQ(numberAt(0), 109U);
    EXPECT_EQ(record.size(), 109U);
}

TEST(RecordKey, IsTypeAndFqdd)
{
    EXPECT_EQ(recordKey("PBBCPLD.Embedded.1"), "0x803||PBBCPLD.Embedded.1");
}

TEST(RecordKey, HoldsAnFqddOf21Characters)
{
    EXPECT_EQ(recordKey("123456789012345678901"), "0x803||123456789012345678901");
}

TEST(RecordKey, IsCutAt28Characters)
{
    EXPECT_EQ(recordKey("1234567890123456789012"), "0x803||123456789012345678901");
}

TEST(RecordDisplayName, IsBaseAndInstance)
{
    EXPECT_EQ(recordDisplayName("FLOP_CPLD", InstanceIndex(254)), "FLOP_CPLD.255");
}

TEST(RecordDisplayName, Holds48Characters)
{
    const std::string base(46, 'n');
    EXPECT_EQ(recordDisplayName(base, InstanceIndex(0)), base + ".1");
}

TEST(RecordDisplayName, IsCutAt48Characters)
{
    const std::string base(46, 'n');
    EXPECT_EQ(recordDisplayName(base, InstanceIndex(11)), base + ".1");
}

} // namespace
