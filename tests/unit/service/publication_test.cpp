#include "service/objects_test.hpp"

namespace
{

constexpr auto function = "registerObjectPaths_PopulateInventory";

/** How one instance comes: its base inventory waits for its values. */
std::vector<std::string> added(const std::string& name)
{
    return {name + " added 1", name + " added 2", name + " added 4", name + " added 4"};
}

std::vector<std::string> removed(const std::string& name)
{
    return {name + " removed 4", name + " removed 3", name + " removed 2", name + " removed 1"};
}

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts)
{
    std::vector<std::string> all;
    for (const auto& part : parts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

fakes::LogLine registered(const char* path, const char* node)
{
    return fakes::traceLine("[%s]: Registered object path %s for component %s\n", function, path,
                            node);
}

class Publication : public ObjectsTest
{
  protected:
    std::vector<std::string> paths() const
    {
        std::vector<std::string> all;
        for (const auto& entry : updater.registeredObjects)
        {
            all.push_back(entry.first);
        }
        return all;
    }

    /** The last line that the publication itself wrote. */
    static fakes::LogLine lastLine() { return fakes::platformLog().back(); }
};

TEST_F(Publication, AnswersForAllObjectsUntilTheirManagerIsReleased)
{
    const auto ask_for_objects = [this]
    {
        return ask(new_call("org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
                            "/com/vexa/bevon/cpld_updater"));
    };
    makeReady(updater.pbb, 1);
    publish();
    EXPECT_EQ(ask_for_objects().error_name(), "");
    updater.objectManager.reset();
    EXPECT_EQ(ask_for_objects().error_name(), "org.freedesktop.DBus.Error.UnknownObject");
}

TEST_F(Publication, AnnouncesTheInstancesInTheOrderOfTheTable)
{
    makeReady(updater.pbb, 1);
    makeReady(updater.pdb, 2);
    makeReady(updater.flop, 1);
    publish();
    EXPECT_EQ(news(), joined({added("PBB_PLD_1"), added("PDB_PLD_1"), added("PDB_PLD_2"),
                              added("FLOP_1")}));
}

TEST_F(Publication, LeavesOutAKindThatIsNotReady)
{
    makeReady(updater.pbb, 2);
    updater.pbb.inventoryReady = false;
    makeReady(updater.pdb, 2);
    publish();
    EXPECT_EQ(paths(), (Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_1",
                              "/com/vexa/bevon/cpld_updater/PDB_PLD_2"}));
    EXPECT_TRUE(updater.pbb.currentVersions.empty()) << "a record that is skipped was resized";
    EXPECT_EQ(lastLine(), registered("/com/vexa/bevon/cpld_updater/PDB_PLD_2", "PDB_PLD"));
}

TEST_F(Publication, OfFreshRecordsPublishesNothing)
{
    publish();
    EXPECT_EQ(paths(), Lines{});
    EXPECT_EQ(news(), Lines{});
    EXPECT_EQ(fakes::platformLog(), fakes::Log{});
    EXPECT_NE(updater.objectManager, nullptr);
}

TEST_F(Publication, NumbersTheInstancesOfAKindFromOne)
{
    makeReady(updater.pdb, 2);
    publish();
    EXPECT_EQ(objectsOf("PDB_PLD_1").registration->fqdd(), "PDBCPLD.Embedded.1");
    EXPECT_EQ(objectsOf("PDB_PLD_2").registration->fqdd(), "PDBCPLD.Embedded.2");
    EXPECT_EQ(objectsOf("PDB_PLD_2").registration->fwupdateObject(),
              "/com/vexa/bevon/cpld_updater/PDB_PLD_2");
    EXPECT_EQ(objectsOf("PDB_PLD_2").baseInventory->installedVersionString(), "2.0.0");
    EXPECT_EQ(objectsOf("PDB_PLD_2").inventory->installedVersionString(), "2.0.0");
    EXPECT_EQ(objectsOf("PDB_PLD_2").inventory->count(), 2U);
}

TEST_F(Publication, GivesEveryListAnEntryForEachInstance)
{
    makeReady(updater.flop, 3);
    updater.flop.currentVersions = {"one", "two"};
    updater.flop.cpldVersions = {"1.0.0"};
    updater.flop.previousVersions = {"old", "old", "old", "too many"};
    publish();
    EXPECT_EQ(updater.flop.currentVersions, (Lines{"one", "two", ""}));
    EXPECT_EQ(updater.flop.cpldVersions, (Lines{"1.0.0", "", ""}));
    EXPECT_EQ(updater.flop.previousVersions, (Lines{"old", "old", "old"}));
    EXPECT_EQ(objectsOf("FLOP_2").inventory->currentVersionString(), "two");
    EXPECT_EQ(objectsOf("FLOP_2").baseInventory->currentVersionString(), "");
    EXPECT_EQ(objectsOf("FLOP_3").inventory->installedVersionString(), "");
}

TEST_F(Publication, ShowsWhatTheSoftwareInventoryJustSaid)
{
    fakes::softwareInventory().sha256 = "abc";
    fakes::softwareInventory().changeValue = 0x1122334455667788;
    makeReady(updater.pbb, 1);
    publish();
    EXPECT_EQ(objectsOf("PBB_PLD_1").baseInventory->sha256String(), "abc");
    EXPECT_EQ(objectsOf("PBB_PLD_1").baseInventory->installationDate(), 0x1122334455667788U);
    EXPECT_EQ(objectsOf("PBB_PLD_1").inventory->installationDate(), 0U);
}

TEST_F(Publication, RunTwiceReplacesTheObjectsByFreshOnes)
{
    makeReady(updater.pbb, 1);
    makeReady(updater.flop, 1);
    publish();
    objectsOf("FLOP_1").inventory->updateStatus("Running");
    static_cast<void>(news());

    updater.flop.cpldVersions = {"9.9.9"};
    publish();
    EXPECT_EQ(news(), joined({removed("PBB_PLD_1"), added("PBB_PLD_1"), removed("FLOP_1"),
                              added("FLOP_1")}));
    EXPECT_EQ(paths(), (Lines{"/com/vexa/bevon/cpld_updater/FLOP_1",
                              "/com/vexa/bevon/cpld_updater/PBB_PLD_1"}));
    EXPECT_EQ(
        interfacesAt("/com/vexa/bevon/cpld_updater/FLOP_1"),
        (Lines{"com.vexa.bevon.inventory.TavrinInventory",
               "com.vexa.bevon.inventory.BaseSwInventory", "com.vexa.bevon.cmnupdate.comp_update",
               "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration"}));
    EXPECT_EQ(objectsOf("FLOP_1").inventory->installedVersionString(), "9.9.9");
    EXPECT_EQ(objectsOf("FLOP_1").inventory->updateStatus(), "NotStarted");
    EXPECT_EQ(lastLine(), registered("/com/vexa/bevon/cpld_updater/FLOP_1", "FLOP"));
}

TEST_F(Publication, EndsAtAListThatIsTooShortAndKeepsWhatIsThere)
{
    makeReady(updater.pbb, 2);
    makeReady(updater.flop, 1);
    updater.pbb.fqdds.pop_back();
    // What describes an instance to the software inventory would stop the process instead.
    fakes::softwareInventory().memoryExhausted = true;
    publish();
    EXPECT_EQ(paths(), Lines{"/com/vexa/bevon/cpld_updater/PBB_PLD_1"});
    const auto failure =
        fakes::errorLine("[%s]: Failed to register object paths: %s\n", function,
                         "vector::_M_range_check: __n (which is 1) >= this->size() (which is 1)");
    EXPECT_EQ(
        fakes::platformLog(),
        (fakes::Log{registered("/com/vexa/bevon/cpld_updater/PBB_PLD_1", "PBB_PLD"), failure}));
    EXPECT_EQ(fakes::contentOf(fakes::placeOf("/var/log/tavrinupdate.log")), "0 : " + failure.text);
    EXPECT_EQ(interfacesAt("/com/vexa/bevon/cpld_updater/PBB_PLD_2"), Lines{});
}

TEST_F(Publication, TheServiceObjectsOwnInterfacesAreAddedInTheOrderOfItsBases)
{
    // Introspection begins with what was added last.
    EXPECT_EQ(interfacesAt("/com/vexa/bevon/dummy"),
              (Lines{"com.vexa.bevon.inventory.TavrinInventory",
                     "com.vexa.bevon.inventory.BaseSwInventory",
                     "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration",
                     "com.vexa.bevon.cmnupdate.comp_update"}));
}

} // namespace
