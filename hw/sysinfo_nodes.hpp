#pragma once

#include "service/component_kind.hpp"

#include <cstdint>

/** Code under which the platform description lists the device nodes of a kind. */
std::uint32_t nodeTypeCode(KindCode code);
