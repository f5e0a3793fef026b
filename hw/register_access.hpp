#pragma once

#include "service/tavrinupdate.hpp"

#include <array>
#include <cstdint>

/** Reads one byte. @param value set to zero first, then to what was read */
[[nodiscard]] inline bool readRegister(std::uint8_t number, std::uint8_t& value,
                                       const CpldInventory& record, int fd)
{
    const std::array<std::uint8_t, 1> request{number};
    std::array<std::uint8_t, 1> answer{};
    const bool read = Tavrinupdate::tavrinWR(request, answer, record, fd);
    value = answer.front();
    return read;
}

/** Writes one byte: a transfer whose read message reads nothing. */
[[nodiscard]] inline bool writeRegister(std::uint8_t number, std::uint8_t value,
                                        const CpldInventory& record, int fd)
{
    const std::array<std::uint8_t, 2> request{number, value};
    return Tavrinupdate::tavrinWR(request, {}, record, fd);
}
