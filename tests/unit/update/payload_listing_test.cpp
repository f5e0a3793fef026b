#include "fakes/next_symbol.hpp"
#include "service_test.hpp"
#include "update/payload_choice.hpp"

#include <dirent.h>

#include <cerrno>
#include <string_view>

namespace
{

/** A listing that does not go as usual; reset after each test. */
struct Listing
{
    /** What the next entry fails with; 0 for none. */
    int error = 0;
    /** Whether the file system tells the type of no entry, as some do. */
    bool withoutTypes = false;
};

Listing listing;

} // namespace

// Takes the place of the C library's.
extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* directory)
{
    if (listing.error != 0)
    {
        errno = listing.error;
        return nullptr;
    }
    dirent* const entry = fakes::nextSymbol<dirent*(DIR*)>("readdir")(directory);
    if (entry != nullptr && listing.withoutTypes)
    {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}

namespace
{

namespace fs = std::filesystem;

class PayloadListing : public ServiceTest
{
  protected:
    PayloadListing() { fakes::write(folder / "fw.payload", "content"); }

    void TearDown() override
    {
        listing = {};
        ServiceTest::TearDown();
    }

    /** The words and the number of the error that a search ends with. */
    static std::pair<std::string, int> errorOf(const fs::path& directory)
    {
        try
        {
            static_cast<void>(findPayload(directory));
        }
        catch (const fs::filesystem_error& error)
        {
            EXPECT_EQ(error.path1(), directory);
            return {error.what(), error.code().value()};
        }
        return {"nothing was thrown", 0};
    }

    fs::path folder = fakes::scratchFolder();
};

TEST_F(PayloadListing, ThatCannotBeOpenedIsAnErrorThatNamesTheFolder)
{
    const auto [words, number] = errorOf(folder / "missing");
    EXPECT_EQ(words, "filesystem error: directory iterator cannot open directory: "
                     "No such file or directory [" +
                         (folder / "missing").string() + "]");
    EXPECT_EQ(number, ENOENT);
}

TEST_F(PayloadListing, ThatBreaksOffIsAnErrorAndNotAFolderWithoutPayload)
{
    listing.error = EIO;
    const auto [words, number] = errorOf(folder);
    EXPECT_EQ(words, "filesystem error: directory iterator cannot advance: "
                     "Input/output error [" +
                         folder.string() + "]");
    EXPECT_EQ(number, EIO);
}

TEST_F(PayloadListing, WithoutTypesIsAskedForThem)
{
    listing.withoutTypes = true;
    EXPECT_EQ(findPayload(folder), "fw.payload");
    fs::remove(folder / "fw.payload");
    fs::create_directory(folder / "x.payload");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

} // namespace
