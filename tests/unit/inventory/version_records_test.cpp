#include "inventory/version_records_test.hpp"

#include "case_name.hpp"

namespace
{

using fakes::errorLine;
using fakes::traceLine;

const std::string sha256(64, 'c');

TEST_F(VersionRecords, AskForTheComponentWithItsBuffers)
{
    askFor(1);
    const auto& library = fakes::softwareInventory();
    EXPECT_EQ(library.allocations, (std::vector<std::size_t>{4096}));
    EXPECT_EQ(library.componentId, 114747U);
    EXPECT_EQ(library.sizes, (std::vector<std::uint32_t>{32, 65, 0, 0}));
    EXPECT_TRUE(library.buffersWereZero);
    EXPECT_EQ(library.changeQuery, 1U);
}

TEST_F(VersionRecords, DescribeTheInstanceBeforeTheVersionsAreAskedFor)
{
    askFor(2);
    EXPECT_EQ(fakes::softwareInventory().recordAtVersions, description().bytes());
}

TEST_F(VersionRecords, TellEveryStep)
{
    auto& library = fakes::softwareInventory();
    library.current = "4.5.6";
    library.previous = "4.5.5";
    library.sha256 = sha256;
    library.changed = true;
    askFor(2);

    auto expected = describing();
    expected.insert(
        expected.end(),
        {answered("4.5.6", "4.5.5", sha256.c_str()),
         line("[%s]: successfully obtained available fw versions.\n"),
         traceLine("[%s]: successfully added current FW Ver to the %s.\n", function, "PDB_PLD"),
         line("[%s]: successfully added Previous FW Ver to the BSO.\n"),
         line("[%s]: successfully added SHA 256 to the BSO.\n"),
         traceLine("[%s]: %s Software Version changed for type [%s] index [%d]\n", function,
                   "PDB_PLD", "0x803", 2)});
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(VersionRecords, TellWhatIsMissing)
{
    askFor(2);
    auto expected = describing();
    expected.insert(
        expected.end(),
        {answered("", "", ""), line("[%s]: successfully obtained available fw versions.\n"),
         line("[%s]: No current FW Ver available.\n"),
         line("[%s]: No previous FW Ver available.\n"), line("[%s]: No SHA 256 available.\n"),
         traceLine("[%s]: No %s Software version change\n", function, "PDB_PLD")});
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(VersionRecords, AreGivenUpWithoutALeakWhenTheLibraryThrows)
{
    auto& library = fakes::softwareInventory();
    library.throws = true;
    askFor(2);
    auto expected = describing();
    expected.push_back(errorLine("[%s]: %s\n", function, "surprise"));
    EXPECT_EQ(fakes::platformLog(), expected);
    EXPECT_EQ(library.alive, 0U);
}

TEST_F(VersionRecords, KeepTheSha256)
{
    fakes::softwareInventory().sha256 = sha256;
    askFor(1);
    EXPECT_EQ(pdb.sha256, sha256);
}

TEST_F(VersionRecords, KeepAnEmptySha256)
{
    askFor(1);
    EXPECT_EQ(pdb.sha256, "");
}

TEST_F(VersionRecords, KeepANonZeroChangeValue)
{
    fakes::softwareInventory().changeValue = 0x0102030405060708;
    askFor(2);
    EXPECT_EQ(pdb.installationDate, 0x0102030405060708U);
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease,
              description().number(32, 0x0102030405060708).bytes());
}

TEST_F(VersionRecords, KeepTheChangeValueThoughNothingChanged)
{
    fakes::softwareInventory().changed = false;
    fakes::softwareInventory().changeValue = 5;
    askFor(1);
    EXPECT_EQ(pdb.installationDate, 5U);
}

TEST_F(VersionRecords, LeaveTheOldChangeValueWhereThereIsNone)
{
    pdb.installationDate = 77;
    fakes::softwareInventory().changed = true;
    askFor(2);
    EXPECT_EQ(pdb.installationDate, 77U);
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease, description().bytes());
}

TEST_F(VersionRecords, ThatTheLibraryRefusesAreLoggedAsErrors)
{
    fakes::softwareInventory().status = 42;
    askFor(2);
    auto expected = describing();
    expected.insert(
        expected.end(),
        {answered("", "", ""),
         errorLine("[%s]: SIPLGetAvailableVersions failed swiLibStatus %d\n", function, 42),
         errorLine("[%s]: could not get available fw versions.\n", function)});
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(VersionRecords, ThatTheLibraryRefusesChangeNothing)
{
    fakes::softwareInventory().status = 42;
    fakes::softwareInventory().changeValue = 5;
    askFor(2);
    EXPECT_EQ(pdb.sha256, "before");
    EXPECT_EQ(pdb.installationDate, 0U);
    EXPECT_TRUE(fakes::softwareInventory().recordAtChange.empty()) << "the change was asked for";
}

TEST_F(VersionRecords, WithoutMemoryEndQuietlyAndEmptyTheSha256)
{
    fakes::softwareInventory().memoryExhausted = true;
    askFor(1);
    EXPECT_EQ(pdb.sha256, "");
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(VersionRecords, TakeTextsThatFillTheirBuffersWithoutANul)
{
    fakes::softwareInventory().current = std::string(32, 'v');
    fakes::softwareInventory().sha256 = std::string(65, 'd');
    askFor(2);
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease,
              description().with(44, std::string(31, 'v')).with(71, std::string(64, 'd')).bytes());
    EXPECT_EQ(pdb.sha256, std::string(64, 'd'));
}

TEST_F(VersionRecords, CutALongKeyAndALongDisplayName)
{
    pdb.fqdds.at(1) = "1234567890123456789012345";
    pdb.deviceName = std::string(60, 'n');
    askFor(2);
    ExpectedRecord expected;
    expected.with(20, "0x803||123456789012345678901").number(24, 109 + 5);
    expected.with(52, std::string(48, 'n')).with(48, "4.5.6");
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease, expected.bytes());
}

using VersionRecordsDeathTest = VersionRecords;

TEST_F(VersionRecordsDeathTest, AnInstanceBeyondTheFqddsStopsTheProcess)
{
    EXPECT_DEATH(askFor(3), "out_of_range");
}

TEST_F(VersionRecordsDeathTest, AnInstanceBeyondTheVersionsStopsTheProcess)
{
    pdb.cpldVersions.pop_back();
    EXPECT_DEATH(askFor(2), "out_of_range");
}

TEST_F(VersionRecordsDeathTest, AnInstanceOfZeroStopsTheProcess)
{
    EXPECT_DEATH(askFor(0), "out_of_range");
}

struct Answer
{
    const char* name;
    const char* current;
    const char* previous;
    std::string digest;
};

class VersionRecordLayout : public VersionRecords, public testing::WithParamInterface<Answer>
{
  protected:
    /** Makes the library answer so, and adds to `record` what it must then hold. */
    static ExpectedRecord answer(ExpectedRecord record)
    {
        auto& library = fakes::softwareInventory();
        library.current = GetParam().current;
        library.previous = GetParam().previous;
        library.sha256 = GetParam().digest;
        for (const auto& [field, text] :
             {std::pair{44, library.current}, {40, library.previous}, {71, library.sha256}})
        {
            if (!text.empty())
            {
                record.with(static_cast<std::size_t>(field), text);
            }
        }
        return record;
    }
};

TEST_P(VersionRecordLayout, HoldsExactlyWhatTheLibraryKnows)
{
    const auto expected = answer(description());
    askFor(2);
    EXPECT_EQ(fakes::softwareInventory().recordAtChange, expected.bytes());
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease, expected.bytes());
}

TEST_P(VersionRecordLayout, IsTheSameBehindAKeyThatWasCutAndWithAChangeValue)
{
    pdb.fqdds.at(1) = "PDBCPLD.Embedded.Slot.12345";
    ExpectedRecord cut;
    cut.with(20, "0x803||PDBCPLD.Embedded.Slot").number(24, 109 + 5);
    cut.with(52, "PDB_CPLD.2").with(48, "4.5.6");
    auto expected = answer(cut);
    fakes::softwareInventory().changeValue = 0xF1F2F3F4F5F6F7F8;
    askFor(2);
    EXPECT_EQ(fakes::softwareInventory().recordAtChange, expected.bytes());
    expected.number(32, 0xF1F2F3F4F5F6F7F8);
    EXPECT_EQ(fakes::softwareInventory().recordAtRelease, expected.bytes());
}

INSTANTIATE_TEST_SUITE_P(Answers, VersionRecordLayout,
                         testing::Values(Answer{"Nothing", "", "", ""},
                                         Answer{"Current", "4.5.6", "", ""},
                                         Answer{"Previous", "", "4.5.5", ""},
                                         Answer{"Sha256", "", "", sha256},
                                         Answer{"CurrentAndPrevious", "4.5.6", "4.5.5", ""},
                                         Answer{"CurrentAndSha256", "4.5.6", "", sha256},
                                         Answer{"PreviousAndSha256", "", "4.5.5", sha256},
                                         Answer{"All", "4.5.6", "4.5.5", sha256}),
                         CaseName{});

} // namespace
