#include "../../bus/memory.hpp"
#include "service_test.hpp"
#include "update/payload_choice.hpp"

#include <new>

namespace
{

class PayloadMemory : public ServiceTest
{
};

TEST_F(PayloadMemory, ASearchThatRunsOutOfItAnywhereThrows)
{
    const auto folder = fakes::scratchFolder();
    fakes::write(folder / "a-name-that-no-string-holds-without-memory.txt", "content");
    fakes::write(folder / "a-name-that-no-string-holds-without-memory.payload", "content");
    std::optional<std::filesystem::path> found;
    int failures = 0;
    for (bool over = false; !over;)
    {
        try
        {
            const bus_test::WithoutMemory then(failures);
            found = findPayload(folder);
            over = true;
        }
        catch (const std::bad_alloc&)
        {
            ++failures;
        }
    }
    EXPECT_EQ(found, "a-name-that-no-string-holds-without-memory.payload");
    EXPECT_GT(failures, 0);
}

} // namespace
