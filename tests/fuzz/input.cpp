#include "input.hpp"

#include <algorithm>
#include <cstdlib>

namespace fuzz
{

Input::Input(const std::uint8_t* data, std::size_t size) :
    rest_(reinterpret_cast<const char*>(data), size) // NOLINT: bytes as bytes
{
}

char Input::byte()
{
    const auto taken = take(1);
    return taken.empty() ? '\0' : taken.front();
}

std::string Input::line()
{
    auto text = take(std::min(rest_.find('\n'), rest_.size()));
    take(1);
    return text;
}

std::int64_t Input::number()
{
    constexpr int decimal = 10;
    return std::strtoll(line().c_str(), nullptr, decimal);
}

Input Input::section()
{
    constexpr std::string_view separator = "--\n";
    const auto length = std::min(rest_.find(separator), rest_.size());
    const Input section(rest_.substr(0, length));
    rest_.remove_prefix(std::min(length + separator.size(), rest_.size()));
    return section;
}

std::string Input::take(std::size_t size)
{
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return std::string(taken);
}

} // namespace fuzz
