#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <cerrno>

namespace
{

using fakes::errorLine;
using fakes::traceLine;

constexpr auto function = "readCpldVersion";

class VersionReading : public ServiceTest
{
  protected:
    VersionReading()
    {
        initialiseComponentTable(pbb, pdb, flop);
        fakes::sysinfo().nodes = {first.path(), second.path()};
        first[0x00] = 0x21;
        first[0x01] = 0x03;
        second[0x00] = 0xCB;
        second[0x01] = 0x0A;
        first[0x0C] = 0x5A;
        first[0x0D] = 0x3F;
    }

    /** The reader's own lines but for the one with the descriptor's number, which is the machine's.
     */
    static Log ownLog()
    {
        Log own;
        for (const auto& line : fakes::platformLog())
        {
            if (line.text.starts_with("[readCpldVersion]") &&
                line.format != "[%s] : %s[%d]'s fd:%d\n")
            {
                own.push_back(line);
            }
        }
        return own;
    }

    static fakes::LogLine started(const char* name)
    {
        return traceLine("[%s] : Inventory collection started for %s", function, name);
    }
    static fakes::LogLine counted(const char* name, int count)
    {
        return errorLine("[%s] : %s count %d\n", function, name, count);
    }
    static fakes::LogLine version(const char* name, int index, int major, int minor,
                                  int maintenance)
    {
        return errorLine("[%s] : %s[%d]: Maj-%d Min-%d Maint-%d\n", function, name, index, major,
                         minor, maintenance);
    }
    static fakes::LogLine finished(const char* name)
    {
        return traceLine("[%s] : Inventory collection successful for all %s", function, name);
    }

    fakes::Cpld first{"/dev/fake-1"};
    fakes::Cpld second{"/dev/fake-2"};
    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;
};

TEST_F(VersionReading, ReadsEveryInstanceInTurn)
{
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(fakes::journal(), (Lines{opened(first), "write 00, read 2", closed(first),
                                       opened(second), "write 00, read 2", closed(second)}));
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{62}));
}

TEST_F(VersionReading, KeepsVersionAndFqddOfEveryInstance)
{
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(pbb.instanceCount.get(), 2U);
    EXPECT_EQ(pbb.cpldVersions, (Lines{"1.2.3", "11.12.10"}));
    EXPECT_EQ(pbb.fqdds, (Lines{"PBBCPLD.Embedded.1", "PBBCPLD.Embedded.2"}));
    EXPECT_TRUE(pbb.inventoryReady);
}

TEST_F(VersionReading, TellsEveryStep)
{
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(ownLog(),
              (Log{started("PBB_PLD"), counted("PBB_PLD", 2), version("PBB_PLD", 0, 1, 2, 3),
                   version("PBB_PLD", 1, 11, 12, 10), finished("PBB_PLD")}));
}

TEST_F(VersionReading, TracesTheDescriptorOfAnInstance)
{
    fakes::sysinfo().nodes = {first.path()};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    const auto log = fakes::platformLog();
    ASSERT_EQ(log.size(), 7U);
    EXPECT_EQ(log[2].format, "[%s] : Open fd Success, fd:%d\n");
    const auto number = log[2].text.substr(log[2].text.rfind(':'));
    EXPECT_EQ(log[3].level, 4);
    EXPECT_EQ(log[3].text, "[readCpldVersion] : PBB_PLD[0]'s fd" + number);
    EXPECT_EQ(log[4].format, "[%s] : ioctl success: TA:0x%x, WL:%d, RL:%d\n");
}

TEST_F(VersionReading, OfAPdbUsesItsOwnNodesAndNames)
{
    fakes::sysinfo().nodes = {second.path()};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pdb));
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{44}));
    EXPECT_EQ(pdb.cpldVersions, Lines{"11.12.10"});
    EXPECT_EQ(pdb.fqdds, Lines{"PDBCPLD.Embedded.1"});
}

TEST_F(VersionReading, OfAFlopAsksForThePlatformFirstAndReadsByte12)
{
    fakes::sysinfo().nodes = {first.path()};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(flop));
    EXPECT_EQ(fakes::journal(), (Lines{"ask for the platform identity", opened(first),
                                       "write 0c, read 2", closed(first)}));
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{26}));
    EXPECT_EQ(flop.cpldVersions, Lines{"3.5.10"});
    EXPECT_EQ(flop.fqdds, Lines{"CPLD.IOBay.1"});
    EXPECT_EQ(ownLog(), (Log{started("FLOP"), counted("FLOP", 1), version("FLOP", 0, 3, 5, 10),
                             finished("FLOP")}));
}

TEST_F(VersionReading, OfAFlopOnAnUnknownPlatformIsToldAndDone)
{
    fakes::platformIdentity().standard = 0;
    fakes::sysinfo().nodes = {first.path()};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(flop));
    EXPECT_EQ(flop.cpldVersions, Lines{"3.5.10"});
    EXPECT_EQ(ownLog().front(), errorLine("[%s]: Inavlid Platform ID\n", function));
}

TEST_F(VersionReading, OfNoInstanceSucceeds)
{
    fakes::sysinfo().nodes = {};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pdb));
    EXPECT_TRUE(pdb.inventoryReady);
    EXPECT_EQ(pdb.cpldVersions, Lines{});
    EXPECT_EQ(ownLog(), (Log{started("PDB_PLD"), counted("PDB_PLD", 0), finished("PDB_PLD")}));
}

TEST_F(VersionReading, OfAKindWithoutANameReadsAndKeepsNothing)
{
    CpldInventory other;
    other.kindCode = KindCode{9};
    other.nodeName = "OTHER";
    fakes::sysinfo().nodes = {first.path()};
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(other));
    EXPECT_EQ(fakes::journal(), (Lines{opened(first), "write 00, read 2", closed(first)}));
    EXPECT_EQ(other.cpldVersions, Lines{});
    EXPECT_EQ(other.fqdds, Lines{});
    EXPECT_TRUE(other.inventoryReady);
}

TEST_F(VersionReading, AppendsToWhatTheRecordHolds)
{
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(pbb.cpldVersions, (Lines{"1.2.3", "11.12.10", "1.2.3", "11.12.10"}));
    EXPECT_EQ(pbb.fqdds, (Lines{"PBBCPLD.Embedded.1", "PBBCPLD.Embedded.2", "PBBCPLD.Embedded.1",
                                "PBBCPLD.Embedded.2"}));
}

TEST_F(VersionReading, WithoutDeviceNodesIsAFailure)
{
    fakes::sysinfo().status = -2;
    EXPECT_FALSE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_FALSE(pbb.inventoryReady);
    EXPECT_EQ(ownLog(),
              (Log{started("PBB_PLD"),
                   errorLine("[%s] : Failed to get sysinfo node for %s\n", function, "PBB_PLD")}));
}

TEST_F(VersionReading, OfANodeThatDoesNotOpenIsAFailure)
{
    fakes::sysinfo().nodes = {first.path(), "/dev/fake-missing"};
    EXPECT_FALSE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(
        ownLog(),
        (Log{started("PBB_PLD"), counted("PBB_PLD", 2), version("PBB_PLD", 0, 1, 2, 3),
             errorLine("[%s] : Failed to open %s[%d] for inventory\n", function, "PBB_PLD", 1)}));
}

TEST_F(VersionReading, ThatFailsAtTheSecondInstanceKeepsTheFirst)
{
    second.answerWith({EIO, EIO, EIO});
    EXPECT_FALSE(Tavrinupdate::readCpldVersion(pdb));
    EXPECT_EQ(pdb.cpldVersions, Lines{"1.2.3"});
    EXPECT_EQ(pdb.fqdds, Lines{"PDBCPLD.Embedded.1"});
    EXPECT_FALSE(pdb.inventoryReady);
    EXPECT_EQ(ownLog(),
              (Log{started("PDB_PLD"), counted("PDB_PLD", 2), version("PDB_PLD", 0, 1, 2, 3),
                   errorLine("[%s] : Failed to read %s[%d] version for inventory\n", function,
                             "PDB_PLD", 1)}));
}

TEST_F(VersionReading, ThatFailsDoesNotGoOnWithTheNextInstance)
{
    first.answerWith({EIO, EIO, EIO});
    EXPECT_FALSE(Tavrinupdate::readCpldVersion(pdb));
    EXPECT_EQ(fakes::journal().back(), closed(first));
    EXPECT_TRUE(second.requests().empty());
}

TEST_F(VersionReading, ThatFailsLeavesTheFlagOfAnEarlierOneSet)
{
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pdb));
    fakes::sysinfo().status = -1;
    EXPECT_FALSE(Tavrinupdate::readCpldVersion(pdb));
    EXPECT_TRUE(pdb.inventoryReady);
}

using VersionReadingDeathTest = VersionReading;

TEST_F(VersionReadingDeathTest, ACountBeyondTheNodesStopsTheProcess)
{
    fakes::sysinfo().nodes = {first.path()};
    fakes::sysinfo().claimedCount = 2;
    EXPECT_DEATH(static_cast<void>(Tavrinupdate::readCpldVersion(pbb)), "out_of_range");
}

TEST_F(VersionReading, TakesAsManyInstancesAsThereCanBe)
{
    fakes::sysinfo().nodes.assign(255, first.path());
    EXPECT_TRUE(Tavrinupdate::readCpldVersion(pbb));
    EXPECT_EQ(pbb.fqdds.size(), 255U);
    EXPECT_EQ(pbb.fqdds.back(), "PBBCPLD.Embedded.255");
}

} // namespace
