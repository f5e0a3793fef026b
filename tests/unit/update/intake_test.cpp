#include "service/update_request.hpp"
#include "service_on_bus.hpp"
#include "update/update_slot.hpp"

#include <sdbusplus/exception.hpp>

namespace
{

using fakes::errorLine;
using fakes::traceLine;

class Intake : public ServiceOnBus
{
  protected:
    Intake() { updateRequest() = {"last job", "CPLD.IOBay.1", "/last", 3, 112102}; }

    void TearDown() override
    {
        giveUpdateSlotBack();
        ServiceOnBus::TearDown();
    }

    static Log refused(const char* fqdd)
    {
        return {traceLine("Entering %s\n", "flop_update_handler"),
                errorLine("[%s]: Incorrect FQDD=%s\n", "flop_update_handler", fqdd)};
    }

    /** That the request names another device and transaction, and nothing else has changed. */
    static void expectStored(const char* fqdd, std::uint32_t transaction)
    {
        const auto& request = updateRequest();
        EXPECT_EQ(request.Fqdd, fqdd);
        EXPECT_EQ(request.TransactionId, transaction);
        EXPECT_EQ(request.JobId, "last job");
        EXPECT_EQ(request.PayloadPath, "/last");
        EXPECT_EQ(request.CompId, 112102U);
    }
};

TEST_F(Intake, OfAnUnknownFqddKeepsItAndItsTransaction)
{
    EXPECT_EQ(service.compFirmwareUpdate("nobody.1", 9), 1);
    EXPECT_EQ(fakes::platformLog(), refused("nobody.1"));
    EXPECT_EQ(fakes::journal(), Lines{}) << "it was reported";
    expectStored("nobody.1", 9);
}

TEST_F(Intake, OfADeviceThatIsNotThereKeepsItAndItsTransaction)
{
    EXPECT_EQ(service.compFirmwareUpdate("PDBCPLD.Embedded.1", 9), 1);
    EXPECT_EQ(fakes::platformLog(), refused("PDBCPLD.Embedded.1"));
    EXPECT_EQ(fakes::journal(), Lines{}) << "it was reported";
    expectStored("PDBCPLD.Embedded.1", 9);
}

TEST_F(Intake, OfANumberOutOfRangeKeepsItAndItsTransaction)
{
    EXPECT_THROW(service.compFirmwareUpdate("PDBCPLD.Embedded.2147483648", 9),
                 sdbusplus::exception::internal_exception);
    EXPECT_EQ(fakes::platformLog(), Log{traceLine("Entering %s\n", "flop_update_handler")});
    expectStored("PDBCPLD.Embedded.2147483648", 9);
}

TEST_F(Intake, OfABusyServiceStoresNothing)
{
    takeUpdateSlot();
    EXPECT_EQ(service.compFirmwareUpdate("nobody.1", 9), 1);
    expectStored("CPLD.IOBay.1", 3);
}

} // namespace
