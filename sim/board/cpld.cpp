#include "board/cpld.hpp"

#include "board/registers.hpp"

#include <algorithm>

namespace sim
{

namespace
{

constexpr std::uint8_t erased = 0xFF;

void traceDevice(const DeviceDescription& device, const char* event,
                 const Json& fields = Json::object())
{
    trace("device", Json{{"device", device.name}, {"event", event}}.with(fields));
}

std::string textOf(const Version& version)
{
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.maintenance);
}

/** The header of the image in the memory, where all of it is there and made for this kind. */
std::optional<ImageHeader> completeImage(const DeviceState& state, Kind kind)
{
    const auto header = ImageHeader::read(state.memory);
    const bool whole =
        header && header->kind == kind && header->imageSize() == state.programmedBytes;
    return whole ? header : std::nullopt;
}

} // namespace

class Cpld::Access
{
  public:
    explicit Access(Cpld& device) :
        guard_(device.mutex_), lock_(device.file_.file(), stateByte),
        state_(static_cast<DeviceState*>(device.file_.data()))
    {
    }

    DeviceState* operator->() const { return state_; }
    DeviceState& operator*() const { return *state_; }

  private:
    std::lock_guard<std::mutex> guard_;
    ByteLock lock_;
    DeviceState* state_;
};

Cpld::Cpld(const DeviceDescription& description) :
    description_(description), file_(description.stateFile, sizeof(DeviceState))
{
}

std::uint8_t Cpld::readRegister(std::uint8_t number)
{
    return Access(*this)->registers[number];
}

void Cpld::writeRegister(std::uint8_t number, std::uint8_t value, unsigned int platformId)
{
    if (showsVersion(number, description_.kind))
    {
        return;
    }
    const Access state(*this);
    const bool wasOpen = portIsOpen(state->registers, description_.kind, platformId);
    state->registers[number] = value;
    const bool isOpen = portIsOpen(state->registers, description_.kind, platformId);
    if (wasOpen != isOpen)
    {
        portChanged(*state, isOpen);
    }
}

void Cpld::portChanged(DeviceState& state, bool isOpen)
{
    // First the device does all of it, then the trace tells of it: if the service is killed in
    // between, the device must not be left half-way.
    const auto loaded = isOpen ? std::nullopt : concludeImage(state, description_.kind);
    traceDevice(description_, isOpen ? "port-opened" : "port-closed");
    if (loaded)
    {
        traceDevice(description_, "loaded", *loaded);
    }
}

std::optional<Json> Cpld::concludeImage(DeviceState& state, Kind kind)
{
    if (state.imageState == ImageState::complete)
    {
        return loadImage(state, kind);
    }
    if (state.imageState == ImageState::writing)
    {
        // Either its run was killed, or it goes on and will find the port closed.
        state.imageState = ImageState::interrupted;
    }
    return std::nullopt;
}

std::optional<Json> Cpld::loadImage(DeviceState& state, Kind kind)
{
    const auto header = completeImage(state, kind);
    if (!header)
    {
        return std::nullopt;
    }
    const std::string before = textOf(versionIn(state.registers, kind));
    showVersion(state.registers, kind, header->version);
    state.imageState = ImageState::valid;
    ++state.loads;
    return Json{{"from", before}, {"to", textOf(header->version)}};
}

bool Cpld::beginImage(unsigned int platformId)
{
    const Access state(*this);
    if (!portIsOpen(state->registers, description_.kind, platformId))
    {
        return false;
    }
    state->memory.fill(erased);
    state->programmedBytes = 0;
    state->imageState = ImageState::writing;
    traceDevice(description_, "erased");
    return true;
}

bool Cpld::programImage(Bytes bytes, unsigned int platformId)
{
    const Access state(*this);
    const bool fits = bytes.size() <= DeviceState::memorySize - state->programmedBytes;
    if (!fits || !portIsOpen(state->registers, description_.kind, platformId))
    {
        return false;
    }
    std::copy(bytes.begin(), bytes.end(), state->memory.begin() + state->programmedBytes);
    state->programmedBytes += static_cast<std::uint32_t>(bytes.size());
    return true;
}

void Cpld::endImage()
{
    const Access state(*this);
    const bool whole = completeImage(*state, description_.kind).has_value();
    state->imageState = whole ? ImageState::complete : ImageState::interrupted;
    traceDevice(description_, whole ? "complete" : "interrupted",
                {{"bytes", state->programmedBytes}});
}

} // namespace sim
