#pragma once

#include <linux/i2c.h>

#include <array>
#include <cstdint>
#include <span>

/** 7-bit I2C address of every CPLD of every kind. */
inline constexpr std::uint16_t cpldAddress = 0x63;

/**
 * The two messages of a transfer: a write, then a read, which is sent even where it reads nothing.
 *
 * The messages point into both spans, whose sizes are at most 255 bytes.
 */
std::array<i2c_msg, 2> transferMessages(std::span<const std::uint8_t> write,
                                        std::span<std::uint8_t> read);
