#pragma once

#include "service/component_kind.hpp"
#include "service/instances.hpp"

#include <optional>
#include <string>

/** Kind of CPLD that an FQDD names, by its text without trailing digits; null for others. */
const ComponentKind* kindOfFqdd(const std::string& fqdd);

/**
 * The instance that the number after the last "." names; the first where nothing follows the dot,
 * or there is none.
 *
 * @return nothing where no kind can have an instance of that number
 * @throws std::invalid_argument, std::out_of_range from the conversion of the number
 */
std::optional<InstanceIndex> instanceOfFqdd(const std::string& fqdd);
