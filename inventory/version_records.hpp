#pragma once

#include "service/cpld_inventory.hpp"

/**
 * Asks the platform's software inventory about one instance; keeps its SHA-256 and change value.
 *
 * Without an answer both stay as they were; without memory the SHA-256 is emptied. Main thread.
 *
 * @param record must hold the instance's FQDD and version, or the process ends
 */
void get_version_strings_from_SIPL(CpldInventory& record, InstanceIndex index);
