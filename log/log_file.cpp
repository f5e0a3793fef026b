#include "log/log_file.hpp"

#include "log/file_descriptor.hpp"
#include "platform/dlog.h"

#include <fcntl.h>

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr auto logFilePath = "/var/log/tavrinupdate.log";
constexpr double sizeLimit = 9216.0;
constexpr off_t trimmedBytes = 1024;

// The log file's own failures cannot go to the log file; they have a module number of their own.
constexpr int failureLevel = 1;
constexpr int failureModule = 337;

/** @return false when not all of it was written */
bool write(const FileDescriptor& file, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (count <= 0)
        {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/** Writes one record. @return the file's new size, or -1 when it could not be opened or written */
off_t appendRecord(const char* message)
{
    const FileDescriptor file = openFile(logFilePath, O_WRONLY | O_APPEND | O_CREAT);
    if (!file.isOpen())
    {
        dlog_printf(failureLevel, failureModule, "[%s] : logging: Failed to open log file: %s\n",
                    "addlog", logFilePath);
        return -1;
    }
    const off_t size = ::lseek(file.get(), 0, SEEK_END);
    const std::string record = std::to_string(size) + " : " + message;
    return write(file, record) ? ::lseek(file.get(), 0, SEEK_CUR) : -1;
}

/** @return false where the medium fails */
bool readToEnd(const FileDescriptor& file, std::vector<char>& bytes)
{
    // More than a file holds that is trimmed in time, so that one read takes it whole.
    constexpr std::size_t piece = 16384;
    std::optional<std::size_t> count = piece;
    while (count == piece)
    {
        const std::size_t used = bytes.size();
        bytes.resize(used + piece);
        count = readUpTo(file, std::as_writable_bytes(std::span(bytes).subspan(used)));
        bytes.resize(used + count.value_or(0));
    }
    return count.has_value();
}

/** Everything behind the bytes that a trim drops. @return false when the file cannot be read */
bool readRemainder(std::vector<char>& remainder)
{
    const FileDescriptor file = openFile(logFilePath, O_RDONLY);
    // A device may never come to an end.
    if (!isRegularFile(file))
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ifstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return false;
    }
    return ::lseek(file.get(), trimmedBytes, SEEK_SET) >= 0 && readToEnd(file, remainder);
}

/** Allocates nothing: the file is empty once it is open, and a failure would leave it so. */
void rewriteWith(std::string_view remainder)
{
    const FileDescriptor file = openFile(logFilePath, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen())
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ofstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return;
    }
    write(file, remainder);
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
    // No memory, or a medium that fails: the record is lost, and the caller goes on.
}

void delete_old_log()
try
{
    std::vector<char> remainder;
    if (readRemainder(remainder))
    {
        rewriteWith({remainder.data(), remainder.size()});
    }
}
catch (const std::exception&) // NOLINT(bugprone-empty-catch)
{
    // No memory, or a medium that fails: the next record trims again.
}
