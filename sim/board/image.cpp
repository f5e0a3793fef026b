#include "board/image.hpp"

#include <algorithm>
#include <array>

namespace sim
{

namespace
{

constexpr std::array<unsigned char, 8> magic = {'S', 'I', 'M', 'C', 'P', 'L', 'D', '\0'};
constexpr std::size_t kindOffset = 8;
constexpr std::size_t versionOffset = 9;
constexpr std::size_t lengthOffset = 12;

constexpr std::size_t payloadHeaderSize = 124;
constexpr std::size_t signatureSize = 96;

std::uint32_t littleEndian(Bytes bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = sizeof(value); i > 0; --i)
    {
        value = (value << 8U) | bytes[i - 1];
    }
    return value;
}

} // namespace

std::optional<ImageHeader> ImageHeader::read(Bytes image)
{
    if (image.size() < size || !std::equal(magic.begin(), magic.end(), image.begin()))
    {
        return std::nullopt;
    }
    const Bytes version = image.subspan(versionOffset, 3);
    return ImageHeader{static_cast<Kind>(image[kindOffset]),
                       {version[0], version[1], version[2]},
                       littleEndian(image.subspan(lengthOffset, 4))};
}

Bytes imageOfPayload(Bytes payload)
{
    if (payload.size() < payloadHeaderSize + signatureSize)
    {
        return {};
    }
    return payload.subspan(payloadHeaderSize, payload.size() - payloadHeaderSize - signatureSize);
}

} // namespace sim
