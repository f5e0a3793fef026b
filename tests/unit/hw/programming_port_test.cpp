#include "hw/programming_port.hpp"

#include "service/component_table.hpp"
#include "service/update_request.hpp"
#include "service_test.hpp"

namespace
{

TEST(LockRegisterValue, OpensByClearingTheLockBitOnly)
{
    EXPECT_EQ(lockRegisterValue(0x03, true), 0x02);
    EXPECT_EQ(lockRegisterValue(0xFF, true), 0xFE);
    EXPECT_EQ(lockRegisterValue(0x02, true), 0x02);
}

TEST(LockRegisterValue, LocksBySettingTheLockBitOnly)
{
    EXPECT_EQ(lockRegisterValue(0x00, false), 0x01);
    EXPECT_EQ(lockRegisterValue(0xA2, false), 0xA3);
    EXPECT_EQ(lockRegisterValue(0x01, false), 0x01);
}

TEST(EnableRegisterValue, OpensBySettingTheEnableBitOnly)
{
    EXPECT_EQ(enableRegisterValue(0x40, true), 0x41);
    EXPECT_EQ(enableRegisterValue(0x01, true), 0x01);
}

TEST(EnableRegisterValue, ClosesByClearingTheWholeByte)
{
    EXPECT_EQ(enableRegisterValue(0xFF, false), 0x00);
    EXPECT_EQ(enableRegisterValue(0x40, false), 0x00);
}

TEST(EarlyFlopFirmware, EndsWithVersion005)
{
    EXPECT_TRUE(mayUseByte3({0, 0, 0}));
    EXPECT_TRUE(mayUseByte3({0, 0, 5}));
    EXPECT_FALSE(mayUseByte3({0, 0, 6}));
    EXPECT_FALSE(mayUseByte3({0, 1, 0}));
    EXPECT_FALSE(mayUseByte3({1, 0, 0}));
}

TEST(EnableFlag, CountsByItsLowestBit)
{
    EXPECT_FALSE(bit0(0x00));
    EXPECT_TRUE(bit0(0x01));
    EXPECT_FALSE(bit0(0xFE));
    EXPECT_TRUE(bit0(0x03));
}

/** The component number of the job decides, not the record's kind: a PDB record in every test. */
class ProgrammingPortSwitch : public ServiceTest
{
  protected:
    ProgrammingPortSwitch()
    {
        initialiseComponentTable(pbb, record, flop);
        fakes::sysinfo().nodes = {device.path()};
        device[0x04] = 0x01;
        // Late firmware, so that no identity is asked for.
        device[0x0D] = 0x10;
    }

    bool enableFor(std::uint32_t componentId)
    {
        updateRequest().CompId = componentId;
        return enable_disable_programingNode(InstanceIndex(0), 1, record);
    }

    fakes::Cpld device{"/dev/fake-cpld"};
    CpldInventory pbb;
    CpldInventory record;
    CpldInventory flop;
};

TEST_F(ProgrammingPortSwitch, TakesTheLockOfAPbb)
{
    EXPECT_TRUE(enableFor(114678));
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 00, read 0",
                                       "write 04, read 1", closed(device)}));
}

TEST_F(ProgrammingPortSwitch, TakesTheLockOfAPdb)
{
    EXPECT_TRUE(enableFor(114747));
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 00, read 0",
                                       "write 04, read 1", closed(device)}));
}

TEST_F(ProgrammingPortSwitch, TakesTheEnableBitOfAFlop)
{
    EXPECT_TRUE(enableFor(112102));
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 0c, read 2", "write 08, read 1",
                                       "write 08 01, read 0", "write 08, read 1", closed(device)}));
}

TEST_F(ProgrammingPortSwitch, PassesAFailureOn)
{
    fakes::sysinfo().status = -1;
    EXPECT_FALSE(enableFor(112102));
    EXPECT_FALSE(enableFor(114678));
    EXPECT_FALSE(enableFor(114747));
}

TEST_F(ProgrammingPortSwitch, SucceedsForAnUnknownNumberWithoutTouchingAnything)
{
    EXPECT_TRUE(enableFor(0));
    EXPECT_TRUE(enableFor(112103));
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::platformLog(), Log{});
    EXPECT_TRUE(fakes::sysinfo().asked.empty());
}

} // namespace
