#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace fakes
{

/**
 * Where a file of the controller lies while a test runs.
 *
 * The log file and everything below "/etc/shared_keys" are kept in a folder of the test's process,
 * which goes when it ends; the machine's own files of these names are never touched.
 *
 * @param path as the service names it; any other path leads to itself
 */
std::filesystem::path placeOf(std::string_view path);

/** For the fake of `open`: opens what lies in the place of a path. */
int openInPlace(const char* path, int flags, mode_t mode);

/** Makes the log file impossible to open with one mode: 'r', 'w' or 'a'. */
void refuseLogFile(char mode);

/** Empties the folder and takes refusals back. */
void resetFiles();

/** An empty folder for whatever a test needs; emptied by resetFiles(). */
std::filesystem::path scratchFolder();

std::string contentOf(const std::filesystem::path& path);
void write(const std::filesystem::path& path, std::string_view content);

} // namespace fakes
