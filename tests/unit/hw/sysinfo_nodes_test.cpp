#include "hw/sysinfo_nodes.hpp"

#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <malloc.h>

#include <cstring>

namespace
{

/** How often the result that was handed out last was freed. */
int releases = 0;

} // namespace

// The program's own calls of free come here by the linker's help: see meson.build.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names
extern "C" void __real_free(void* block);

extern "C" void __wrap_free(void* block)
{
    if (block != nullptr && block == fakes::sysinfo().handedOut)
    {
        ++releases;
        std::memset(block, 0, ::malloc_usable_size(block)); // what is read later is not there
    }
    __real_free(block);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace
{

TEST(NodeTypeCode, BelongsToTheKind)
{
    EXPECT_EQ(nodeTypeCode(KindCode::flop), 26U);
    EXPECT_EQ(nodeTypeCode(KindCode::pbb), 62U);
    EXPECT_EQ(nodeTypeCode(KindCode::pdb), 44U);
}

TEST(NodeTypeCode, OfACodeThatNamesNoKindIs165)
{
    EXPECT_EQ(nodeTypeCode(KindCode{3}), 165U);
    EXPECT_EQ(nodeTypeCode(KindCode{255}), 165U);
}

class SysinfoNodes : public ServiceTest
{
  protected:
    SysinfoNodes()
    {
        record.kindCode = KindCode::pdb;
        record.nodeName = "PDB_PLD";
        record.instanceCount.set(7);
    }

    CpldInventory record;
    std::vector<std::string> nodes;
};

TEST_F(SysinfoNodes, AreAskedForByTheKindsCode)
{
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{44}));
}

TEST_F(SysinfoNodes, ComeInTheOrderOfTheDescription)
{
    fakes::sysinfo().nodes = {"/dev/i2c-7", "/dev/i2c-3", "/dev/i2c-5"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(nodes, (Lines{"/dev/i2c-7", "/dev/i2c-3", "/dev/i2c-5"}));
    EXPECT_EQ(record.instanceCount.get(), 3U);
}

TEST_F(SysinfoNodes, AreCountedInTheRecordThoughACopyIsAskedFor)
{
    CpldInventory copy = record;
    fakes::sysinfo().nodes = {"/dev/i2c-7", "/dev/i2c-3"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(copy, nodes), 0);
    EXPECT_EQ(record.instanceCount.get(), 2U);
}

TEST_F(SysinfoNodes, AreAppendedToTheList)
{
    nodes = {"/dev/i2c-1"};
    fakes::sysinfo().nodes = {"/dev/i2c-7"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(nodes, (Lines{"/dev/i2c-1", "/dev/i2c-7"}));
}

TEST_F(SysinfoNodes, MayBeNone)
{
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(nodes, Lines{});
    EXPECT_EQ(record.instanceCount.get(), 0U);
}

TEST_F(SysinfoNodes, AreListedWithoutALogLine)
{
    fakes::sysinfo().nodes = {"/dev/i2c-7"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(SysinfoNodes, AFailureChangesNeitherCountNorList)
{
    fakes::sysinfo().status = -5;
    fakes::sysinfo().nodes = {"/dev/i2c-7"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), -5);
    EXPECT_EQ(record.instanceCount.get(), 7U);
    EXPECT_EQ(nodes, Lines{});
}

TEST_F(SysinfoNodes, AFailureIsLoggedWithItsStatus)
{
    fakes::sysinfo().status = 3;
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 3);
    EXPECT_EQ(fakes::platformLog(),
              Log{fakes::errorLine("[%s] : sysinfo parse failed for %s, Error: %d\n",
                                   "getSysinfoNodes", "PDB_PLD", 3)});
}

TEST_F(SysinfoNodes, TheDescriptionsCountIsKeptAsGivenWhereTheListIsShorter)
{
    fakes::sysinfo().nodes = {"/dev/i2c-7"};
    fakes::sysinfo().claimedCount = 2;
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(record.instanceCount.get(), 2U);
    EXPECT_EQ(nodes, Lines{"/dev/i2c-7"});
}

TEST_F(SysinfoNodes, ACountOf255IsTaken)
{
    fakes::sysinfo().claimedCount = 255;
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(record.instanceCount.get(), 255U);
}

TEST_F(SysinfoNodes, AreCopiedBeforeTheResultIsFreed)
{
    fakes::sysinfo().nodes = {"/dev/i2c-7"};
    releases = 0;
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(nodes, Lines{"/dev/i2c-7"});
}

TEST_F(SysinfoNodes, AreFreedWhereTheyAreTooMany)
{
    fakes::sysinfo().claimedCount = 256;
    releases = 0;
    EXPECT_NE(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(releases, 1);
}

TEST_F(SysinfoNodes, AreListedAllWhereTheCountIsSmaller)
{
    fakes::sysinfo().nodes = {"/dev/i2c-7", "/dev/i2c-3"};
    fakes::sysinfo().claimedCount = 1;
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(record.instanceCount.get(), 1U);
    EXPECT_EQ(nodes, (Lines{"/dev/i2c-7", "/dev/i2c-3"}));
}

TEST_F(SysinfoNodes, HaveNamesOfAnyLengthThatFits)
{
    const std::string longest = "/dev/" + std::string(58, 'x');
    fakes::sysinfo().nodes = {longest, ""};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(nodes, (Lines{longest, ""}));
}

TEST_F(SysinfoNodes, HaveNamesThatFillTheirEntryAndEndThere)
{
    const std::string full = "/dev/" + std::string(59, 'x');
    fakes::sysinfo().nodes = {full, "/dev/i2c-2"};
    EXPECT_EQ(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(nodes, (Lines{full, "/dev/i2c-2"}));
}

TEST_F(SysinfoNodes, CountsThatEightBitsCannotHoldAreRefused)
{
    for (const std::uint32_t count : {256U, 257U, 65536U, 4294967295U})
    {
        fakes::clearPlatformLog();
        fakes::sysinfo().nodes = {"/dev/i2c-7"};
        fakes::sysinfo().claimedCount = count;
        EXPECT_NE(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
        EXPECT_EQ(record.instanceCount.get(), 7U);
        EXPECT_EQ(nodes, Lines{});
        EXPECT_EQ(fakes::platformLog(),
                  Log{fakes::errorLine("[%s] : %s has %u instances, at most %u are supported\n",
                                       "getSysinfoNodes", "PDB_PLD", count, 255U)});
    }
}

TEST_F(SysinfoNodes, AMissingResultIsAFailure)
{
    fakes::sysinfo().forgetsTheResult = true;
    EXPECT_NE(Tavrinupdate::getSysinfoNodes(record, nodes), 0);
    EXPECT_EQ(record.instanceCount.get(), 7U);
    EXPECT_EQ(fakes::platformLog(),
              Log{fakes::errorLine("[%s] : sysinfo parse gave no result for %s\n",
                                   "getSysinfoNodes", "PDB_PLD")});
}

} // namespace
