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
    explicit Neighbours(Input& input);

    void answer(BusEnd& end, sd_bus_message* call);

    /** Destinations of all calls so far. */
    const std::vector<std::string>& asked() const { return asked_; }

    /** Whether the FRU reader has said that the FRU read is complete. */
    bool saidFruReadComplete() const { return saidFruReadComplete_; }

  private:
    Input answerOf(std::string_view destination) const;

    std::vector<Input> answers_;
    std::vector<std::string> asked_;
    bool saidFruReadComplete_ = false;
};

} // namespace fuzz
