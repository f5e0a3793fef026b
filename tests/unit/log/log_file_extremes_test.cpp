#include "fakes/next_symbol.hpp"
#include "log/file_descriptor.hpp"
#include "log/log.hpp"
#include "log/log_file.hpp"
#include "service_test.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

namespace
{

constexpr auto logPath = "/var/log/tavrinupdate.log";

/** How often the process wrote to any file. */
std::atomic<unsigned> writes;
/** Whether no place in any file can be found. */
std::atomic<bool> seeksFail;
/** How often a file was read or written that a started program would inherit. */
std::atomic<unsigned> inherited;

void look(int fd)
{
    const unsigned flags = static_cast<unsigned>(::fcntl(fd, F_GETFD)); // NOLINT: is variadic
    inherited += (flags & FD_CLOEXEC) != 0 ? 0U : 1U;
}

class LogFileExtremes : public ServiceTest
{
  protected:
    static std::filesystem::path place() { return fakes::placeOf(logPath); }
    static std::string content() { return fakes::contentOf(place()); }

    static fakes::LogLine notOpened()
    {
        return fakes::lineOf(1, 337, "[%s] : logging: Failed to open log file: %s\n", "addlog",
                             logPath);
    }

    static fakes::LogLine notRewritten()
    {
        return fakes::lineOf(1, 337, "[%s] : ofstream: Failed to open log file: %s\n",
                             "delete_old_log", logPath);
    }

    static fakes::LogLine notRead()
    {
        return fakes::lineOf(1, 337, "[%s] : ifstream: Failed to open log file: %s\n",
                             "delete_old_log", logPath);
    }
};

TEST_F(LogFileExtremes, AFileThatCannotBeRewrittenGrowsAndEachRecordTellsOfIt)
{
    const std::string old(9214, 'o');
    fakes::write(place(), old);
    fakes::refuseLogFile('w');
    addlog("a");
    addlog("b");
    EXPECT_EQ(content(), old + "9214 : a9222 : b");
    EXPECT_EQ(fakes::platformLog(), (Log{notRewritten(), notRewritten()}));

    fakes::refuseLogFile('\0');
    addlog("c");
    EXPECT_EQ(content(), old.substr(1024) + "9214 : a9222 : b9230 : c");
}

TEST_F(LogFileExtremes, AFileThatCannotBeReadIsNotRewritten)
{
    const std::string old(9216, 'o');
    fakes::write(place(), old);
    fakes::refuseLogFile('r');
    addlog("a");
    EXPECT_EQ(content(), old + "9216 : a");
    EXPECT_EQ(fakes::platformLog(), Log{notRead()});
}

TEST_F(LogFileExtremes, AFileInWhichThePlaceToCutCannotBeFoundIsLeftAsItIs)
{
    const std::string old(9216, 'o');
    fakes::write(place(), old);
    seeksFail = true;
    delete_old_log();
    seeksFail = false;
    EXPECT_EQ(content(), old);
    delete_old_log();
    EXPECT_EQ(content(), old.substr(1024));
}

TEST_F(LogFileExtremes, AVeryLargeFileIsReadToItsEnd)
{
    std::string old(100000, 'o');
    old.back() = 'e';
    fakes::write(place(), old);
    delete_old_log();
    EXPECT_EQ(content(), old.substr(1024));
}

TEST_F(LogFileExtremes, AFullMediumLosesTheRecordAndIsToldToNobody)
{
    std::filesystem::create_symlink("/dev/full", place());
    addlog("lost\n");
    EXPECT_EQ(fakes::platformLog(), Log{});
    EXPECT_TRUE(std::filesystem::is_symlink(place()));
}

// Here and below, a service that waits for the other end of a pipe would never come back.
TEST_F(LogFileExtremes, APipeThatNobodyReadsIsAFileThatCannotBeOpened)
{
    ASSERT_EQ(::mkfifo(place().c_str(), 0600), 0);
    addlog("lost\n");
    delete_old_log();
    EXPECT_EQ(fakes::platformLog(), (Log{notOpened(), notRead()}));
    EXPECT_TRUE(std::filesystem::is_fifo(place()));
}

TEST_F(LogFileExtremes, AFullPipeLosesTheRecord)
{
    ASSERT_EQ(::mkfifo(place().c_str(), 0600), 0);
    const FileDescriptor reader = openFile(place().c_str(), O_RDONLY);
    ASSERT_EQ(::fcntl(reader.get(), F_SETPIPE_SZ, 4096), 4096);
    const std::string message(995, 'm'); // a pipe has no places, so its record begins with -1
    for (int record = 0; record < 5; ++record)
    {
        addlog(message.c_str());
    }
    EXPECT_EQ(fakes::platformLog(), Log{});
    std::array<std::byte, 8192> read{};
    EXPECT_EQ(readUpTo(reader, read), 4000U);
}

TEST_F(LogFileExtremes, AReadThatBringsLessThanAskedForIsNotTheEnd)
{
    // What is written at once to such a pipe is read at once, and no more.
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_DIRECT | O_CLOEXEC), 0);
    const FileDescriptor reader(ends.front());
    FileDescriptor writer(ends.back());
    ASSERT_EQ(::write(writer.get(), "ab", 2), 2);
    ASSERT_EQ(::write(writer.get(), "cd", 2), 2);
    ::close(writer.release());
    std::array<char, 5> read{};
    EXPECT_EQ(readUpTo(reader, std::as_writable_bytes(std::span(read))), 4U);
    EXPECT_STREQ(read.data(), "abcd");
}

TEST_F(LogFileExtremes, ADeviceIsNotReadForItNeedHaveNoEnd)
{
    std::filesystem::create_symlink("/dev/zero", place());
    delete_old_log();
    EXPECT_EQ(fakes::platformLog(), Log{notRead()});
}

TEST_F(LogFileExtremes, IsInheritedByNoProgramThatIsStartedMeanwhile)
{
    fakes::write(place(), std::string(9215, 'o'));
    writes = 0;
    inherited = 0;
    addlog("");
    EXPECT_EQ(writes, 2U);
    EXPECT_EQ(inherited, 0U);
}

struct CutMessage
{
    std::size_t sizeBefore;
    std::size_t sizeAfter;
};

class CutMessageAtTheLimit : public LogFileExtremes, public testing::WithParamInterface<CutMessage>
{
};

// The file gets "8186 : " and 1023 of the message's 2000 characters, and that is what counts.
TEST_P(CutMessageAtTheLimit, CountsWithTheLengthThatIsWritten)
{
    fakes::write(place(), std::string(GetParam().sizeBefore, 'o'));
    logRecord("%s", std::string(2000, 'm').c_str());
    const auto record = std::to_string(GetParam().sizeBefore) + " : " + std::string(1023, 'm');
    EXPECT_EQ(content(), std::string(GetParam().sizeAfter - record.size(), 'o') + record);
}

INSTANTIATE_TEST_SUITE_P(Sizes, CutMessageAtTheLimit,
                         testing::Values(CutMessage{8185, 9215}, CutMessage{8186, 9216 - 1024},
                                         CutMessage{8187, 9217 - 1024}));

TEST_F(LogFileExtremes, ANewFileHasTheModeThatTheProcessGivesItsFiles)
{
    const auto before = ::umask(0027);
    addlog("first\n");
    ::umask(before);
    struct stat found
    {
    };
    ASSERT_EQ(::stat(place().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0640U);
}

TEST_F(LogFileExtremes, ATrimmedFileIsTheSameFile)
{
    fakes::write(place(), std::string(9300, 'o'));
    ASSERT_EQ(::chmod(place().c_str(), 0604), 0);
    struct stat before
    {
    };
    struct stat after
    {
    };
    ASSERT_EQ(::stat(place().c_str(), &before), 0);
    delete_old_log();
    ASSERT_EQ(::stat(place().c_str(), &after), 0);
    EXPECT_EQ(after.st_size, 9300 - 1024);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
}

TEST_F(LogFileExtremes, ARecordIsWrittenInOneGoSoThatThoseOfSeveralThreadsStayWhole)
{
    fakes::write(place(), "before\n");
    writes = 0;
    addlog("message\n");
    EXPECT_EQ(writes, 1U);
    EXPECT_EQ(content(), "before\n7 : message\n");
}

} // namespace

// Take the places of the C library's.

extern "C" ssize_t write(int fd, const void* bytes, std::size_t count)
{
    ++writes;
    look(fd);
    return fakes::nextSymbol<ssize_t(int, const void*, std::size_t)>("write")(fd, bytes, count);
}

extern "C" ssize_t read(int fd, void* bytes, std::size_t count)
{
    look(fd);
    return fakes::nextSymbol<ssize_t(int, void*, std::size_t)>("read")(fd, bytes, count);
}

extern "C" off_t lseek(int fd, off_t offset, int whence) noexcept
{
    if (seeksFail)
    {
        errno = ESPIPE;
        return -1;
    }
    return fakes::nextSymbol<off_t(int, off_t, int)>("lseek")(fd, offset, whence);
}
