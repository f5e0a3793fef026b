#include "case_name.hpp"
#include "hw/hold_flag.hpp"
#include "service_test.hpp"

#include <cerrno>

namespace
{

using fakes::errorLine;
using fakes::lineOf;
using fakes::traceLine;

constexpr auto flag = "HOLD_S5_FLOP_CPLD_UPDATE";

/** How a request goes: which readings of the configuration and which writes fail. */
struct Course
{
    const char* name;
    /** Readings that find nothing, from the first on. */
    int missing;
    /** Status of each write. */
    std::deque<int> writeStatus;
    /** What happens, up to the release of what was found. */
    fakes::Lines events;
    /** Status of each failed attempt, -1 for one without a configuration. */
    std::vector<int> failures;
    std::int32_t result;
};

constexpr auto found = "read HOLD_S5_FLOP_CPLD_UPDATE";
constexpr auto notFound = "read HOLD_S5_FLOP_CPLD_UPDATE: missing";
constexpr auto written = "write bit 0";
constexpr auto pause = "pause 50 ms";

class HoldFlagRequest : public ServiceTest, public testing::WithParamInterface<Course>
{
  protected:
    HoldFlagRequest()
    {
        fakes::holdLine().missing = GetParam().missing;
        fakes::holdLine().writeStatus = GetParam().writeStatus;
        fakes::holdLine().errorNumber = EBUSY;
    }

    static bool isFound() { return GetParam().missing < 3; }

    /** The log up to the release. */
    static Log log()
    {
        Log lines{traceLine("[%s] : x:%d\n", "cpld_update_holdS5", 0)};
        auto absentAttempts = GetParam().missing - 1;
        for (const int status : GetParam().failures)
        {
            if (absentAttempts-- > 0)
            {
                lines.push_back(lineOf(2, 273, "[%s]: ERROR, halData is NULL", "WriteIOBit"));
            }
            lines.push_back(errorLine(
                "[%s]: Error clearing HOLD_S5_FLOP_CPLD_UPDATE flag; HAL write operation returned status %d error=%s",
                "cpld_update_holdS5", status, "Device or resource busy"));
        }
        if (GetParam().result == 1)
        {
            lines.push_back(traceLine("[%s]: Successfully cleared HOLD_S5_FLOP_CPLD_UPDATE flag",
                                      "cpld_update_holdS5"));
        }
        return lines;
    }

    static fakes::LogLine deleted()
    {
        return lineOf(5, 273, "[%s]: Deleted halData for [%s]", "~HAL_cfgdata", flag);
    }
};

TEST_P(HoldFlagRequest, EndsWithTheReleaseOfWhatWasFound)
{
    auto events = GetParam().events;
    auto lines = log();
    if (isFound())
    {
        events.emplace_back("delete line");
        lines.push_back(deleted());
    }
    EXPECT_EQ(cpld_update_holdS5(0), GetParam().result);
    EXPECT_EQ(fakes::journal(), events);
    EXPECT_EQ(fakes::platformLog(), lines);
}

TEST_P(HoldFlagRequest, TakesBackAnInterruptCallbackOfWhatWasFound)
{
    fakes::holdLine().interruptCallback = -7;
    auto events = GetParam().events;
    auto lines = log();
    if (isFound())
    {
        events.insert(events.end(), {"unregister interrupt callback", "delete line"});
        lines.push_back(lineOf(5, 273, "[%s]: UnregisterInterruptCallback for [%s], ret= %d",
                               "~HAL_cfgdata", flag, -7));
        lines.push_back(deleted());
    }
    EXPECT_EQ(cpld_update_holdS5(0), GetParam().result);
    EXPECT_EQ(fakes::journal(), events);
    EXPECT_EQ(fakes::platformLog(), lines);
}

INSTANTIATE_TEST_SUITE_P(
    Courses, HoldFlagRequest,
    testing::Values(
        Course{"Written", 0, {0}, {found, written}, {}, 1},
        Course{"WrittenAtTheSecondAttempt", 0, {-3, 0}, {found, written, pause, written}, {-3}, 1},
        Course{"NeverWritten", 0, {4, -5}, {found, written, pause, written, pause}, {4, -5}, 0},
        Course{"FoundLate", 1, {0}, {notFound, found, written}, {}, 1},
        Course{"FoundLateAndWrittenAtTheSecondAttempt",
               1,
               {6, 0},
               {notFound, found, written, pause, written},
               {6},
               1},
        Course{"FoundLateAndNeverWritten",
               1,
               {6, 7},
               {notFound, found, written, pause, written, pause},
               {6, 7},
               0},
        Course{"FoundInTheSecondAttempt",
               2,
               {0},
               {notFound, notFound, pause, found, written},
               {-1},
               1},
        Course{"FoundInTheSecondAttemptAndNotWritten",
               2,
               {8},
               {notFound, notFound, pause, found, written, pause},
               {-1, 8},
               0},
        Course{"NeverFound", 3, {}, {notFound, notFound, pause, notFound, pause}, {-1, -1}, 0}),
    CaseName{});

} // namespace
