#pragma once

#include <map>
#include <string>
#include <vector>

namespace fakes
{

/**
 * Watches what the service takes from OpenSSL and from the heap, for as long as the object lives.
 *
 * One at a time.
 */
class ResourceWatch
{
  public:
    ResourceWatch();
    ResourceWatch(const ResourceWatch&) = delete;
    ResourceWatch& operator=(const ResourceWatch&) = delete;
    ResourceWatch(ResourceWatch&&) = delete;
    ResourceWatch& operator=(ResourceWatch&&) = delete;
    ~ResourceWatch();

    /** The calls that gave what was not given back. */
    std::vector<std::string> held() const;

    /** The calls that gave anything. */
    const std::vector<std::string>& taken() const { return taken_; }

    void take(const void* resource, const char* call);
    void giveBack(const void* resource) { held_.erase(resource); }

  private:
    std::map<const void*, std::string> held_;
    std::vector<std::string> taken_;
};

/** For the fakes: tells the watch, if there is one. Null is nothing. @return the resource */
void* taken(void* resource, const char* call);
void givenBack(const void* resource);

} // namespace fakes
