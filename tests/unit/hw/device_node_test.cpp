#include "log/file_descriptor.hpp"
#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <fcntl.h>

namespace
{

class DeviceNode : public ServiceTest
{
  protected:
    DeviceNode() { record.nodeName = "PBB_PLD"; }

    bool open(std::uint8_t instance, int& fd)
    {
        return Tavrinupdate::openI2cfdUsingNodename(InstanceIndex(instance), record, nodes, fd);
    }

    fakes::Cpld first{"/dev/fake-1"};
    fakes::Cpld second{"/dev/fake-2"};
    CpldInventory record;
    std::vector<std::string> nodes{"/dev/fake-1", "/dev/fake-2"};
};

TEST_F(DeviceNode, IsChosenByTheInstance)
{
    int fd = -1;
    ASSERT_TRUE(open(1, fd));
    const FileDescriptor owner(fd);
    EXPECT_EQ(fakes::journal(), Lines{"open /dev/fake-2"});
}

TEST_F(DeviceNode, IsOpenedForReadingAndWritingAndNotInherited)
{
    int fd = -1;
    ASSERT_TRUE(open(0, fd));
    const FileDescriptor owner(fd);
    EXPECT_EQ(fakes::lastOpenFlags(), O_RDWR | O_CLOEXEC);
}

TEST_F(DeviceNode, IsTracedWithItsDescriptor)
{
    int fd = -1;
    ASSERT_TRUE(open(0, fd));
    const FileDescriptor owner(fd);
    EXPECT_EQ(fakes::platformLog(), Log{fakes::traceLine("[%s] : Open fd Success, fd:%d\n",
                                                         "openI2cfdUsingNodename", fd)});
}

TEST_F(DeviceNode, ThatDoesNotExistIsLoggedWithMinusOne)
{
    nodes = {"/dev/fake-missing"};
    int fd = 77;
    EXPECT_FALSE(open(0, fd));
    EXPECT_EQ(fakes::platformLog(), Log{fakes::errorLine("[%s] : Open fd Failue, Error: %d\n",
                                                         "openI2cfdUsingNodename", -1)});
}

TEST_F(DeviceNode, ThatDoesNotExistLeavesTheDescriptorAlone)
{
    nodes = {"/dev/fake-missing"};
    int fd = 77;
    EXPECT_FALSE(open(0, fd));
    EXPECT_EQ(fd, 77);
}

using DeviceNodeDeathTest = DeviceNode;

TEST_F(DeviceNodeDeathTest, AnInstanceBeyondTheListStopsTheProcess)
{
    int fd = -1;
    EXPECT_DEATH(static_cast<void>(open(2, fd)), "out_of_range");
}

} // namespace
