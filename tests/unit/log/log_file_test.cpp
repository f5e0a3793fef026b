#include "log/log_file.hpp"

#include "service_test.hpp"

namespace
{

constexpr auto logPath = "/var/log/tavrinupdate.log";

constexpr std::size_t trimmed = 1024;

/** Bytes that tell where they stand in the file. */
std::string pattern(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
    {
        text[i] = static_cast<char>('a' + (i / 7 + i) % 26);
    }
    return text;
}

class LogFile : public ServiceTest
{
  protected:
    static std::string content() { return fakes::contentOf(fakes::placeOf(logPath)); }
    static bool exists() { return std::filesystem::exists(fakes::placeOf(logPath)); }
    static void holds(std::string_view text) { fakes::write(fakes::placeOf(logPath), text); }
    static void hasNoFolder()
    {
        std::filesystem::remove_all(fakes::placeOf(logPath).parent_path());
    }
};

class LogFileTrim : public LogFile
{
};

TEST_F(LogFile, TheFirstRecordOfANewFileBeginsWithZero)
{
    addlog("first\n");
    EXPECT_EQ(content(), "0 : first\n");
}

TEST_F(LogFile, TheFirstRecordOfAnEmptyFileBeginsWithZero)
{
    holds("");
    addlog("first\n");
    EXPECT_EQ(content(), "0 : first\n");
}

TEST_F(LogFile, ARecordBeginsWithTheSizeThatTheFileHadBefore)
{
    addlog("first\n");
    addlog("second\n");
    addlog("third\n");
    EXPECT_EQ(content(), "0 : first\n10 : second\n22 : third\n");
}

TEST_F(LogFile, AMessageWithoutANewlineSharesItsLineWithTheNextRecord)
{
    addlog("no end");
    addlog("next\n");
    EXPECT_EQ(content(), "0 : no end10 : next\n");
}

TEST_F(LogFile, AnEmptyMessageIsARecord)
{
    addlog("");
    EXPECT_EQ(content(), "0 : ");
}

TEST_F(LogFile, AMessageIsNoFormat)
{
    addlog("100 %s %n\n");
    EXPECT_EQ(content(), "0 : 100 %s %n\n");
}

TEST_F(LogFile, LineEndsAreWrittenAsTheyAre)
{
    addlog("a\r\nb\n");
    EXPECT_EQ(content(), "0 : a\r\nb\n");
}

TEST_F(LogFile, ANullMessageWritesNothing)
{
    addlog(nullptr);
    EXPECT_FALSE(exists());
}

TEST_F(LogFile, AGoodRecordTellsThePlatformLogNothing)
{
    addlog("first\n");
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(LogFile, AFileThatCannotBeOpenedIsToldToThePlatformLogOnceAMessage)
{
    hasNoFolder();
    addlog("lost\n");
    addlog("lost too\n");
    const auto line =
        fakes::lineOf(1, 337, "[%s] : logging: Failed to open log file: %s\n", "addlog", logPath);
    EXPECT_EQ(fakes::platformLog(), (Log{line, line}));
    EXPECT_FALSE(exists());
}

TEST_F(LogFile, AMessageThatCouldNotBeWrittenIsNotKept)
{
    fakes::refuseLogFile('a');
    addlog("lost\n");
    fakes::refuseLogFile('\0');
    addlog("kept\n");
    EXPECT_EQ(content(), "0 : kept\n");
}

TEST_F(LogFileTrim, ARecordThatReachesTheLimitMakesTheOldestKilobyteGo)
{
    const auto old = pattern(9000);
    const auto message = std::string(300, 'M');
    holds(old);
    addlog(message.c_str());
    EXPECT_EQ(content().size(), 8283U);
    EXPECT_EQ(content(), old.substr(trimmed) + "9000 : " + message);
}

TEST_F(LogFileTrim, AFileOneByteBelowTheLimitIsLeftAlone)
{
    // 9000 + "9000 : " + 208 = 9215
    const auto old = pattern(9000);
    const auto message = std::string(208, 'M');
    holds(old);
    addlog(message.c_str());
    EXPECT_EQ(content(), old + "9000 : " + message);
}

TEST_F(LogFileTrim, AFileOfExactlyTheLimitIsTrimmed)
{
    const auto old = pattern(9000);
    const auto message = std::string(209, 'M');
    holds(old);
    addlog(message.c_str());
    EXPECT_EQ(content(), old.substr(trimmed) + "9000 : " + message);
    EXPECT_EQ(content().size(), 9216U - trimmed);
}

TEST_F(LogFileTrim, AnyRecordTrimsAFileThatWasOneByteBelowTheLimit)
{
    const auto old = pattern(9215);
    holds(old);
    addlog("");
    EXPECT_EQ(content(), old.substr(trimmed) + "9215 : ");
}

TEST_F(LogFileTrim, OffsetsGoOnFromTheTrimmedSize)
{
    holds(pattern(9215));
    addlog("");
    addlog("next\n");
    EXPECT_TRUE(content().ends_with("9215 : 8198 : next\n"));
}

TEST_F(LogFileTrim, AFarTooLargeFileLosesOneKilobyteARecord)
{
    const auto old = pattern(20000);
    holds(old);
    addlog("x");
    EXPECT_EQ(content(), old.substr(trimmed) + "20000 : x");
}

TEST_F(LogFileTrim, TheCutLooksForNoLineEnd)
{
    holds(std::string(1020, 'a') + "\nbcdefg\nh");
    delete_old_log();
    EXPECT_EQ(content(), "efg\nh");
}

TEST_F(LogFileTrim, EveryByteValueSurvives)
{
    std::string bytes(trimmed, 'x');
    for (int value = 0; value < 256; ++value)
    {
        bytes += static_cast<char>(value);
    }
    holds(bytes);
    delete_old_log();
    EXPECT_EQ(content(), bytes.substr(trimmed));
}

TEST_F(LogFileTrim, AFileShorterThanTheStepBecomesEmpty)
{
    holds(pattern(1023));
    delete_old_log();
    EXPECT_TRUE(exists());
    EXPECT_EQ(content(), "");
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(LogFileTrim, AFileOfExactlyTheStepBecomesEmpty)
{
    holds(pattern(trimmed));
    delete_old_log();
    EXPECT_TRUE(exists());
    EXPECT_EQ(content(), "");
}

TEST_F(LogFileTrim, AMissingFileIsToldAndNotCreated)
{
    delete_old_log();
    EXPECT_EQ(fakes::platformLog(),
              Log{fakes::lineOf(1, 337, "[%s] : ifstream: Failed to open log file: %s\n",
                                "delete_old_log", logPath)});
    EXPECT_FALSE(exists());
}

TEST_F(LogFileTrim, AFileThatCannotBeRewrittenKeepsItsContent)
{
    const auto old = pattern(2000);
    holds(old);
    fakes::refuseLogFile('w');
    delete_old_log();
    EXPECT_EQ(content(), old);
    EXPECT_EQ(fakes::platformLog(),
              Log{fakes::lineOf(1, 337, "[%s] : ofstream: Failed to open log file: %s\n",
                                "delete_old_log", logPath)});
}

TEST_F(LogFileTrim, ATrimThatFailedIsTriedAgainWithTheNextRecord)
{
    const auto old = pattern(9300);
    holds(old);
    fakes::refuseLogFile('r');
    addlog("a");
    EXPECT_EQ(content(), old + "9300 : a");
    fakes::refuseLogFile('\0');
    addlog("b");
    EXPECT_EQ(content(), (old + "9300 : a9308 : b").substr(trimmed));
}

} // namespace
