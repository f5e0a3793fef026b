#include "hw/port_test.hpp"

namespace
{

using fakes::errorLine;
using fakes::traceLine;

constexpr std::uint8_t lockRegister = 0x04;

class PbbPdbPort : public PortTest
{
  protected:
    PbbPdbPort() : PortTest("enable_disable_programingNode_for_pbb_pdb") {}

    bool enable(std::uint8_t flag = 1)
    {
        return enable_disable_programingNode_for_pbb_pdb(InstanceIndex(1), flag, pbb);
    }
    bool disable(std::uint8_t flag = 0)
    {
        return enable_disable_programingNode_for_pbb_pdb(InstanceIndex(1), flag, pbb);
    }

    fakes::LogLine entering() const { return trace("[%s] : Entering\n"); }
    fakes::LogLine counted() const
    {
        return errorLine("[%s] : %s count %d\n", function, "PBB_PLD", 2);
    }
    fakes::LogLine before(unsigned value) const
    {
        return traceLine("[%s] : Before Setting: HIP_SW_EN register value : 0x%x\n", function,
                         value);
    }
    fakes::LogLine after(unsigned value) const
    {
        return traceLine("[%s] : After setting: HIP_SW_EN register value : 0x%x\n", function,
                         value);
    }
    fakes::LogLine cleared() const
    {
        return traceLine("[%s] : %s CPLD_LOCK_I2C_PLDFW BIT CLEARED : HARDIP enabled \n", function,
                         "PBB_PLD");
    }
    fakes::LogLine exiting() const { return trace("[%s] : Exiting properly\n"); }
    fakes::LogLine unreadable() const
    {
        return error("[%s] : I2CError: Unable to read HIP_SW_EN register value\n");
    }
};

TEST_F(PbbPdbPort, OpensByClearingTheLock)
{
    device[lockRegister] = 0x03;
    EXPECT_TRUE(enable());
    EXPECT_EQ(device[lockRegister], 0x02);
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 02, read 0",
                                       "write 04, read 1", closed(device)}));
}

TEST_F(PbbPdbPort, TellsEveryStepOfOpening)
{
    device[lockRegister] = 0x03;
    EXPECT_TRUE(enable());
    EXPECT_EQ(ownLog(),
              (Log{entering(), counted(), before(0x03), after(0x02), cleared(), exiting()}));
}

TEST_F(PbbPdbPort, LogsEveryTransferBetweenItsOwnLines)
{
    device[lockRegister] = 0x03;
    EXPECT_TRUE(enable());
    const auto log = fakes::platformLog();
    ASSERT_EQ(log.size(), 10U);
    EXPECT_EQ(log[2].format, "[%s] : Open fd Success, fd:%d\n");
    EXPECT_EQ((Log{log.begin() + 3, log.end()}),
              (Log{transferred(1, 1), before(0x03), transferred(2, 0), transferred(1, 1),
                   after(0x02), cleared(), exiting()}));
}

TEST_F(PbbPdbPort, ThatIsOpenIsLeftAlone)
{
    device[lockRegister] = 0x00;
    EXPECT_TRUE(enable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", closed(device)}));
    EXPECT_EQ(ownLog(),
              (Log{entering(), counted(), before(0x00), trace("[%s] : Already enabled\n")}));
}

TEST_F(PbbPdbPort, ThatIsUnlockedBesideOtherBitsIsWrittenAllTheSame)
{
    device[lockRegister] = 0x02;
    EXPECT_TRUE(enable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 02, read 0",
                                       "write 04, read 1", closed(device)}));
}

TEST_F(PbbPdbPort, ThatStaysLockedIsAFailure)
{
    device[lockRegister] = 0x01;
    device.ignoreWrites();
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(),
              (Log{entering(), counted(), before(0x01), after(0x01),
                   errorLine("[%s] : failed to CLEAR %s CPLD_LOCK_I2C_PLDFW to enable HARDIP\n",
                             function, "PBB_PLD")}));
}

TEST_F(PbbPdbPort, ClosesBySettingTheLock)
{
    device[lockRegister] = 0xA0;
    EXPECT_TRUE(disable());
    EXPECT_EQ(device[lockRegister], 0xA1);
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 a1, read 0",
                                       "write 04, read 1", closed(device)}));
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), before(0xA0), after(0xA1), exiting()}));
}

TEST_F(PbbPdbPort, ThatIsLockedIsLockedAgain)
{
    device[lockRegister] = 0x01;
    EXPECT_TRUE(disable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 04, read 1", "write 04 01, read 0",
                                       "write 04, read 1", closed(device)}));
}

TEST_F(PbbPdbPort, ThatDoesNotLockIsToldAndNoFailure)
{
    device[lockRegister] = 0x00;
    device.ignoreWrites();
    EXPECT_TRUE(disable());
    EXPECT_EQ(ownLog(),
              (Log{entering(), counted(), before(0x00), after(0x00),
                   errorLine("[%s] : failed to SET %s CPLD_LOCK_I2C_PLDFW to disable HARDIP\n",
                             function, "PBB_PLD"),
                   exiting()}));
}

TEST_F(PbbPdbPort, LooksAtTheLowestBitOfTheFlagOnly)
{
    device[lockRegister] = 0x01;
    EXPECT_TRUE(enable(0x03));
    EXPECT_EQ(device[lockRegister], 0x00);
    EXPECT_TRUE(disable(0x02));
    EXPECT_EQ(device[lockRegister], 0x01);
}

TEST_F(PbbPdbPort, BelongsToPdbsToo)
{
    device[lockRegister] = 0x01;
    EXPECT_TRUE(enable_disable_programingNode_for_pbb_pdb(InstanceIndex(1), 1, pdb));
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{44}));
    EXPECT_EQ(ownLog().at(4),
              traceLine("[%s] : %s CPLD_LOCK_I2C_PLDFW BIT CLEARED : HARDIP enabled \n", function,
                        "PDB_PLD"));
}

TEST_F(PbbPdbPort, WithoutDeviceNodesIsAFailure)
{
    fakes::sysinfo().status = -2;
    EXPECT_FALSE(enable());
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(ownLog(), (Log{entering(), errorLine("[%s] : Failed to get sysinfo node for %s\n",
                                                   function, "PBB_PLD")}));
}

TEST_F(PbbPdbPort, WhoseNodeDoesNotOpenIsAFailure)
{
    fakes::sysinfo().nodes = {"/dev/fake-other", "/dev/fake-missing"};
    EXPECT_FALSE(enable());
    EXPECT_EQ(fakes::journal(), Lines{"open /dev/fake-missing: ENOENT"});
    EXPECT_EQ(ownLog(), (Log{entering(), counted(),
                             errorLine("[%s] : Failed to open %s[%d] fd for programming\n",
                                       function, "PBB_PLD", 1)}));
}

TEST_F(PbbPdbPort, WhoseRegisterCannotBeReadIsAFailure)
{
    device.answerWith({failure, failure, failure});
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), unreadable()}));
}

TEST_F(PbbPdbPort, WhoseRegisterCannotBeReadIsNotWritten)
{
    device.answerWith({failure, failure, failure});
    EXPECT_FALSE(disable());
    EXPECT_EQ(device.requests().size(), 3U);
}

TEST_F(PbbPdbPort, WhoseRegisterCannotBeWrittenIsAFailure)
{
    device[lockRegister] = 0x01;
    device.answerWith({0, failure, failure, failure});
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), before(0x01),
                             error("[%s] : I2CError: Unable to write HIP_SW_EN register\n")}));
    EXPECT_EQ(device.requests().size(), 4U);
}

TEST_F(PbbPdbPort, WhoseRegisterCannotBeReadBackIsAFailure)
{
    device[lockRegister] = 0x01;
    device.answerWith({0, 0, failure, failure, failure});
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), before(0x01), unreadable()}));
}

TEST_F(PbbPdbPort, IsReadAgainBeforeItCountsAsLocked)
{
    device.answerWith({0, 0, failure, failure, failure});
    EXPECT_FALSE(disable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), before(0x00), unreadable()}));
}

} // namespace
