#include "board/control.hpp"

#include <span>
#include <stdexcept>

namespace sim
{

namespace
{

constexpr std::size_t generationIndex = 0;
constexpr std::size_t holdLineIndex = 1;
constexpr std::size_t firstCounter = 8;
constexpr std::size_t numbers = firstCounter + Control::counters;

} // namespace

Control::Control(const std::string& directory) :
    file_(directory + "/control", numbers * sizeof(std::uint64_t))
{
}

std::atomic_ref<std::uint64_t> Control::number(std::size_t index) const
{
    const std::span all(static_cast<std::uint64_t*>(file_.data()), numbers);
    return std::atomic_ref(all[index]);
}

std::uint64_t Control::generation() const
{
    return number(generationIndex).load();
}

void Control::setHoldLine(std::uint8_t value)
{
    number(holdLineIndex).store(value);
}

std::uint64_t Control::countEvent(unsigned int fault)
{
    if (fault >= counters)
    {
        throw std::out_of_range("fault number beyond the control file");
    }
    return number(firstCounter + fault).fetch_add(1);
}

} // namespace sim
