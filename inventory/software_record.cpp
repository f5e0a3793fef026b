#include "inventory/software_record.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace
{

constexpr std::size_t headerSize = 109;

// Sizes of the texts' buffers, and how much of them is written at most, NUL included.
constexpr std::size_t keyBufferSize = 30;
constexpr std::size_t keyLimit = 29;
constexpr std::size_t displayNameBufferSize = 50;
constexpr std::size_t displayNameLimit = 49;

template <typename Integer>
void putLittleEndian(std::span<std::uint8_t> target, Integer value)
{
    for (auto& byte : target.first(sizeof(value)))
    {
        byte = static_cast<std::uint8_t>(value & 0xFFU);
        value = static_cast<Integer>(value >> 8U);
    }
}

constexpr std::size_t offsetOf(RecordField field)
{
    return static_cast<std::size_t>(field);
}

} // namespace

SoftwareRecord::SoftwareRecord(std::span<std::uint8_t> block, std::uint32_t componentId) :
    block_(block), nextFree_(headerSize)
{
    std::fill(block_.begin(), block_.end(), std::uint8_t{0});
    put(RecordField::nextFreeOffset, static_cast<std::uint32_t>(nextFree_));
    put(RecordField::componentId, componentId);
}

void SoftwareRecord::append(RecordField field, std::string_view text)
{
    if (text.size() + 1 > block_.size() - nextFree_)
    {
        return;
    }
    std::copy(text.begin(), text.end(), block_.subspan(nextFree_).begin());
    put(field, static_cast<std::uint32_t>(nextFree_));
    nextFree_ += text.size() + 1;
    put(RecordField::nextFreeOffset, static_cast<std::uint32_t>(nextFree_));
}

void SoftwareRecord::appendKey(std::string_view key)
{
    put(RecordField::keyBehindType,
        static_cast<std::uint32_t>(nextFree_ + std::strlen(softwareType)));
    append(RecordField::key, key);
}

void SoftwareRecord::setChangeValue(std::uint64_t value)
{
    putLittleEndian(block_.subspan(offsetOf(RecordField::changeValue)), value);
}

std::size_t SoftwareRecord::stringBytes() const
{
    return nextFree_ - headerSize;
}

void SoftwareRecord::put(RecordField field, std::uint32_t value)
{
    putLittleEndian(block_.subspan(offsetOf(field)), value);
}

std::string recordKey(const std::string& fqdd)
{
    std::array<char, keyBufferSize> key{};
    std::snprintf(key.data(), keyLimit, "%s||%s", softwareType, fqdd.c_str());
    return key.data();
}

std::string recordDisplayName(const std::string& base, InstanceIndex index)
{
    std::array<char, displayNameBufferSize> name{};
    std::snprintf(name.data(), displayNameLimit, "%s.%d", base.c_str(), index.number());
    return name.data();
}
