#pragma once

#include "service/component_table.hpp"
#include "service_test.hpp"
#include "update/update_slot.hpp"
#include "update/worker.hpp"

/** The update of the second PDB, whose port the update's start has opened. */
class Worker : public ServiceTest
{
  protected:
    Worker()
    {
        CpldInventory pbb;
        CpldInventory flop;
        initialiseComponentTable(pbb, record, flop);
        job.component = record;
        job.request = {"job", "PDBCPLD.Embedded.2", "/payloads/fw.payload", 17, 114747};
        job.index = InstanceIndex(1);
        job.objectPath = "/com/vexa/bevon/cpld_updater/PDB_PLD_2";
        job.finished = finished;
        updateRequest() = job.request;
        fakes::sysinfo().nodes = {"/dev/fake-other", device.path()};
        takeUpdateSlot();
    }

    void TearDown() override
    {
        EXPECT_FALSE(updateRunning()) << "the service would never take another update";
        giveUpdateSlotBack();
        ServiceTest::TearDown();
    }

    void run() { FW_update(job); }

    static Lines programming()
    {
        return {"program PDB_PLD 1 from /payloads/fw.payload, module 352"};
    }

    Lines closing() const
    {
        return {opened(device), "write 04, read 1", "write 04 01, read 0", "write 04, read 1",
                closed(device)};
    }

    static std::string report(int status, int percentage)
    {
        return "report PDBCPLD.Embedded.2 status " + std::to_string(status) + ", transaction 17, " +
               std::to_string(percentage) + " %";
    }

    static Lines joined(std::initializer_list<Lines> parts)
    {
        Lines all;
        for (const auto& part : parts)
        {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    /** The worker's own lines, those of the port, the transfers and the reports left out. */
    static Log ownLog()
    {
        Log own;
        for (const auto& line : fakes::platformLog())
        {
            if (line.text.starts_with("[FW_update:"))
            {
                own.push_back(line);
            }
        }
        return own;
    }

    const char* function = "FW_update";
    ThreadTag tag{pthread_self()};

    fakes::LogLine entering() const
    {
        return fakes::traceLine("[%s:%s] : Thread function: Entering\n", function, tag.text());
    }
    fakes::LogLine calling() const
    {
        return fakes::traceLine("[%s:%s] : Calling library for %s\n", function, tag.text(),
                                "PDBCPLD.Embedded.2");
    }
    fakes::LogLine programmed() const
    {
        return fakes::traceLine("[%s:%s] : CPLD update Finished.....\n", function, tag.text());
    }
    fakes::LogLine success() const
    {
        return fakes::errorLine(
            "[%s:%s] : No Error codes received from CPLD library. Successfully updated %s\n",
            function, tag.text(), "PDB_PLD");
    }
    fakes::LogLine codes(int upd, int dup, int i2cdriver) const
    {
        return fakes::errorLine(
            "[%s:%s] : ***Error codes*** received from CPLD library: upd:%d dup:%d i2cdriver:%d\n",
            function, tag.text(), upd, dup, i2cdriver);
    }
    fakes::LogLine failed() const
    {
        return fakes::errorLine("[%s:%s] : Failed to update %s, Exiting\n", function, tag.text(),
                                "PDB_PLD");
    }
    fakes::LogLine portNotClosed() const
    {
        return fakes::errorLine("[%s:%s] : Failed to disable HARDIP on %s\n", function, tag.text(),
                                "PDB_PLD");
    }
    fakes::LogLine exception(const char* text) const
    {
        return fakes::errorLine("[%s:%s] : Exception: %s\n", function, tag.text(), text);
    }

    fakes::Cpld device{"/dev/fake-pdb-2"};
    /** The main thread's. */
    CpldInventory record;
    std::shared_ptr<FinishedJobs> finished = std::make_shared<FinishedJobs>();
    UpdateJob job;
};
