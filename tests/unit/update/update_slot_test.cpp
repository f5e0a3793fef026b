#include "update/update_slot.hpp"

#include <gtest/gtest.h>

namespace
{

TEST(UpdateSlot, IsFreeUntilItIsTaken)
{
    EXPECT_FALSE(updateRunning());
    takeUpdateSlot();
    EXPECT_TRUE(updateRunning());
    giveUpdateSlotBack();
    EXPECT_FALSE(updateRunning());
}

} // namespace
