#include "log/log_file.hpp"

#include "../../bus/memory.hpp"
#include "service_test.hpp"

namespace
{

class LogFileMemory : public ServiceTest
{
  protected:
    const std::filesystem::path place = fakes::placeOf("/var/log/tavrinupdate.log");
};

TEST_F(LogFileMemory, ARecordForWhichThereIsNoneIsLostAndItsWriterGoesOn)
{
    fakes::write(place, "before\n");
    const std::string message(500, 'm');
    {
        const bus_test::WithoutMemory now;
        addlog(message.c_str());
    }
    EXPECT_EQ(fakes::contentOf(place), "before\n");
    EXPECT_EQ(fakes::platformLog(), Log{});
    addlog("after\n");
    EXPECT_EQ(fakes::contentOf(place), "before\n7 : after\n");
}

TEST_F(LogFileMemory, ATrimForWhichThereIsNoneLeavesTheFileToTheNext)
{
    const std::string old(5000, 'o');
    fakes::write(place, old);
    {
        const bus_test::WithoutMemory now;
        delete_old_log();
    }
    EXPECT_EQ(fakes::contentOf(place), old);
    EXPECT_EQ(fakes::platformLog(), Log{});
    delete_old_log();
    EXPECT_EQ(fakes::contentOf(place), old.substr(1024));
}

TEST_F(LogFileMemory, ATrimThatRunsOutOfItAnywhereLosesNothingOfTheFile)
{
    const std::string old(5000, 'o');
    const std::string trimmed = old.substr(1024);
    std::string content = old;
    for (int allocations = 0; content == old; ++allocations)
    {
        fakes::write(place, old);
        {
            const bus_test::WithoutMemory then(allocations);
            delete_old_log();
        }
        content = fakes::contentOf(place);
        EXPECT_TRUE(content == old || content == trimmed)
            << content.size() << " bytes are left after " << allocations << " allocations";
    }
    EXPECT_EQ(content, trimmed);
}

} // namespace
