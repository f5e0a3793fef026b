#pragma once

/**
 * @file
 * The names on the bus, and the constant part of the component records.
 */

#include "service/cpld_inventory.hpp"

#include <string>

/** Well-known bus name of the service. */
inline constexpr auto serviceBusName = "com.vexa.bevon.tavrinupdate";

/** Path of the object manager; the instances' objects lie below it. */
inline constexpr auto objectManagerPath = "/com/vexa/bevon/cpld_updater";

/** What every instance's object path begins with. */
inline constexpr auto objectPathPrefix = "/com/vexa/bevon/cpld_updater/";

/** Fills the constant fields of the three records; reads nothing and cannot fail. */
void initialiseComponentTable(CpldInventory& pbb, CpldInventory& pdb, CpldInventory& flop);

/** Object path of an instance, with its number. */
std::string instanceObjectPath(const std::string& nodeName, InstanceIndex index);
