#include "hw/port_test.hpp"

namespace
{

using fakes::errorLine;
using fakes::traceLine;

constexpr std::uint8_t byte3 = 0x03;
constexpr std::uint8_t byte8 = 0x08;
constexpr std::uint8_t versionByte12 = 0x0C;
constexpr std::uint8_t versionByte13 = 0x0D;

class FlopPort : public PortTest
{
  protected:
    FlopPort() : PortTest("enable_disable_programingNode_for_flop")
    {
        // 1.2.3: no early firmware
        device[versionByte12] = 0x23;
        device[versionByte13] = 0x10;
    }

    bool enable(std::uint8_t flag = 1)
    {
        return enable_disable_programingNode_for_flop(InstanceIndex(1), flag, flop);
    }
    bool disable(std::uint8_t flag = 0)
    {
        return enable_disable_programingNode_for_flop(InstanceIndex(1), flag, flop);
    }

    fakes::LogLine entering() const { return trace("[%s] : Entering\n"); }
    fakes::LogLine counted() const
    {
        return errorLine("[%s] : %s count %d\n", function, "FLOP", 2);
    }
    fakes::LogLine version(int major, int minor, int maintenance) const
    {
        return traceLine("[%s]:Current CPLD version is Maj-%d Min-%d Maint-%d \n", function, major,
                         minor, maintenance);
    }
    fakes::LogLine inByte3() const { return trace("[%s]:HIP_SW_EN is BYTE3.0 \n"); }
    fakes::LogLine inByte8() const { return trace("[%s]:HIP_SW_EN is BYTE8.0 \n"); }
    fakes::LogLine current(int number, unsigned value) const
    {
        return traceLine("[%s]:current BYTE-%d REG value : 0x%x \n", function, number, value);
    }
    fakes::LogLine setting(int number, unsigned value) const
    {
        return traceLine("[%s]:SET HIP_SW_EN BYTE-%d REG value : 0x%x \n", function, number, value);
    }
    fakes::LogLine clearing(int number) const
    {
        return traceLine("[%s]:Clear HIP_SW_EN BYTE-%d REG value : 0x%x \n", function, number, 0U);
    }
    fakes::LogLine readBack(unsigned value) const
    {
        return traceLine("[%s]:HIP_SW_EN_REG : 0x%x \n", function, value);
    }
    fakes::LogLine verified() const { return trace("[%s]:HIP_SW_EN_REG write Verified \n"); }
    fakes::LogLine notVerified() const
    {
        return error("[%s]:HIP_SW_EN_REG write Verification failed. \n");
    }
    fakes::LogLine unreachable() const { return error("[%s]:read failed for HIP_SW_EN_REG \n"); }
};

TEST_F(FlopPort, OpensBySettingTheEnableBit)
{
    device[byte8] = 0x40;
    EXPECT_TRUE(enable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 0c, read 2", "write 08, read 1",
                                       "write 08 41, read 0", "write 08, read 1", closed(device)}));
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0x40),
                             setting(8, 0x41), readBack(0x41), verified()}));
}

TEST_F(FlopPort, ThatIsOpenIsOpenedAgain)
{
    device[byte8] = 0x01;
    EXPECT_TRUE(enable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 0c, read 2", "write 08, read 1",
                                       "write 08 01, read 0", "write 08, read 1", closed(device)}));
}

TEST_F(FlopPort, ClosesByClearingTheWholeByte)
{
    device[byte8] = 0xFF;
    EXPECT_TRUE(disable());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 0c, read 2", "write 08, read 1",
                                       "write 08 00, read 0", "write 08, read 1", closed(device)}));
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0xFF),
                             clearing(8), readBack(0x00), verified()}));
}

TEST_F(FlopPort, ThatDoesNotOpenIsAFailure)
{
    device.ignoreWrites();
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0x00),
                             setting(8, 0x01), readBack(0x00), notVerified()}));
}

TEST_F(FlopPort, ThatDoesNotCloseIsAFailure)
{
    device[byte8] = 0x41;
    device.ignoreWrites();
    EXPECT_FALSE(disable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0x41),
                             clearing(8), readBack(0x41), notVerified()}));
}

TEST_F(FlopPort, IsVerifiedByTheEnableBitOnly)
{
    device[byte8] = 0x40;
    device.ignoreWrites();
    EXPECT_TRUE(disable());
}

TEST_F(FlopPort, LooksAtTheLowestBitOfTheFlagOnly)
{
    EXPECT_TRUE(enable(0x03));
    EXPECT_EQ(device[byte8], 0x01);
    EXPECT_TRUE(disable(0x02));
    EXPECT_EQ(device[byte8], 0x00);
}

TEST_F(FlopPort, WithoutDeviceNodesIsAFailure)
{
    fakes::sysinfo().status = -2;
    EXPECT_FALSE(enable());
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::sysinfo().asked, (std::vector<std::uint32_t>{26}));
    EXPECT_EQ(ownLog(), (Log{entering(), errorLine("[%s] : Failed to get sysinfo node for %s\n",
                                                   function, "FLOP")}));
}

TEST_F(FlopPort, WhoseNodeDoesNotOpenIsAFailure)
{
    fakes::sysinfo().nodes = {"/dev/fake-other", "/dev/fake-missing"};
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(),
                             errorLine("[%s] : Failed to open %s[%d] fd for programming\n",
                                       function, "FLOP", 1)}));
}

TEST_F(FlopPort, WhoseRegisterCannotBeReadIsAFailure)
{
    device.answerWith({0, failure, failure, failure});
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), unreachable()}));
    EXPECT_EQ(device.requests().size(), 4U);
}

TEST_F(FlopPort, WhoseRegisterCannotBeWrittenFailsWithTheWordsOfReading)
{
    device.answerWith({0, 0, failure, failure, failure});
    EXPECT_FALSE(enable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0x00),
                             setting(8, 0x01), unreachable()}));
    EXPECT_EQ(device.requests().size(), 5U);
}

TEST_F(FlopPort, WhoseRegisterCannotBeReadBackIsAFailure)
{
    device.answerWith({0, 0, 0, failure, failure, failure});
    EXPECT_FALSE(disable());
    EXPECT_EQ(ownLog(), (Log{entering(), counted(), version(1, 2, 3), inByte8(), current(8, 0x00),
                             clearing(8), unreachable()}));
}

TEST_F(FlopPort, WhoseVersionCannotBeReadCountsAsVersion000)
{
    device.answerWith({failure, failure, failure});
    fakes::platformIdentity().standard = 4;
    EXPECT_TRUE(enable());
    EXPECT_EQ(device[byte3], 0x01);
    EXPECT_EQ(ownLog(),
              (Log{entering(), counted(), error("[%s]:read failed for Byte12-version details \n"),
                   version(0, 0, 0), inByte3(), current(3, 0x00), setting(3, 0x01), readBack(0x01),
                   verified()}));
}

} // namespace
