#include "log/log_file.hpp"

#include "platform/dlog.h"

#include <array>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

constexpr auto logFilePath = "/var/log/tavrinupdate.log";
constexpr double sizeLimit = 9216.0;
constexpr std::streamoff trimmedBytes = 1024;

// The log file's own failures cannot go to the log file; they have a module number of their own.
constexpr int failureLevel = 1;
constexpr int failureModule = 337;

/** Writes one record. @return the file's new size, or -1 when the file could not be opened */
std::streamoff appendRecord(const std::string& message)
{
    std::ofstream file(logFilePath, std::ios::out | std::ios::app | std::ios::binary);
    if (!file.is_open())
    {
        dlog_printf(failureLevel, failureModule, "[%s] : logging: Failed to open log file: %s\n",
                    "addlog", logFilePath);
        return -1;
    }
    const std::streamoff sizeBefore = file.tellp();
    file << std::to_string(sizeBefore) + " : " + message << std::flush;
    return file.tellp();
}

/** Everything behind the bytes that a trim drops. @return false when the file cannot be read */
bool readRemainder(std::vector<char>& remainder)
{
    std::ifstream file(logFilePath, std::ios::in | std::ios::binary);
    if (!file.is_open())
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ifstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return false;
    }
    file.seekg(trimmedBytes, std::ios::beg);
    remainder.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return true;
}

void rewriteWith(const std::vector<char>& remainder)
{
    // The file is empty once it is open; without a buffer of its own the stream would ask for
    // memory then, and where there is none, all records would be lost.
    std::array<char, 1024> buffer{};
    std::ofstream file;
    file.rdbuf()->pubsetbuf(buffer.data(), buffer.size());
    file.open(logFilePath, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file.is_open())
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ofstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return;
    }
    file.write(remainder.data(), static_cast<std::streamsize>(remainder.size()));
    file.flush();
}

} // namespace

void addlog(char const* message)
try
{
    if (message == nullptr)
    {
        return;
    }
    if (static_cast<double>(appendRecord(message)) >= sizeLimit)
    {
        delete_old_log();
    }
}
catch (const std::exception&) // NOLINT(bugprone-empty-catch)
{
    // No memory, or a medium that fails: the record is lost, its writer must not be.
}

void delete_old_log()
try
{
    std::vector<char> remainder;
    if (readRemainder(remainder))
    {
        rewriteWith(remainder);
    }
}
catch (const std::exception&) // NOLINT(bugprone-empty-catch)
{
    // No memory, or a medium that fails: the next record trims again.
}
