#include "platform/hal.hpp"

#include "board/board.hpp"

#include <cerrno>
#include <memory>
#include <utility>

namespace
{

/** The I/O line behind a configuration name. */
class HoldLine final : public HAL_i2c
{
  public:
    HoldLine(sim::Board& board, std::string name, const sim::Json& effect) :
        board_(board), name_(std::move(name)), hasCallback_(effect.value("interrupt", false)),
        unregisterStatus_(effect.value("unregister_status", 0))
    {
    }
    HoldLine(const HoldLine&) = delete;
    HoldLine& operator=(const HoldLine&) = delete;
    HoldLine(HoldLine&&) = delete;
    HoldLine& operator=(HoldLine&&) = delete;
    ~HoldLine() override { sim::traceCall("hal.destroy", {{"line", name_}}); }

    int WriteBit(std::uint8_t value) override
    {
        const sim::Json effect = board_.happen("hal_write", {{"line", name_}, {"value", value}});
        const int status = effect.value("status", 0);
        if (status == 0)
        {
            board_.control().setHoldLine(value);
        }
        const int error = effect.value("errno", 0);
        sim::traceCall("hal.write_bit", {{"line", name_}, {"value", value}},
                       {{"status", status}, {"errno", error}});
        errno = error == 0 ? errno : error;
        return status;
    }

    [[nodiscard]] bool HasInterruptCallback() const override
    {
        sim::traceCall("hal.has_interrupt", {{"line", name_}}, hasCallback_);
        return hasCallback_;
    }

    int UnregisterInterruptCallback() override
    {
        hasCallback_ = false;
        sim::traceCall("hal.unregister_interrupt", {{"line", name_}}, unregisterStatus_);
        return unregisterStatus_;
    }

  private:
    sim::Board& board_;
    std::string name_;
    bool hasCallback_;
    int unregisterStatus_;
};

} // namespace

HAL_cfgbase* HAL_cfgdata::ReadHALConfig(const std::string& name)
{
    sim::Board* board = sim::Board::find();
    if (board == nullptr)
    {
        return nullptr;
    }
    const sim::Json effect = board->happen("hal_config", {{"line", name}});
    const bool exists = !effect.value("null", false);
    sim::traceCall("hal.read_config", {{"line", name}}, exists);
    return exists ? std::make_unique<HoldLine>(*board, name, effect).release() : nullptr;
}
