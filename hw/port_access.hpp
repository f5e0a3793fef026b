#pragma once

#include "log/file_descriptor.hpp"
#include "service/tavrinupdate.hpp"

#include <cstdint>
#include <optional>

/**
 * Opens an instance's device node for its programming port.
 *
 * @param caller names the operation in the log lines
 * @return nothing on failure, which has been logged
 */
std::optional<FileDescriptor> openForProgramming(const char* caller, InstanceIndex index,
                                                 CpldInventory& record);

/** Reads one byte. @param value set to zero first, then to what was read */
[[nodiscard]] bool readRegister(std::uint8_t number, std::uint8_t& value,
                                const CpldInventory& record, int fd);

/** Writes one byte: a transfer whose read message reads nothing. */
[[nodiscard]] bool writeRegister(std::uint8_t number, std::uint8_t value,
                                 const CpldInventory& record, int fd);
