#include "hw/hold_flag.hpp"

#include "log/log.hpp"
#include "platform/dlog.h"
#include "platform/hal.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

namespace
{

using namespace std::chrono_literals;

constexpr auto functionName = "cpld_update_holdS5";
constexpr auto holdBit = "HOLD_S5_FLOP_CPLD_UPDATE";

constexpr int attempts = 2;
constexpr auto pauseAfterFailure = 50ms;

// Lines about the configuration object itself have the hardware abstraction's own numbers.
constexpr int halModule = 273;
constexpr int halErrorLevel = 2;
constexpr int halInfoLevel = 5;

/** Owner of the hold bit's configuration object; tells the platform log of its release. */
class HoldLine
{
  public:
    HoldLine() : line_(HAL_cfgdata::ReadHALConfig(holdBit)) {}

    HoldLine(const HoldLine&) = delete;
    HoldLine& operator=(const HoldLine&) = delete;
    HoldLine(HoldLine&&) = delete;
    HoldLine& operator=(HoldLine&&) = delete;

    ~HoldLine()
    {
        if (line_ == nullptr)
        {
            return;
        }
        if (line_->HasInterruptCallback())
        {
            const int status = line_->UnregisterInterruptCallback();
            dlog_printf(halInfoLevel, halModule,
                        "[%s]: UnregisterInterruptCallback for [%s], ret= %d", "~HAL_cfgdata",
                        holdBit, status);
        }
        line_.reset();
        dlog_printf(halInfoLevel, halModule, "[%s]: Deleted halData for [%s]", "~HAL_cfgdata",
                    holdBit);
    }

    /** @return 0 on success, -1 without an object, else the hardware abstraction's status */
    int write(std::uint8_t value)
    {
        if (line_ == nullptr)
        {
            line_.reset(HAL_cfgdata::ReadHALConfig(holdBit));
        }
        if (line_ == nullptr)
        {
            dlog_printf(halErrorLevel, halModule, "[%s]: ERROR, halData is NULL", "WriteIOBit");
            return -1;
        }
        return line_->WriteBit(value);
    }

  private:
    std::unique_ptr<HAL_cfgbase> line_;
};

/** Formats the local time of the request. It is part of the operation, though no line shows it. */
void stampRequest()
{
    std::array<char, 20> text{};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) != nullptr)
    {
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
    }
}

} // namespace

std::int32_t cpld_update_holdS5(std::uint8_t value)
{
    logTrace("[%s] : x:%d\n", functionName, value);
    stampRequest();

    HoldLine line;
    for (int attempt = 0; attempt < attempts; ++attempt)
    {
        const int status = line.write(value);
        if (status == 0)
        {
            // The words stay the same whatever the value.
            logTrace("[%s]: Successfully cleared HOLD_S5_FLOP_CPLD_UPDATE flag", functionName);
            return 1;
        }
        const char* const reason = std::strerror(errno); // NOLINT: glibc's is thread-safe
        logRecord(
            "[%s]: Error clearing HOLD_S5_FLOP_CPLD_UPDATE flag; HAL write operation returned status %d error=%s",
            functionName, status, reason);
        std::this_thread::sleep_for(pauseAfterFailure);
    }
    return 0;
}
