#pragma once

#include <filesystem>
#include <optional>
#include <string>

/** Whether a file name's extension is exactly ".payload"; a name of nothing else has none. */
bool isPayloadName(const std::filesystem::path& fileName);

/** The text after the last "." of a path; all of it where there is none. */
std::string fileType(const std::string& path);

/** Whether an update can be made from a file of this type. */
bool isSupportedType(const std::string& type);

/**
 * The first payload in the order of the directory's listing: a regular file, or a link to one.
 *
 * @return its file name
 * @throws std::filesystem::filesystem_error when the directory or an entry cannot be read
 */
std::optional<std::filesystem::path> findPayload(const std::filesystem::path& directory);
