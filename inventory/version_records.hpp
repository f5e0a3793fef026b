#pragma once

#include "service/cpld_inventory.hpp"

/**
 * Asks the platform's software inventory about one instance; keeps its SHA-256 and change value.
 *
 * What it does not answer stays in the record as it was. Main thread.
 *
 * @param record must hold the instance's FQDD and version, or the process ends
 */
void get_version_strings_from_SIPL(CpldInventory& record, InstanceIndex index);
