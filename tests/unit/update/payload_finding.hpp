#pragma once

#include <filesystem>
#include <optional>

namespace fakes
{

/** What the search for a payload finds, whatever is there; nothing leaves it to the service. */
std::optional<std::filesystem::path>& foundPayload();

} // namespace fakes
