#pragma once

#include "bus_in_process.hpp"
#include "input.hpp"

#include <string_view>
#include <vector>

namespace fuzz
{

/**
 * The other services. Each gives the same answer whenever it is asked; the answers are the first
 * sections of an input: host state, FRU reader, platform, coordinator.
 *
 *   r SIGNATURE, VALUES...   an answer (message_body.hpp)
 *   e NAME, TEXT             an error
 *   n                        no answer
 *   anything else            the end of the connection
 *
 * The letter stands directly before what follows it; each part is a line.
 */
class Neighbours
{
  public:
    /** All are well: the FRU read is complete, and nobody says anything else. */
    Neighbours();

    explicit Neighbours(Input& input);

    /** Answers a call. */
    void operator()(BusEnd& end, sd_bus_message* call);

    /** Number of calls so far. */
    std::size_t asked() const { return asked_; }

    /** Whether the FRU reader has said that the FRU read is complete. */
    bool saidFruReadComplete() const { return saidFruReadComplete_; }

  private:
    Input answerOf(std::string_view destination) const;

    std::vector<Input> answers_;
    std::size_t asked_ = 0;
    bool saidFruReadComplete_ = false;
};

} // namespace fuzz
