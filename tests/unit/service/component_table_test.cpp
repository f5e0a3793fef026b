#include "service/component_table.hpp"

#include <gtest/gtest.h>

namespace
{

class ComponentTable : public testing::Test
{
  protected:
    ComponentTable() { initialiseComponentTable(pbb, pdb, flop); }

    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;
};

void expectConstants(const CpldInventory& record, std::uint32_t componentId, int kindCode,
                     const std::string& nodeName, const std::string& name)
{
    EXPECT_EQ(record.componentId, componentId);
    EXPECT_EQ(static_cast<int>(record.kindCode), kindCode);
    EXPECT_EQ(record.nodeName, nodeName);
    EXPECT_EQ(record.deviceName, name);
    EXPECT_EQ(record.friendlyName, name);
}

void expectNothingRead(const CpldInventory& record)
{
    EXPECT_EQ(record.instanceCount.get(), 0U);
    EXPECT_EQ(record.installationDate, 0U);
    EXPECT_TRUE(record.currentVersions.empty());
    EXPECT_TRUE(record.fqdds.empty());
    EXPECT_TRUE(record.previousVersion.empty());
    EXPECT_TRUE(record.cpldVersions.empty());
    EXPECT_TRUE(record.previousVersions.empty());
    EXPECT_FALSE(record.inventoryReady);
    EXPECT_TRUE(record.sha256.empty());
}

TEST_F(ComponentTable, HoldsThePbb)
{
    expectConstants(pbb, 114678, 1, "PBB_PLD", "PBB_CPLD");
}

TEST_F(ComponentTable, HoldsThePdb)
{
    expectConstants(pdb, 114747, 2, "PDB_PLD", "PDB_CPLD");
}

TEST_F(ComponentTable, HoldsTheFlop)
{
    expectConstants(flop, 112102, 0, "FLOP", "FLOP_CPLD");
}

TEST_F(ComponentTable, TellsNothingThatHasToBeRead)
{
    expectNothingRead(pbb);
    expectNothingRead(pdb);
    expectNothingRead(flop);
}

TEST(ComponentKinds, AreFoundByCodeAndByComponentNumber)
{
    for (const ComponentKind& kind : componentKinds)
    {
        EXPECT_EQ(findKind(kind.code), &kind) << kind.name;
        EXPECT_EQ(findComponent(kind.componentId), &kind) << kind.name;
    }
}

TEST(ComponentKinds, AreNoOthers)
{
    EXPECT_EQ(findKind(KindCode{3}), nullptr);
    EXPECT_EQ(findComponent(0), nullptr);
    EXPECT_EQ(findComponent(4294967295), nullptr);
}

TEST(InstanceObjectPath, NamesNodeAndInstance)
{
    EXPECT_EQ(instanceObjectPath("PBB_PLD", InstanceIndex(0)),
              "/com/vexa/bevon/cpld_updater/PBB_PLD_1");
    EXPECT_EQ(instanceObjectPath("PDB_PLD", InstanceIndex(1)),
              "/com/vexa/bevon/cpld_updater/PDB_PLD_2");
    EXPECT_EQ(instanceObjectPath("FLOP", InstanceIndex(254)),
              "/com/vexa/bevon/cpld_updater/FLOP_255");
}

} // namespace
