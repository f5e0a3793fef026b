#pragma once

#include <cstdint>
#include <deque>

namespace fakes
{

/**
 * Answers to the next questions for the platform's identity, which needs a bus; then `standard`.
 *
 * The journal tells of every question: "ask for the platform identity".
 */
struct PlatformIdentity
{
    std::deque<std::int32_t> next;
    std::int32_t standard = 1;
};

PlatformIdentity& platformIdentity();

} // namespace fakes
