#pragma once

/**
 * @file
 * One run of the simulated programming library.
 */

#include "board/board.hpp"
#include "platform/programming_script.hpp"

#include <string>
#include <vector>

namespace sim
{

/** What the library was asked to do. */
struct ProgrammingOrder
{
    std::string component;
    unsigned int deviceIndex;
    std::string payloadPath;
    void (*progress)(unsigned int);
};

/** Error codes of the library's own making; the codes of a script are what the script says. */
namespace programming_error
{
inline constexpr cpldfwupdate_error_code noBoard{-1, -1, -1};
inline constexpr cpldfwupdate_error_code noDevice{1, 0, 0};
inline constexpr cpldfwupdate_error_code deviceBusy{2, 0, 0};
inline constexpr cpldfwupdate_error_code writeRefused{0, 1, 0};
inline constexpr cpldfwupdate_error_code unreadablePayload{0, 0, 1};
inline constexpr cpldfwupdate_error_code noImage{0, 0, 2};
inline constexpr cpldfwupdate_error_code wrongKind{0, 0, 3};
inline constexpr cpldfwupdate_error_code wrongLength{0, 0, 4};
} // namespace programming_error

/** Programs one device, talking to it directly and not over the simulated I2C bus. */
class ProgrammingRun
{
  public:
    ProgrammingRun(Board& board, ProgrammingOrder order, ProgrammingScript script);

    /** Does all of it. @throws std::runtime_error where the script says so */
    cpldfwupdate_error_code perform();

  private:
    cpldfwupdate_error_code program(Cpld& device);
    cpldfwupdate_error_code loadPayload(Kind kind);
    cpldfwupdate_error_code steps(Cpld& device);
    void interfere(std::size_t step) const;
    bool writeUpTo(Cpld& device, std::size_t step);
    void report(unsigned int percent) const;

    Board& board_;
    ProgrammingOrder order_;
    ProgrammingScript script_;
    std::string payload_;
    Bytes image_;
    std::size_t written_ = 0;
};

/** Whether all codes are zero. */
bool isSuccess(const cpldfwupdate_error_code& codes);

} // namespace sim
