#include "hw/i2c_transfer.hpp"

#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <unistd.h>

#include <cerrno>

namespace
{

using namespace std::chrono_literals;

using Bytes = std::vector<std::uint8_t>;

class Transfer : public ServiceTest
{
  protected:
    Transfer()
    {
        const std::vector<std::string> nodes{device.path()};
        if (!Tavrinupdate::openI2cfdUsingNodename(InstanceIndex(0), record, nodes, fd))
        {
            throw std::runtime_error("the device does not open");
        }
        fakes::clearJournal();
        fakes::clearPlatformLog();
    }

    bool transfer(const Bytes& write, Bytes& read) const
    {
        return Tavrinupdate::tavrinWR(write, read, record, fd);
    }

    bool transfer(const Bytes& write, std::size_t readLength) const
    {
        Bytes read(readLength);
        return transfer(write, read);
    }

    void TearDown() override
    {
        ::close(fd);
        ServiceTest::TearDown();
    }

    static fakes::LogLine success(int writeLength, int readLength)
    {
        return fakes::errorLine("[%s] : ioctl success: TA:0x%x, WL:%d, RL:%d\n", "tavrinWR", 0x63,
                                writeLength, readLength);
    }

    fakes::Cpld device{"/dev/fake-cpld"};
    CpldInventory record;
    int fd = -1;
};

TEST_F(Transfer, IsOneRequestOfTwoMessages)
{
    ASSERT_TRUE(transfer({0x0C}, 2));
    EXPECT_EQ(device.requests(),
              (std::vector<fakes::I2cRequest>{
                  {0x0707, {{0x63, 0x0000, {0x0C}, 1}, {0x63, 0x0001, {}, 2}}}}));
}

TEST_F(Transfer, ThatOnlyWritesStillReadsNothing)
{
    ASSERT_TRUE(transfer({0x04, 0x02}, 0));
    EXPECT_EQ(device.requests(),
              (std::vector<fakes::I2cRequest>{
                  {0x0707, {{0x63, 0x0000, {0x04, 0x02}, 2}, {0x63, 0x0001, {}, 0}}}}));
}

TEST_F(Transfer, TakesTheLongestMessages)
{
    device[0] = 0xAA;
    Bytes write(255, 0x11);
    write[0] = 0;
    ASSERT_TRUE(transfer(write, 255));
    ASSERT_EQ(device.requests().size(), 1U);
    EXPECT_EQ(device.requests()[0].messages[0].length, 255U);
    EXPECT_EQ(device.requests()[0].messages[1].length, 255U);
    EXPECT_EQ(fakes::platformLog(), Log{success(255, 255)});
}

TEST_F(Transfer, BringsWhatTheDeviceHolds)
{
    device[0x0C] = 0x5A;
    device[0x0D] = 0x3F;
    Bytes read(2);
    ASSERT_TRUE(transfer({0x0C}, read));
    EXPECT_EQ(read, (Bytes{0x5A, 0x3F}));
}

TEST_F(Transfer, IsLoggedAsAnErrorWhereItSucceeds)
{
    ASSERT_TRUE(transfer({0x04}, 1));
    EXPECT_EQ(fakes::platformLog(), Log{success(1, 1)});
}

TEST_F(Transfer, ThatSucceedsAtOnceHasNoPause)
{
    ASSERT_TRUE(transfer({0x04}, 1));
    EXPECT_EQ(fakes::journal(), Lines{"write 04, read 1"});
}

TEST_F(Transfer, ThatFailsOnceSucceedsOnTheSecondAttempt)
{
    device.answerWith({EAGAIN});
    EXPECT_TRUE(transfer({0x04}, 1));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 04, read 1: EAGAIN", "pause 5 ms", "write 04, read 1"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{fakes::errorLine("[%s] : 1. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 1, 1, 11, "Resource temporarily unavailable"),
                   success(1, 1)}));
}

TEST_F(Transfer, ThatFailsTwiceSucceedsOnTheThirdAttempt)
{
    device.answerWith({EIO, ENXIO});
    EXPECT_TRUE(transfer({0x04, 0x01}, 0));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 04 01, read 0: EIO", "pause 5 ms", "write 04 01, read 0: ENXIO",
                     "pause 5 ms", "write 04 01, read 0"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{fakes::errorLine("[%s] : 1. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 2, 0, 5, "Input/output error"),
                   fakes::errorLine("[%s] : 2. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 2, 0, 6, "No such device or address"),
                   success(2, 0)}));
}

TEST_F(Transfer, ThatFailsThreeTimesIsGivenUpWithoutAnotherPause)
{
    // An interrupted attempt counts as any other.
    device.answerWith({EINTR, EIO, ETIMEDOUT});
    EXPECT_FALSE(transfer({0x00}, 2));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 00, read 2: EINTR", "pause 5 ms", "write 00, read 2: EIO", "pause 5 ms",
                     "write 00, read 2: ETIMEDOUT"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{fakes::errorLine("[%s] : 1. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 1, 2, 4, "Interrupted system call"),
                   fakes::errorLine("[%s] : 2. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 1, 2, 5, "Input/output error"),
                   fakes::errorLine("[%s] : 3. ioctl failed: TA:0x%x, WL:%d, RL:%d err:%d-%s\n",
                                    "tavrinWR", 0x63, 1, 2, 110, "Connection timed out")}));
}

TEST_F(Transfer, ThatFailsLeavesTheReadBufferAsItWas)
{
    device.answerWith({EIO, EIO, EIO});
    Bytes read{0x12, 0x34};
    EXPECT_FALSE(transfer({0x00}, read));
    EXPECT_EQ(read, (Bytes{0x12, 0x34}));
}

TEST_F(Transfer, RepeatsTheSameRequest)
{
    device.answerWith({EIO, EIO});
    ASSERT_TRUE(transfer({0x08, 0x41}, 0));
    ASSERT_EQ(device.requests().size(), 3U);
    EXPECT_EQ(device.requests()[1], device.requests()[0]);
    EXPECT_EQ(device.requests()[2], device.requests()[0]);
}

TEST_F(Transfer, SucceedsWithEveryResultThatIsNotNegative)
{
    for (const int result : {0, 1, 2, 7})
    {
        fakes::clearPlatformLog();
        device.succeedWith(result);
        EXPECT_TRUE(transfer({0x00}, 2)) << result;
        EXPECT_EQ(fakes::platformLog(), Log{success(1, 2)}) << result;
    }
}

TEST_F(Transfer, KeepsItsDescriptorOpenOnFailure)
{
    device.answerWith({EIO, EIO, EIO});
    EXPECT_FALSE(transfer({0x00}, 2));
    EXPECT_EQ(fakes::openDevices(), 1U);
}

TEST_F(Transfer, ASignalDoesNotShortenThePause)
{
    device.answerWith({EIO});
    fakes::interruptNextPause(2ms);
    EXPECT_TRUE(transfer({0x00}, 2));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 00, read 2: EIO", "pause 5 ms, interrupted after 2 ms", "pause 3 ms",
                     "write 00, read 2"}));
}

TEST_F(Transfer, SignalsInARowDoNotShortenThePause)
{
    device.answerWith({EIO});
    fakes::interruptNextPause(2ms);
    fakes::interruptNextPause(1ms);
    EXPECT_TRUE(transfer({0x00}, 2));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 00, read 2: EIO", "pause 5 ms, interrupted after 2 ms",
                     "pause 3 ms, interrupted after 1 ms", "pause 2 ms", "write 00, read 2"}));
}

TEST_F(Transfer, APauseThatCannotBeMadeIsLeftOut)
{
    device.answerWith({EIO, ENXIO});
    fakes::failNextPause(EINVAL);
    EXPECT_TRUE(transfer({0x00}, 2));
    EXPECT_EQ(fakes::journal(),
              (Lines{"write 00, read 2: EIO", "pause 5 ms: EINVAL", "write 00, read 2: ENXIO",
                     "pause 5 ms", "write 00, read 2"}));
}

} // namespace
