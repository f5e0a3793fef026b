#include "fakes/hold_line.hpp"

#include "fakes/journal.hpp"
#include "platform/hal.hpp"

#include <cerrno>
#include <memory>

namespace fakes
{

HoldLine& holdLine()
{
    static HoldLine line;
    return line;
}

} // namespace fakes

namespace
{

class FakeLine : public HAL_i2c
{
  public:
    FakeLine() { ++fakes::holdLine().alive; }
    FakeLine(const FakeLine&) = delete;
    FakeLine& operator=(const FakeLine&) = delete;
    FakeLine(FakeLine&&) = delete;
    FakeLine& operator=(FakeLine&&) = delete;

    ~FakeLine() override
    {
        --fakes::holdLine().alive;
        fakes::note("delete line");
        fakes::holdLine().whenDeleted();
    }

    int WriteBit(std::uint8_t value) override
    {
        fakes::note("write bit " + std::to_string(value));
        auto& statuses = fakes::holdLine().writeStatus;
        const int status = statuses.empty() ? 0 : statuses.front();
        if (!statuses.empty())
        {
            statuses.pop_front();
        }
        errno = fakes::holdLine().errorNumber;
        return status;
    }

    bool HasInterruptCallback() const override
    {
        return fakes::holdLine().interruptCallback.has_value();
    }

    int UnregisterInterruptCallback() override
    {
        fakes::note("unregister interrupt callback");
        return fakes::holdLine().interruptCallback.value_or(0);
    }
};

} // namespace

HAL_cfgbase* HAL_cfgdata::ReadHALConfig(const std::string& name)
{
    auto& line = fakes::holdLine();
    if (line.missing > 0)
    {
        --line.missing;
        fakes::note("read " + name + ": missing");
        errno = line.errorNumber;
        return nullptr;
    }
    fakes::note("read " + name);
    return std::make_unique<FakeLine>().release();
}
