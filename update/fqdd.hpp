#pragma once

#include "service/cpld_inventory.hpp"

#include <cstdint>
#include <optional>
#include <string>

/** Kind of CPLD that an FQDD names, by its text without trailing digits; nothing for others. */
std::optional<KindCode> kindOfFqdd(const std::string& fqdd);

/**
 * 0-based device index: the number after the last "." less one; 0 where nothing follows the dot or
 * there is none.
 *
 * @throws std::invalid_argument, std::out_of_range from the conversion of the number
 */
std::int32_t deviceIndexOfFqdd(const std::string& fqdd);
