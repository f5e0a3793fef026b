#pragma once

#include "service/component_kind.hpp"

#include <cstdint>

/** Largest number of instances of a kind: instances are counted in eight bits. */
inline constexpr std::uint32_t maxInstances = 255;

/** Code under which the platform description lists the device nodes of a kind. */
std::uint32_t nodeTypeCode(KindCode code);
