#pragma once

#include <string>
#include <vector>

namespace fakes
{

using Lines = std::vector<std::string>;

/**
 * What the service did to the world around it, in the order in which it did it.
 *
 * Every fake but the platform log writes here, so that a test compares a whole course of events
 * with one list. Any thread.
 */
Lines journal();

/** Adds an entry; for the fakes. */
void note(std::string entry);

void clearJournal();

} // namespace fakes
