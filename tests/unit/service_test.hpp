#pragma once

#include "fakes/clock.hpp"
#include "fakes/coordinator.hpp"
#include "fakes/devices.hpp"
#include "fakes/files.hpp"
#include "fakes/hold_line.hpp"
#include "fakes/journal.hpp"
#include "fakes/pauses.hpp"
#include "fakes/platform_identity.hpp"
#include "fakes/platform_log.hpp"
#include "fakes/programming_library.hpp"
#include "fakes/software_inventory.hpp"
#include "fakes/sysinfo.hpp"

#include <gtest/gtest.h>

/** A test in a world as new, which the service must leave without anything open or allocated. */
class ServiceTest : public testing::Test
{
  protected:
    using Lines = fakes::Lines;
    using Log = fakes::Log;

    ServiceTest();
    void TearDown() override;
};
