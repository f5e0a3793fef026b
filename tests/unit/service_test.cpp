#include "service_test.hpp"

#include "service/update_request.hpp"

ServiceTest::ServiceTest()
{
    fakes::clearJournal();
    fakes::clearPlatformLog();
    fakes::resetClock();
    fakes::resetPauses();
    fakes::resetFiles();
    fakes::coordinator() = {};
    fakes::holdLine() = {};
    fakes::platformIdentity() = {};
    fakes::programmingLibrary() = {};
    fakes::softwareInventory() = {};
    fakes::sysinfo() = {};
    updateRequest() = {};
}

void ServiceTest::TearDown()
{
    EXPECT_EQ(fakes::openDevices(), 0U) << "device nodes left open";
    EXPECT_EQ(fakes::coordinator().connections, 0U) << "bus connections left open";
    EXPECT_EQ(fakes::holdLine().alive, 0U) << "objects of the hardware abstraction left over";
    EXPECT_EQ(fakes::programmingLibrary().alive, 0U) << "programming runs left over";
    EXPECT_EQ(fakes::softwareInventory().alive, 0U) << "blocks of the platform left over";
}
