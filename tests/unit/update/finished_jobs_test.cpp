#include "update/finished_jobs.hpp"

#include "../../bus/memory.hpp"
#include "fakes/journal.hpp"
#include "update/event_calls.hpp"

#include <gtest/gtest.h>
#include <poll.h>

#include <new>
#include <system_error>
#include <thread>

namespace
{

using Paths = std::vector<std::string>;

bool isReadable(int descriptor)
{
    pollfd watched{descriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1 && watched.revents == POLLIN;
}

TEST(FinishedJobs, AreNoneAtFirst)
{
    FinishedJobs jobs;
    EXPECT_FALSE(isReadable(jobs.descriptor()));
    EXPECT_EQ(jobs.takeAll(), Paths{});
}

TEST(FinishedJobs, MakeTheDescriptorReadable)
{
    FinishedJobs jobs;
    jobs.add("/a");
    EXPECT_TRUE(isReadable(jobs.descriptor()));
}

TEST(FinishedJobs, AreThereWhenTheMainThreadIsWoken)
{
    FinishedJobs jobs;
    Paths found;
    fakes::eventCalls().whenWoken = [&] { found = jobs.takeAll(); };
    jobs.add("/a");
    fakes::eventCalls().whenWoken = [] {};
    EXPECT_EQ(found, Paths{"/a"});
}

TEST(FinishedJobs, AreTakenInTheirOrderAndOnce)
{
    FinishedJobs jobs;
    jobs.add("/a");
    jobs.add("/b");
    EXPECT_EQ(jobs.takeAll(), (Paths{"/a", "/b"}));
    EXPECT_EQ(jobs.takeAll(), Paths{});
    EXPECT_FALSE(isReadable(jobs.descriptor()));
}

TEST(FinishedJobs, ComeFromManyThreads)
{
    constexpr std::size_t each = 100;
    FinishedJobs jobs;
    {
        std::vector<std::jthread> workers;
        for (int worker = 0; worker < 4; ++worker)
        {
            workers.emplace_back(
                [&]
                {
                    for (std::size_t i = 0; i < each; ++i)
                    {
                        jobs.add("/path");
                    }
                });
        }
    }
    EXPECT_EQ(jobs.takeAll(), Paths(4 * each, "/path"));
}

TEST(FinishedJobs, SayWhenThereIsNoDescriptorLeft)
{
    fakes::eventCalls().noDescriptorLeft = true;
    std::string reason = "nothing was thrown";
    try
    {
        const FinishedJobs jobs;
    }
    catch (const std::system_error& error)
    {
        reason = error.what();
    }
    fakes::eventCalls().noDescriptorLeft = false;
    EXPECT_EQ(reason, "eventfd: Too many open files");
}

TEST(FinishedJobsWatch, ForWhichThereIsNoMemoryClosesItsDescriptorOnce)
{
    boost::asio::io_context io;
    std::unique_ptr<FinishedJobsWatch> watch;
    fakes::clearJournal();
    int failures = 0;
    while (watch == nullptr)
    {
        try
        {
            const bus_test::WithoutMemory then(failures);
            watch = std::make_unique<FinishedJobsWatch>(io, [](const std::string&) {});
        }
        catch (const std::bad_alloc&)
        {
            ++failures;
        }
    }
    EXPECT_GT(failures, 0);
    watch.reset();
    EXPECT_EQ(fakes::journal(), fakes::Lines{});
}

class FinishedJobsOnTheLoop : public testing::Test
{
  protected:
    boost::asio::io_context io;
    Paths handled;
    std::unique_ptr<FinishedJobsWatch> watch = std::make_unique<FinishedJobsWatch>(
        io, [this](const std::string& path) { handled.push_back(path); });
};

TEST_F(FinishedJobsOnTheLoop, AreHandledByTheLoopOnly)
{
    watch->jobs()->add("/a");
    EXPECT_EQ(handled, Paths{});
    io.poll();
    EXPECT_EQ(handled, Paths{"/a"});
}

TEST_F(FinishedJobsOnTheLoop, AreHandledTogetherInTheirOrder)
{
    watch->jobs()->add("/a");
    watch->jobs()->add("/b");
    io.poll();
    EXPECT_EQ(handled, (Paths{"/a", "/b"}));
}

TEST_F(FinishedJobsOnTheLoop, AreHandledAgainLater)
{
    watch->jobs()->add("/a");
    io.poll();
    watch->jobs()->add("/b");
    io.poll();
    EXPECT_EQ(handled, (Paths{"/a", "/b"}));
}

TEST_F(FinishedJobsOnTheLoop, FromAThreadWakeTheLoop)
{
    std::jthread worker([jobs = watch->jobs()] { jobs->add("/a"); });
    io.run_one();
    EXPECT_EQ(handled, Paths{"/a"});
}

TEST_F(FinishedJobsOnTheLoop, MayComeWhenNobodyWatchesAnyMore)
{
    const auto jobs = watch->jobs();
    watch.reset();
    jobs->add("/late");
    io.poll();
    EXPECT_EQ(handled, Paths{});
    EXPECT_TRUE(isReadable(jobs->descriptor())) << "closed under the worker's hands";
    EXPECT_EQ(jobs->takeAll(), Paths{"/late"});
}

} // namespace
