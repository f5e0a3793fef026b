#include "log/log_file.hpp"

#include "platform/dlog.h"

#include <array>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr auto logFilePath = "/var/log/tavrinupdate.log";
constexpr double sizeLimit = 9216.0;
constexpr std::streamoff trimmedBytes = 1024;

// The log file's own failures cannot go to the log file; they have a module number of their own.
constexpr int failureLevel = 1;
constexpr int failureModule = 337;

// Nothing here is formatted or parsed, so the stream buffers do without streams, whose set-up costs
// more than the record itself.

/** Where the next byte goes; -1 where the file has no such place. */
std::streamoff position(std::filebuf& file)
{
    return file.pubseekoff(0, std::ios::cur);
}

/** @return false when not all of it was written */
bool write(std::filebuf& file, std::string_view bytes)
{
    const auto size = static_cast<std::streamsize>(bytes.size());
    return file.sputn(bytes.data(), size) == size && file.pubsync() == 0;
}

/** Writes one record. @return the file's new size, or -1 when it could not be opened or written */
std::streamoff appendRecord(const char* message)
{
    std::filebuf file;
    if (file.open(logFilePath, std::ios::out | std::ios::app | std::ios::binary) == nullptr)
    {
        dlog_printf(failureLevel, failureModule, "[%s] : logging: Failed to open log file: %s\n",
                    "addlog", logFilePath);
        return -1;
    }
    const std::string record = std::to_string(position(file)) + " : " + message;
    return write(file, record) ? position(file) : -1;
}

void readToEnd(std::filebuf& file, std::vector<char>& bytes)
{
    // More than a file has that is trimmed in time, so that it is read in one go.
    constexpr std::streamsize piece = 16384;
    std::streamsize count = piece;
    while (count == piece)
    {
        const std::size_t used = bytes.size();
        bytes.resize(used + piece);
        count = file.sgetn(bytes.data() + used, piece); // NOLINT(*-pointer-arithmetic): its new end
        bytes.resize(used + static_cast<std::size_t>(count));
    }
}

/** Everything behind the bytes that a trim drops. @return false when the file cannot be read */
bool readRemainder(std::vector<char>& remainder)
{
    std::filebuf file;
    if (file.open(logFilePath, std::ios::in | std::ios::binary) == nullptr)
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ifstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return false;
    }
    file.pubseekoff(trimmedBytes, std::ios::beg);
    readToEnd(file, remainder);
    return true;
}

void rewriteWith(const std::vector<char>& remainder)
{
    // The file is empty once it is open; without a buffer of its own the stream would ask for
    // memory then, and where there is none, all records would be lost.
    std::array<char, 1024> buffer{};
    std::filebuf file;
    file.pubsetbuf(buffer.data(), buffer.size());
    if (file.open(logFilePath, std::ios::out | std::ios::trunc | std::ios::binary) == nullptr)
    {
        dlog_printf(failureLevel, failureModule, "[%s] : ofstream: Failed to open log file: %s\n",
                    "delete_old_log", logFilePath);
        return;
    }
    write(file, {remainder.data(), remainder.size()});
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
