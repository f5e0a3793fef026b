#include "fakes/journal.hpp"

#include <mutex>
#include <utility>

namespace
{

std::mutex guard;
fakes::Lines entries;

} // namespace

namespace fakes
{

Lines journal()
{
    const std::lock_guard lock(guard);
    return entries;
}

void note(std::string entry)
{
    const std::lock_guard lock(guard);
    entries.push_back(std::move(entry));
}

void clearJournal()
{
    const std::lock_guard lock(guard);
    entries.clear();
}

} // namespace fakes
