#include "update/worker_test.hpp"

#include "case_name.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <functional>
#include <new>
#include <stdexcept>
#include <system_error>

namespace
{

using namespace std::chrono_literals;

TEST(ThreadTag, IsTheThreadsIdentifierInDecimal)
{
    EXPECT_STREQ(ThreadTag(140737353982720).text(), "140737353982720");
    EXPECT_STREQ(ThreadTag(pthread_t(-1)).text(), "18446744073709551615");
}

TEST(ThreadTag, OfNoThreadSaysSo)
{
    EXPECT_STREQ(ThreadTag(0).text(), "thread::id of a non-executing thread");
}

TEST_F(Worker, ProgramsThenClosesThePortThenReportsSuccess)
{
    run();
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms"},
                                        closing(),
                                        {"pause 500 ms", "ask for the error codes", report(28, 100),
                                         "release the run"}}));
    EXPECT_EQ(ownLog(), (Log{entering(), calling(), programmed(), success()}));
}

TEST_F(Worker, LocksThePort)
{
    run();
    EXPECT_EQ(device[0x04], 0x01);
}

TEST_F(Worker, ForwardsTheLibrarysProgressInItsOrder)
{
    fakes::programmingLibrary().progress = {0, 33, 100};
    run();
    EXPECT_EQ(
        fakes::journal(),
        joined({programming(),
                {report(4, 0), report(4, 33), report(4, 100), "pause 1000 ms"},
                closing(),
                {"pause 500 ms", "ask for the error codes", report(28, 100), "release the run"}}));
}

TEST_F(Worker, MarksTheDeviceOnTheMainThread)
{
    run();
    EXPECT_EQ(finished->takeAll(), Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_2"});
}

TEST_F(Worker, SleepsOnWhenASignalInterruptsAPause)
{
    fakes::interruptNextPause(400ms);
    run();
    const auto journal = fakes::journal();
    EXPECT_EQ((Lines{journal.begin() + 1, journal.begin() + 3}),
              (Lines{"pause 1000 ms, interrupted after 400 ms", "pause 600 ms"}));
}

TEST_F(Worker, SleepsOnWhenASignalInterruptsThePauseBehindTheClosing)
{
    fakes::sysinfo().whenAsked = [] { fakes::interruptNextPause(200ms); };
    run();
    EXPECT_EQ(fakes::journal(),
              joined({programming(),
                      {"pause 1000 ms"},
                      closing(),
                      {"pause 500 ms, interrupted after 200 ms", "pause 300 ms",
                       "ask for the error codes", report(28, 100), "release the run"}}));
}

TEST_F(Worker, IsFreeForTheNextJobBehindItsPausesWhenItReportsTheOutcome)
{
    std::vector<bool> running;
    fakes::programmingLibrary().progress = {50};
    fakes::programmingLibrary().whenAsked = [&] { running.push_back(updateRunning()); };
    fakes::coordinator().whenTold = [&] { running.push_back(updateRunning()); };
    run();
    // In the middle, after the last pause, at the outcome's report.
    EXPECT_EQ(running, (std::vector<bool>{true, true, false}));
}

TEST_F(Worker, HasToldTheRecordTheClosingsCountWhenItReportsTheOutcome)
{
    record.instanceCount.set(1);
    std::uint32_t told = 0;
    fakes::coordinator().whenTold = [&] { told = record.instanceCount.get(); };
    run();
    EXPECT_EQ(told, 2U);
}

TEST_F(Worker, ReportsThenLeavesTheDeviceToBeMarkedThenReleasesTheRun)
{
    std::vector<Lines> marked;
    std::vector<std::size_t> alive;
    fakes::coordinator().whenTold = [&]
    {
        marked.push_back(finished->takeAll());
        alive.push_back(fakes::programmingLibrary().alive);
    };
    fakes::programmingLibrary().whenReleased = [&] { marked.push_back(finished->takeAll()); };
    run();
    EXPECT_EQ(marked, (std::vector<Lines>{{}, {"/com/vexa/bevon/cpld_updater/PDB_PLD_2"}}));
    EXPECT_EQ(alive, std::vector<std::size_t>{1});
}

TEST_F(Worker, ReportsItsOwnJobThoughTheNextOneIsThere)
{
    fakes::programmingLibrary().whenAsked = [] {
        updateRequest() = {"next", "CPLD.IOBay.1", "/next", 99, 112102};
    };
    run();
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms"},
                                        closing(),
                                        {"pause 500 ms", "ask for the error codes", report(28, 100),
                                         "release the run"}}));
    EXPECT_EQ(finished->takeAll(), Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_2"});
}

TEST_F(Worker, ReportsItsOwnFailureThoughTheNextJobIsThere)
{
    fakes::programmingLibrary().codes = {5, 0, 0};
    fakes::programmingLibrary().whenAsked = [] {
        updateRequest() = {"next", "CPLD.IOBay.1", "/next", 99, 112102};
    };
    run();
    const auto journal = fakes::journal();
    EXPECT_EQ(journal.at(journal.size() - 2), report(18, 0));
}

struct Codes
{
    const char* name;
    cpldfwupdate_error_code codes;
};

class WorkerWithErrorCodes : public Worker, public testing::WithParamInterface<Codes>
{
};

TEST_P(WorkerWithErrorCodes, ReportsAFailure)
{
    const auto wanted = GetParam().codes;
    fakes::programmingLibrary().codes = wanted;
    run();
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms"},
                                        closing(),
                                        {"pause 500 ms", "ask for the error codes", report(18, 0),
                                         "release the run"}}));
    EXPECT_EQ(ownLog(), (Log{entering(), calling(), programmed(),
                             codes(wanted.upd, wanted.dup, wanted.i2cdriver), failed()}));
    EXPECT_EQ(finished->takeAll(), Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_2"});
}

INSTANTIATE_TEST_SUITE_P(Table, WorkerWithErrorCodes,
                         testing::Values(Codes{"OfTheDriver", {3, 0, 0}},
                                         Codes{"OfTheDuplication", {0, 4, 0}},
                                         Codes{"OfTheUpdate", {0, 0, 5}},
                                         Codes{"Negative", {-1, -2, -3}}),
                         CaseName{});

TEST_F(Worker, APortThatDoesNotCloseIsLoggedAndNoFailure)
{
    fakes::sysinfo().status = -1;
    run();
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms", "pause 500 ms", "ask for the error codes",
                                         report(28, 100), "release the run"}}));
    EXPECT_EQ(ownLog(), (Log{entering(), calling(), programmed(), portNotClosed(), success()}));
}

struct Thrown
{
    const char* name;
    std::function<void()> thrower;
    std::string logged;
};

class WorkerWithAThrowingLibrary : public Worker, public testing::WithParamInterface<Thrown>
{
};

TEST_P(WorkerWithAThrowingLibrary, ClosesThePortThenReportsAFailure)
{
    fakes::programmingLibrary().progress = {20};
    fakes::programmingLibrary().whenRun = GetParam().thrower;
    run();
    EXPECT_EQ(fakes::journal(),
              joined({programming(), {report(4, 20)}, closing(), {"pause 500 ms", report(18, 0)}}));
    EXPECT_EQ(ownLog(),
              (Log{entering(), calling(), exception(GetParam().logged.c_str()), failed()}));
    EXPECT_EQ(finished->takeAll(), Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_2"});
    EXPECT_FALSE(updateRunning());
}

// NOLINTBEGIN: a library may throw anything at all
INSTANTIATE_TEST_SUITE_P(
    Table, WorkerWithAThrowingLibrary,
    testing::Values(Thrown{"RuntimeError", [] { throw std::runtime_error("no such device"); },
                           "no such device"},
                    Thrown{"LogicError", [] { throw std::logic_error("%s %n"); }, "%s %n"},
                    Thrown{"NoMemory", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
                    Thrown{"SystemError",
                           []
                           { throw std::system_error(std::make_error_code(std::errc::io_error)); },
                           "Input/output error"},
                    Thrown{"BusError",
                           [] { throw sdbusplus::exception::SdBusError(ENOTCONN, "bus"); },
                           sdbusplus::exception::SdBusError(ENOTCONN, "bus").what()},
                    Thrown{"NoWords", [] { throw std::runtime_error(""); }, ""},
                    Thrown{"Number", [] { throw 7; }, "unknown"},
                    Thrown{"Text", [] { throw "text"; }, "unknown"}),
    CaseName{});
// NOLINTEND

TEST_F(Worker, CodesThatCannotBeHadFailTheUpdate)
{
    fakes::programmingLibrary().whenAsked = [] { throw std::runtime_error("no codes"); };
    run();
    EXPECT_EQ(ownLog(),
              (Log{entering(), calling(), programmed(), exception("no codes"), failed()}));
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms"},
                                        closing(),
                                        {"pause 500 ms", "ask for the error codes", report(18, 0),
                                         "release the run"}}));
}

TEST_F(Worker, AClosingThatThrowsIsLoggedAndNoFailure)
{
    fakes::sysinfo().whenAsked = [] { throw std::bad_alloc(); };
    run();
    EXPECT_EQ(fakes::journal(), joined({programming(),
                                        {"pause 1000 ms", "pause 500 ms", "ask for the error codes",
                                         report(28, 100), "release the run"}}));
    EXPECT_EQ(ownLog(),
              (Log{entering(), calling(), programmed(), exception("std::bad_alloc"), success()}));
}

TEST_F(Worker, AReportThatThrowsIsLoggedAndTheDeviceMarkedAllTheSame)
{
    fakes::coordinator().whenTold = [] { throw std::bad_alloc(); };
    run();
    EXPECT_EQ(ownLog(),
              (Log{entering(), calling(), programmed(), success(), exception("std::bad_alloc")}));
    EXPECT_EQ(finished->takeAll(), Lines{"/com/vexa/bevon/cpld_updater/PDB_PLD_2"});
}

TEST_F(Worker, ReportsThatCannotBeSentDoNotChangeTheOutcome)
{
    fakes::programmingLibrary().progress = {50};
    fakes::coordinator().connectResult = -ENOENT;
    run();
    EXPECT_EQ(fakes::journal(),
              joined({programming(),
                      {"pause 1000 ms"},
                      closing(),
                      {"pause 500 ms", "ask for the error codes", "release the run"}}));
    EXPECT_EQ(ownLog(), (Log{entering(), calling(), programmed(), success()}));
}

} // namespace
