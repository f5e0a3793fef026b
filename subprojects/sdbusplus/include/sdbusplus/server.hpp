#pragma once

/** @file All that is needed to offer objects on a bus. */

#include <sdbusplus/server/interface.hpp>
#include <sdbusplus/server/manager.hpp>
#include <sdbusplus/server/object.hpp>
