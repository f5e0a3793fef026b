#pragma once

namespace bus_test
{

/**
 * While it exists, this thread gets no memory from operator new, or none after its first few
 * allocations.
 */
class WithoutMemory
{
  public:
    explicit WithoutMemory(int allocations = 0);
    ~WithoutMemory();
    WithoutMemory(const WithoutMemory&) = delete;
    WithoutMemory& operator=(const WithoutMemory&) = delete;
    WithoutMemory(WithoutMemory&&) = delete;
    WithoutMemory& operator=(WithoutMemory&&) = delete;
};

} // namespace bus_test
