#include "update/update_slot.hpp"

#include <atomic>

namespace
{

std::atomic<bool> taken{false}; // NOLINT: shared by main thread and worker

} // namespace

bool updateRunning()
{
    return taken.load(std::memory_order_acquire);
}

void takeUpdateSlot()
{
    taken.store(true, std::memory_order_relaxed);
}

void giveUpdateSlotBack()
{
    taken.store(false, std::memory_order_release);
}
