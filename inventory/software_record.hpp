#pragma once

/**
 * @file
 * Layout of a software-inventory record (BSO): a packed header whose fields hold the offsets of
 * NUL-terminated strings that follow it. Integers are little-endian.
 */

#include "service/instances.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/** Size in bytes of the block that holds a record. */
inline constexpr std::size_t softwareRecordSize = 4096;

/** Software type of a CPLD in the software inventory. */
inline constexpr auto softwareType = "0x803";

/** Fields of the header, by their offset. */
enum class RecordField : std::size_t
{
    nextFreeOffset = 0,
    key = 20,
    keyBehindType = 24,
    changeValue = 32,
    previousVersion = 40,
    currentVersion = 44,
    cpldVersion = 48,
    displayName = 52,
    componentId = 60,
    sha256 = 71,
};

/** Builds a record in a block that somebody else owns. */
class SoftwareRecord
{
  public:
    /**
     * Zeroes the block and writes the header's constants.
     *
     * @param block must outlive this object and have softwareRecordSize bytes
     */
    SoftwareRecord(std::span<std::uint8_t> block, std::uint32_t componentId);

    /**
     * Appends a string with its NUL and stores its offset in `field`.
     *
     * A string that does not fit any more is left out, and so is its offset.
     */
    void append(RecordField field, std::string_view text);

    /** Appends the key; its second field points behind the type text. */
    void appendKey(std::string_view key);

    void setChangeValue(std::uint64_t value);

    /** Next free offset of the block. */
    std::size_t size() const { return nextFree_; }

    /** Bytes used in the string area. */
    std::size_t stringBytes() const;

  private:
    void put(RecordField field, std::uint32_t value);

    std::span<std::uint8_t> block_;
    std::size_t nextFree_;
};

/** Key of an instance's record; at most 28 characters are kept. */
std::string recordKey(const std::string& fqdd);

/** Display name of an instance; at most 48 characters are kept. */
std::string recordDisplayName(const std::string& base, InstanceIndex index);
