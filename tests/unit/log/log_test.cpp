#include "log/log.hpp"

#include "service_test.hpp"

namespace
{

constexpr auto logPath = "/var/log/tavrinupdate.log";

class LogCalls : public ServiceTest
{
  protected:
    static std::string file() { return fakes::contentOf(fakes::placeOf(logPath)); }
};

TEST_F(LogCalls, TheErrorLogGoesToThePlatformAtLevelOne)
{
    logRecord("[%s] : %d%%\n", "someFunction", 5);
    EXPECT_EQ(fakes::platformLog(), (Log{{1, 352, "[%s] : %d%%\n", "[someFunction] : 5%\n"}}));
}

TEST_F(LogCalls, TheErrorLogGoesToTheFile)
{
    logRecord("[%s] : %d%%\n", "someFunction", 5);
    EXPECT_EQ(file(), "0 : [someFunction] : 5%\n");
}

TEST_F(LogCalls, TheTraceLogGoesToThePlatformAtLevelFour)
{
    logTrace("[%s] : %s\n", "someFunction", "step");
    EXPECT_EQ(fakes::platformLog(), (Log{{4, 352, "[%s] : %s\n", "[someFunction] : step\n"}}));
}

TEST_F(LogCalls, TheTraceLogLeavesTheFileAlone)
{
    logTrace("[%s] : %s\n", "someFunction", "step");
    EXPECT_FALSE(std::filesystem::exists(fakes::placeOf(logPath)));
}

TEST_F(LogCalls, AMessageOf1023CharactersIsWrittenWhole)
{
    const std::string message(1023, 'm');
    logRecord("%s", message.c_str());
    EXPECT_EQ(file(), "0 : " + message);
}

TEST_F(LogCalls, ALongerMessageIsCutInTheFile)
{
    const std::string message = std::string(1023, 'm') + "cut";
    logRecord("%s", message.c_str());
    EXPECT_EQ(file(), "0 : " + message.substr(0, 1023));
}

TEST_F(LogCalls, ALongerMessageReachesThePlatformWhole)
{
    const std::string message = std::string(1023, 'm') + "cut";
    logRecord("%s", message.c_str());
    EXPECT_EQ(fakes::platformLog(), (Log{{1, 352, "%s", message}}));
}

TEST_F(LogCalls, AMessageReachesThePlatformThoughTheFileCannotBeOpened)
{
    fakes::refuseLogFile('a');
    logRecord("[%s] : lost\n", "someFunction");
    EXPECT_EQ(fakes::platformLog(),
              (Log{fakes::errorLine("[%s] : lost\n", "someFunction"),
                   fakes::lineOf(1, 337, "[%s] : logging: Failed to open log file: %s\n", "addlog",
                                 logPath)}));
}

} // namespace
