#pragma once

/**
 * @file
 * The fixed facts about the three kinds of CPLD, and the names built from them.
 */

#include "service/cpld_inventory.hpp"

#include <cstdint>
#include <string>
#include <string_view>

/** Well-known bus name of the service. */
inline constexpr auto serviceBusName = "com.vexa.bevon.tavrinupdate";

/** Path of the object manager; the instances' objects lie below it. */
inline constexpr auto objectManagerPath = "/com/vexa/bevon/cpld_updater";

/** What every instance's object path begins with. */
inline constexpr auto objectPathPrefix = "/com/vexa/bevon/cpld_updater/";

/** Fills the constant fields of the three records; reads nothing and cannot fail. */
void initialiseComponentTable(CpldInventory& pbb, CpldInventory& pdb, CpldInventory& flop);

/** What the FQDDs of a kind begin with; empty for a code that names no kind. */
std::string_view fqddPrefix(KindCode kind);

/** Object path of an instance. @param instance number counted from 1 */
std::string instanceObjectPath(const std::string& nodeName, std::int64_t instance);
