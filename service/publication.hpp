#pragma once

class Tavrinupdate;

/**
 * Claims the bus name and publishes the objects of every kind whose inventory is ready.
 *
 * Run again, it replaces the objects by new ones with fresh values. A failure while objects are
 * built is logged and ends the publication; what was published stays.
 *
 * @throws sdbusplus::exception::SdBusError when the bus refuses the name or the object manager
 */
void registerObjectPaths_PopulateInventory(Tavrinupdate& service);
