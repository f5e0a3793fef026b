#include "hw/port_access.hpp"

#include "hw/port_test.hpp"

namespace
{

class PortAccess : public PortTest
{
  protected:
    PortAccess() : PortTest("someOperation") {}

    std::optional<FileDescriptor> open()
    {
        return openForProgramming(function, InstanceIndex(1), pdb);
    }
};

TEST_F(PortAccess, OpensTheInstancesNodeUnderItsCallersName)
{
    EXPECT_TRUE(open());
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), closed(device)}));
    EXPECT_EQ(ownLog(), (Log{trace("[%s] : Entering\n"),
                             fakes::errorLine("[%s] : %s count %d\n", function, "PDB_PLD", 2)}));
}

TEST_F(PortAccess, IsNothingWithoutDeviceNodes)
{
    fakes::sysinfo().status = -2;
    EXPECT_FALSE(open());
    EXPECT_EQ(fakes::journal(), Lines{});
}

TEST_F(PortAccess, ReadsOneRegister)
{
    device[0x08] = 0x41;
    const auto fd = open();
    ASSERT_TRUE(fd);
    std::uint8_t value = 0xEE;
    EXPECT_TRUE(readRegister(0x08, value, pdb, fd->get()));
    EXPECT_EQ(value, 0x41);
}

TEST_F(PortAccess, LeavesZeroWhereARegisterCannotBeRead)
{
    device[0x08] = 0x41;
    device.answerWith({failure, failure, failure});
    const auto fd = open();
    ASSERT_TRUE(fd);
    std::uint8_t value = 0xEE;
    EXPECT_FALSE(readRegister(0x08, value, pdb, fd->get()));
    EXPECT_EQ(value, 0);
}

TEST_F(PortAccess, WritesOneRegisterAndReadsNothing)
{
    const auto fd = open();
    ASSERT_TRUE(fd);
    EXPECT_TRUE(writeRegister(0x08, 0x41, pdb, fd->get()));
    EXPECT_EQ(device[0x08], 0x41);
    EXPECT_EQ(fakes::journal(), (Lines{opened(device), "write 08 41, read 0"}));
}

} // namespace
