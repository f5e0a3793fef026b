#include "log/log_file.hpp"
#include "service_test.hpp"

#include <cstdlib>
#include <new>
#include <utility>

namespace
{

/** Whether this thread's allocations fail. */
thread_local bool exhausted = false;

class WithoutMemory
{
  public:
    WithoutMemory() { exhausted = true; }
    ~WithoutMemory() { exhausted = false; }
    WithoutMemory(const WithoutMemory&) = delete;
    WithoutMemory& operator=(const WithoutMemory&) = delete;
};

class LogFileMemory : public ServiceTest
{
  protected:
    const std::filesystem::path place = fakes::placeOf("/var/log/tavrinupdate.log");
};

TEST_F(LogFileMemory, ARecordForWhichThereIsNoneIsLostAndItsWriterGoesOn)
{
    fakes::write(place, "before\n");
    const std::string message(500, 'm');
    {
        const WithoutMemory now;
        addlog(message.c_str());
    }
    EXPECT_EQ(fakes::contentOf(place), "before\n");
    EXPECT_EQ(fakes::platformLog(), Log{});
    addlog("after\n");
    EXPECT_EQ(fakes::contentOf(place), "before\n7 : after\n");
}

TEST_F(LogFileMemory, ATrimForWhichThereIsNoneLeavesTheFileToTheNext)
{
    const std::string old(5000, 'o');
    fakes::write(place, old);
    {
        const WithoutMemory now;
        delete_old_log();
    }
    EXPECT_EQ(fakes::contentOf(place), old);
    EXPECT_EQ(fakes::platformLog(), Log{});
    delete_old_log();
    EXPECT_EQ(fakes::contentOf(place), old.substr(1024));
}

} // namespace

// The C++ library's own allocations come here as well; it must see it, hence the visibility.
__attribute__((visibility("default"))) void* operator new(std::size_t size)
{
    void* const block = exhausted ? nullptr : std::malloc(size); // NOLINT: this is the allocator
    return block != nullptr ? block : throw std::bad_alloc();
}

__attribute__((visibility("default"))) void operator delete(void* block) noexcept
{
    std::free(block); // NOLINT: from malloc
}

__attribute__((visibility("default"))) void operator delete(void* block, std::size_t) noexcept
{
    std::free(block); // NOLINT: from malloc
}
