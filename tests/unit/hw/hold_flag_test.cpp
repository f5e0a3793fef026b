#include "hw/hold_flag.hpp"

#include "service_test.hpp"

#include <cerrno>
#include <ctime>
#include <string_view>

namespace
{

using fakes::errorLine;
using fakes::lineOf;
using fakes::traceLine;

constexpr auto function = "cpld_update_holdS5";
constexpr auto flag = "HOLD_S5_FLOP_CPLD_UPDATE";

/** What the time of a request was last asked to be written as. */
std::string stampFormat;
std::size_t stampSize = 0;

class HoldFlag : public ServiceTest
{
  protected:
    static fakes::LogLine requested(int value)
    {
        return traceLine("[%s] : x:%d\n", function, value);
    }

    static fakes::LogLine cleared()
    {
        return traceLine("[%s]: Successfully cleared HOLD_S5_FLOP_CPLD_UPDATE flag", function);
    }

    static fakes::LogLine failed(int status, const char* reason)
    {
        return errorLine(
            "[%s]: Error clearing HOLD_S5_FLOP_CPLD_UPDATE flag; HAL write operation returned status %d error=%s",
            function, status, reason);
    }

    static fakes::LogLine missing()
    {
        return lineOf(2, 273, "[%s]: ERROR, halData is NULL", "WriteIOBit");
    }

    static fakes::LogLine deleted()
    {
        return lineOf(5, 273, "[%s]: Deleted halData for [%s]", "~HAL_cfgdata", flag);
    }
};

TEST_F(HoldFlag, IsClearedAtTheFirstAttempt)
{
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(fakes::journal(),
              (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 0", "delete line"}));
    EXPECT_EQ(fakes::platformLog(), (Log{requested(0), cleared(), deleted()}));
}

TEST_F(HoldFlag, StampsEachRequestWithTheLocalTime)
{
    stampFormat.clear();
    cpld_update_holdS5(0);
    EXPECT_EQ(stampFormat, "%Y-%m-%d %H:%M:%S");
    EXPECT_EQ(stampSize, std::string_view("2026-12-31 23:59:59").size() + 1);
}

TEST_F(HoldFlag, IsSetWithTheWordsOfClearing)
{
    EXPECT_EQ(cpld_update_holdS5(1), 1);
    EXPECT_EQ(fakes::journal(),
              (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 1", "delete line"}));
    EXPECT_EQ(fakes::platformLog(), (Log{requested(1), cleared(), deleted()}));
}

TEST_F(HoldFlag, IsClearedAtTheSecondAttempt)
{
    fakes::holdLine().writeStatus = {-3};
    fakes::holdLine().errorNumber = EBUSY;
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(fakes::journal(), (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 0",
                                       "pause 50 ms", "write bit 0", "delete line"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{requested(0), failed(-3, "Device or resource busy"), cleared(), deleted()}));
}

TEST_F(HoldFlag, IsGivenUpAfterTwoAttemptsAndTwoPauses)
{
    fakes::holdLine().writeStatus = {4, 5};
    fakes::holdLine().errorNumber = EIO;
    EXPECT_EQ(cpld_update_holdS5(0), 0);
    EXPECT_EQ(fakes::journal(),
              (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 0", "pause 50 ms", "write bit 0",
                     "pause 50 ms", "delete line"}));
    EXPECT_EQ(fakes::platformLog(), (Log{requested(0), failed(4, "Input/output error"),
                                         failed(5, "Input/output error"), deleted()}));
}

TEST_F(HoldFlag, WithoutAConfigurationFailsTwiceAndReleasesNothing)
{
    fakes::holdLine().missing = 3;
    fakes::holdLine().errorNumber = ENOENT;
    EXPECT_EQ(cpld_update_holdS5(0), 0);
    EXPECT_EQ(fakes::journal(), (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE: missing",
                                       "read HOLD_S5_FLOP_CPLD_UPDATE: missing", "pause 50 ms",
                                       "read HOLD_S5_FLOP_CPLD_UPDATE: missing", "pause 50 ms"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{requested(0), missing(), failed(-1, "No such file or directory"), missing(),
                   failed(-1, "No such file or directory")}));
}

TEST_F(HoldFlag, ReadsAMissingConfigurationOnceMoreInTheSameAttempt)
{
    fakes::holdLine().missing = 1;
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(fakes::journal(),
              (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE: missing", "read HOLD_S5_FLOP_CPLD_UPDATE",
                     "write bit 0", "delete line"}));
    EXPECT_EQ(fakes::platformLog(), (Log{requested(0), cleared(), deleted()}));
}

TEST_F(HoldFlag, FindsTheConfigurationInTheSecondAttempt)
{
    fakes::holdLine().missing = 2;
    fakes::holdLine().errorNumber = ENOENT;
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(
        fakes::journal(),
        (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE: missing", "read HOLD_S5_FLOP_CPLD_UPDATE: missing",
               "pause 50 ms", "read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 0", "delete line"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{requested(0), missing(), failed(-1, "No such file or directory"), cleared(),
                   deleted()}));
}

TEST_F(HoldFlag, RemovesAnInterruptCallbackBeforeTheObjectGoes)
{
    fakes::holdLine().interruptCallback = 9;
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(fakes::journal(), (Lines{"read HOLD_S5_FLOP_CPLD_UPDATE", "write bit 0",
                                       "unregister interrupt callback", "delete line"}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{requested(0), cleared(),
                   lineOf(5, 273, "[%s]: UnregisterInterruptCallback for [%s], ret= %d",
                          "~HAL_cfgdata", flag, 9),
                   deleted()}));
}

TEST_F(HoldFlag, TellsOfTheDeletionWhenItIsDone)
{
    Log before;
    fakes::holdLine().whenDeleted = [&] { before = fakes::platformLog(); };
    EXPECT_EQ(cpld_update_holdS5(0), 1);
    EXPECT_EQ(before, (Log{requested(0), cleared()}));
}

} // namespace

// Nothing shows the stamp, so it is seen where it is made.
extern "C" std::size_t strftime(char* text, std::size_t size, const char* format,
                                const std::tm*) __THROW
{
    stampFormat = format;
    stampSize = size;
    *text = '\0';
    return 0;
}
