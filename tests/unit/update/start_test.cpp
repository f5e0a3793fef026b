#include "auth/signing.hpp"
#include "case_name.hpp"
#include "service/update_request.hpp"
#include "service_on_bus.hpp"
#include "update/event_calls.hpp"
#include "update/payload_finding.hpp"
#include "update/update_slot.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <new>

namespace
{

using fakes::errorLine;
using fakes::traceLine;

constexpr auto function = "TavrinUpdateStart";

/** The start of an update of the second PBB. */
class Start : public ServiceOnBus
{
  protected:
    Start()
    {
        fakes::foundPayload().reset();
        record.instanceCount.set(2);
        record.currentVersions.resize(2);
        updateRequest() = {"job", "PBBCPLD.Embedded.2", folder.string(), 17, 114678};
    }

    void TearDown() override
    {
        EXPECT_FALSE(updateRunning());
        fakes::foundPayload().reset();
        ServiceOnBus::TearDown();
    }

    void expectRefused(std::uint32_t index)
    {
        EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(index),
                                               "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
        EXPECT_EQ(fakes::journal(),
                  Lines{"report PBBCPLD.Embedded.2 status 18, transaction 17, 0 %"});
    }

    static fakes::LogLine begun()
    {
        const auto& request = updateRequest();
        return traceLine("[%s] : CompID: %d, PayloadPath: %s, fqdd: %s\n", function,
                         static_cast<int>(request.CompId), request.PayloadPath.c_str(),
                         request.Fqdd.c_str());
    }

    static fakes::LogLine deviceFound()
    {
        return traceLine("[%s]:count=%d str=%s device_name=%s", function, 2, "", "PBB_PLD");
    }

    static fakes::LogLine wrongFqdd()
    {
        return errorLine("[%s]: Incorrect FQDD: %s\n", function, "PBBCPLD.Embedded.2");
    }

    /** The lines before a refusal, its own, and those of its report. */
    static Log refusal(Log lines)
    {
        lines.push_back(traceLine("Updating the progress to cmnfwupd\n"));
        lines.push_back(traceLine("ActivationProgress %d in percent, status %d, FQDD %s\n", 0, 18,
                                  "PBBCPLD.Embedded.2"));
        return lines;
    }

    CpldInventory& record = service.pbb;
    std::filesystem::path folder = fakes::scratchFolder();
};

struct Device
{
    const char* name;
    std::uint32_t count;
    std::uint32_t index;
};

class StartOfNoDevice : public Start, public testing::WithParamInterface<Device>
{
};

TEST_P(StartOfNoDevice, IsRefusedWithOneReport)
{
    record.instanceCount.set(GetParam().count);
    record.currentVersions.resize(GetParam().count);
    const auto expected = refusal({begun(), wrongFqdd()});
    expectRefused(GetParam().index);
    EXPECT_EQ(fakes::platformLog(), expected);
}

INSTANTIATE_TEST_SUITE_P(Table, StartOfNoDevice,
                         testing::Values(Device{"NoneOfTheKind", 0, 0},
                                         Device{"NextToTheLast", 2, 2}, Device{"FarBeyond", 2, 256},
                                         Device{"LargestNumber", 255, 0x7FFFFFFE},
                                         Device{"AllOnes", 2, 0xFFFFFFFF}),
                         CaseName{});

TEST_F(Start, AComponentNumberIsCheckedBeforeTheDevice)
{
    updateRequest().CompId = 112103;
    const auto expected = refusal(
        {begun(),
         errorLine(
             "[%s] : Unable to start update. Component ID mismatch, expected %d, %d, or %d but it is: %d\n",
             function, 112102, 114678, 114747, 112103)});
    expectRefused(9);
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(Start, APayloadOfAnotherTypeIsRefusedWithOneReport)
{
    fakes::foundPayload() = "fw.v2.bin";
    const auto expected = refusal(
        {begun(), deviceFound(),
         errorLine("[%s] : Unable to start update. Unsupported file type: %s\n", function, "bin")});
    expectRefused(1);
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(Start, APayloadThatHasBecomeAPipeSinceTheListingIsRefusedWithOneReport)
{
    const auto path = folder / "fw.payload";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    fakes::foundPayload() = "fw.payload";
    expectRefused(1);
    EXPECT_EQ(fakes::platformLog(1).front(),
              errorLine("[%s] : Error opening file: %s\n", "verifySignature", path.c_str()));
}

TEST_F(Start, KeepsTheDirectoryOfAJobWithoutPayload)
{
    expectRefused(1);
    EXPECT_EQ(updateRequest().PayloadPath, folder.string());
}

TEST_F(Start, ReplacesTheDirectoryByThePayloadOnceItIsFound)
{
    fakes::write(folder / "fw.payload", "nobody signed this");
    expectRefused(1);
    EXPECT_EQ(updateRequest().PayloadPath, (folder / "fw.payload").string());
}

/** A signed payload and the device's inventory object: all that it takes to get to the port. */
class StartUpToThePort : public Start
{
  protected:
    StartUpToThePort()
    {
        const auto key = SigningKey::onCurve("P-384");
        fakes::write(fakes::placeOf("/etc/shared_keys/i2cpld/K4/default.pub"), key.publicPem());
        fakes::write(folder / "fw.payload", key.signedFile(payloadData(200)));
        auto& objects = service.registeredObjects["/com/vexa/bevon/cpld_updater/PBB_PLD_2"];
        objects.inventory = std::make_unique<TavrinInventoryIface>(
            *service.connection, "/com/vexa/bevon/cpld_updater/PBB_PLD_2", service);
        device = objects.inventory.get();
    }

    TavrinInventoryIface* device = nullptr;
};

TEST_F(StartUpToThePort, MarksTheDeviceOnceItIsReportedAndAgainWhenThePortDoesNotOpen)
{
    std::vector<bool> marks;
    fakes::coordinator().whenTold = [&] { marks.push_back(device->psuScanBlock()); };
    fakes::sysinfo().status = -1;
    fakes::sysinfo().whenAsked = [&]
    {
        marks.push_back(device->psuScanBlock());
        device->psuScanBlock(false);
    };
    EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(1),
                                           "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
    EXPECT_EQ(fakes::journal(),
              (Lines{"report PBBCPLD.Embedded.2 status 4, transaction 17, 0 %",
                     "report PBBCPLD.Embedded.2 status 18, transaction 17, 0 %"}));
    // At the first report, at the port, at the second report; then set again.
    EXPECT_EQ(marks, (std::vector<bool>{false, true, false}));
    EXPECT_TRUE(device->psuScanBlock());
}

TEST_F(StartUpToThePort, GoesOnWhereThereIsNoObjectToMark)
{
    service.registeredObjects.clear();
    fakes::sysinfo().status = -1;
    EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(1),
                                           "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
    EXPECT_EQ(fakes::journal(),
              (Lines{"report PBBCPLD.Embedded.2 status 4, transaction 17, 0 %",
                     "report PBBCPLD.Embedded.2 status 18, transaction 17, 0 %"}));
}

TEST_F(StartUpToThePort, IsReachedByADeviceThatWasNotThereAtThePublication)
{
    record.currentVersions = {"one"};
    fakes::sysinfo().status = -1;
    EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(1),
                                           "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
    EXPECT_EQ(fakes::sysinfo().asked.size(), 1U);
}

TEST_F(StartUpToThePort, WithoutAWorkerReportsTheRefusalEvenIfClosingThePortThrows)
{
    fakes::Cpld cpld("/dev/fake-second");
    fakes::sysinfo().nodes = {"/dev/fake-first", cpld.path()};
    fakes::eventCalls().noDescriptorLeft = true;
    fakes::sysinfo().whenAsked = []
    {
        if (fakes::sysinfo().asked.size() > 1)
        {
            throw std::bad_alloc();
        }
    };
    EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(1),
                                           "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
    fakes::eventCalls().noDescriptorLeft = false;
    EXPECT_EQ(fakes::journal().back(), "report PBBCPLD.Embedded.2 status 18, transaction 17, 0 %");
    const auto log = fakes::platformLog();
    EXPECT_EQ(
        std::ranges::count(log, errorLine("[%s] : Exception: %s\n", function, "std::bad_alloc")),
        1);
    EXPECT_EQ(std::ranges::count(
                  log, errorLine("[%s] : Failed to disable HARDIP on %s\n", function, "PBB_PLD")),
              1);
}

TEST_F(StartUpToThePort, TellsTheCurrentVersionOfThisDevice)
{
    record.currentVersions = {"one", "two"};
    fakes::sysinfo().status = -1;
    EXPECT_FALSE(service.TavrinUpdateStart(&record, InstanceIndex(1),
                                           "/com/vexa/bevon/cpld_updater/PBB_PLD_2"));
    Log told;
    for (const auto& line : fakes::platformLog())
    {
        if (line.text.find("count=") != std::string::npos ||
            line.text.find("Current CPLD Version") != std::string::npos)
        {
            told.push_back(line);
        }
    }
    EXPECT_EQ(told,
              (Log{traceLine("[%s]:count=%d str=%s device_name=%s", function, 2, "two", "PBB_PLD"),
                   traceLine("[%s] : Starting update on %s with Current CPLD Version: %s\n",
                             function, "PBB_PLD", "two")}));
}

} // namespace
