#pragma once

#include "service/update_request.hpp"

#include <cstdint>

/** States of a job, as the engine numbers them. */
namespace update_state
{
inline constexpr std::int32_t started = 1;
inline constexpr std::int32_t inProgress = 2;
inline constexpr std::int32_t succeeded = 4;
inline constexpr std::int32_t portNotOpened = 13;
inline constexpr std::int32_t failed = 14;
inline constexpr std::int32_t refused = 100;
} // namespace update_state

/** Status that the coordinator receives for a state: 4 running, 28 succeeded, 18 failed. */
std::uint8_t coordinatorStatus(std::int32_t state);

/**
 * Tells the coordinator how far a job is.
 *
 * Opens a connection of its own and blocks its thread until the coordinator answers or the bus's
 * time-out (25 s) is over. A report that fails is logged and dropped. Any thread.
 *
 * @param request the job; its FQDD and transaction number are sent
 * @param percentage logged whole, sent cut to 16 bits
 */
void reportUpdateStatus(const UpdateRequestData& request, std::int32_t state,
                        std::uint32_t percentage);

/**
 * Progress callback of the programming library: forwards the percentage for the job in hand.
 *
 * Called on whatever thread the library runs, while the worker is inside the library.
 */
void StatusUpdate_CB(std::uint32_t percentage);
