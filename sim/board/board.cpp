#include "board/board.hpp"

#include "board/lifetime.hpp"
#include "board/pause.hpp"

#include <cstdio>
#include <cstdlib>

namespace sim
{

namespace
{

/** A world whose board cannot be read simulates nothing: better to stop than to mislead. */
[[noreturn]] void giveUp(const std::exception& error)
{
    (void)std::fprintf(stderr, "simulated board: %s\n", error.what());
    std::abort();
}

bool matches(const Fault& fault, const std::string& at, const Json& event)
{
    return fault.at == at && event.contains(fault.match);
}

bool acts(const Fault& fault, std::uint64_t earlierEvents)
{
    return earlierEvents >= fault.after && earlierEvents - fault.after < fault.times;
}

} // namespace

Board* Board::find()
try
{
    if (boardDirectory().empty())
    {
        return nullptr;
    }
    static NeverDestroyed<Board> board(boardDirectory());
    return &*board;
}
catch (const std::exception& error)
{
    giveUp(error);
}

Board::Board(const std::string& directory) : directory_(directory), control_(directory) {}

std::shared_ptr<const Description> Board::description()
try
{
    const std::lock_guard guard(mutex_);
    const std::uint64_t generation = control_.generation();
    if (!description_ || generation != generation_)
    {
        description_ = std::make_shared<const Description>(
            Description::parse(readFile(directory_ + "/board.json"), directory_));
        generation_ = generation;
    }
    return description_;
}
catch (const std::exception& error)
{
    giveUp(error);
}

Cpld* Board::deviceAt(const std::string& path)
{
    for (const DeviceDescription& device : description()->devices)
    {
        if (device.path == path)
        {
            return cpld(device);
        }
    }
    return nullptr;
}

Cpld* Board::device(const std::string& component, unsigned int index)
{
    for (const DeviceDescription& device : description()->devices)
    {
        if (device.component == component && device.index == index)
        {
            return cpld(device);
        }
    }
    return nullptr;
}

Cpld* Board::cpld(const DeviceDescription& description)
try
{
    const std::lock_guard guard(mutex_);
    auto& device = devices_[description.name];
    if (!device)
    {
        device = std::make_unique<Cpld>(description);
    }
    return device.get();
}
catch (const std::exception& error)
{
    giveUp(error);
}

Json Board::happen(const std::string& at, const Json& event)
{
    Json effect = Json::object();
    const auto present = description();
    for (const Fault& fault : present->faults)
    {
        if (matches(fault, at, event) && acts(fault, control_.countEvent(fault.id)))
        {
            effect = effect.with(fault.effect);
        }
    }
    if (const Json gate = effect["gate"]; !gate.isNull())
    {
        waitAtGate(gate.as<std::string>());
    }
    if (const Json delay = effect["delay_ms"]; !delay.isNull())
    {
        pauseFor(std::chrono::milliseconds(delay.as<std::int64_t>()));
    }
    return effect;
}

} // namespace sim
