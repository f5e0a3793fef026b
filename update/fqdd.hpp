#pragma once

#include "service/component_kind.hpp"

#include <cstdint>
#include <string>

/** Kind of CPLD that an FQDD names, by its text without trailing digits; null for others. */
const ComponentKind* kindOfFqdd(const std::string& fqdd);

/**
 * 0-based device index: the number after the last "." less one; 0 where nothing follows the dot or
 * there is none.
 *
 * @throws std::invalid_argument, std::out_of_range from the conversion of the number
 */
std::int32_t deviceIndexOfFqdd(const std::string& fqdd);
