#pragma once

/**
 * @file
 * One combined I2C transfer to a simulated CPLD.
 */

#include "board/board.hpp"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <span>

namespace sim
{

/**
 * Carries the messages out the way an adapter does: the first byte of a write chooses the register,
 * what follows is stored from there on, and a read continues at the chosen register.
 *
 * @return 0, or the errno value that the transfer fails with
 */
int transfer(Board& board, Cpld& device, std::span<i2c_msg> messages);

} // namespace sim
