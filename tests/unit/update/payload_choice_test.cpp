#include "update/payload_choice.hpp"

#include "case_name.hpp"
#include "service_test.hpp"

#include <sys/stat.h>

namespace
{

namespace fs = std::filesystem;

struct NamedFile
{
    const char* name;
    const char* fileName;
    bool payload;
};

class PayloadName : public testing::TestWithParam<NamedFile>
{
};

TEST_P(PayloadName, IsTheExtensionsDoing)
{
    EXPECT_EQ(isPayloadName(GetParam().fileName), GetParam().payload);
}

INSTANTIATE_TEST_SUITE_P(
    Names, PayloadName,
    testing::Values(NamedFile{"Plain", "fw.payload", true},
                    NamedFile{"SeveralDots", "fw.1.2.payload", true},
                    NamedFile{"HiddenWithExtension", ".fw.payload", true},
                    NamedFile{"TwoDots", "..payload", true}, NamedFile{"Blank", " .payload", true},
                    NamedFile{"OnlyTheExtension", ".payload", false},
                    NamedFile{"UpperCase", "fw.PAYLOAD", false},
                    NamedFile{"Longer", "fw.payloads", false},
                    NamedFile{"Shorter", "fw.payloa", false}, NamedFile{"NoDot", "payload", false},
                    NamedFile{"ExtensionInside", "fw.payload.sig", false},
                    NamedFile{"DotBehind", "fw.payload.", false}, NamedFile{"Jed", "fw.jed", false},
                    NamedFile{"Empty", "", false}),
    CaseName{});

TEST(FileType, IsTheTextBehindTheLastDot)
{
    EXPECT_EQ(fileType("/tmp/a.b/fw.1.payload"), "payload");
    EXPECT_EQ(fileType("fw.jed"), "jed");
    EXPECT_EQ(fileType("fw."), "");
}

TEST(FileType, IsTheWholePathWithoutADot)
{
    EXPECT_EQ(fileType("/tmp/firmware"), "/tmp/firmware");
    EXPECT_EQ(fileType(""), "");
}

TEST(FileType, KnowsNoFolders)
{
    EXPECT_EQ(fileType("/tmp/a.b/firmware"), "b/firmware");
}

TEST(SupportedType, IsPayloadJedOrNull)
{
    EXPECT_TRUE(isSupportedType("payload"));
    EXPECT_TRUE(isSupportedType("jed"));
    EXPECT_TRUE(isSupportedType("NULL"));
}

TEST(SupportedType, IsExact)
{
    EXPECT_FALSE(isSupportedType("Payload"));
    EXPECT_FALSE(isSupportedType("JED"));
    EXPECT_FALSE(isSupportedType("null"));
    EXPECT_FALSE(isSupportedType("payload "));
    EXPECT_FALSE(isSupportedType("bin"));
    EXPECT_FALSE(isSupportedType(""));
}

class PayloadChoice : public ServiceTest
{
  protected:
    void file(const std::string& name) const { fakes::write(folder / name, "content"); }
    void link(const char* name, const fs::path& target) const
    {
        fs::create_symlink(target, folder / name);
    }

    /** Name of what was chosen; empty where nothing was. */
    std::string chosen() const { return findPayload(folder).value_or("").string(); }

    fs::path folder = fakes::scratchFolder();
};

TEST_F(PayloadChoice, AnEmptyFolderHoldsNone)
{
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, OtherFilesAreSkipped)
{
    file("a.bin");
    file("fw.payload");
    file("z.txt");
    EXPECT_EQ(chosen(), "fw.payload");
}

TEST_F(PayloadChoice, OfSeveralPayloadsItIsTheFirstThatTheListingYields)
{
    // So many that the listing's order is hardly that of their names or their making.
    for (char letter = 't'; letter >= 'a'; --letter)
    {
        file(std::string(1, letter) + ".payload");
    }
    EXPECT_EQ(chosen(), fs::directory_iterator(folder)->path().filename().string());
}

TEST_F(PayloadChoice, ADirectoryIsNoPayload)
{
    fs::create_directory(folder / "x.payload");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, APayloadInASubfolderIsNotFound)
{
    fakes::write(folder / "sub" / "fw.payload", "content");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, ALinkToAFileIsAPayload)
{
    file("content.bin");
    link("x.payload", "content.bin");
    EXPECT_EQ(chosen(), "x.payload");
}

TEST_F(PayloadChoice, ALinkToALinkToAFileIsAPayload)
{
    file("content.bin");
    link("hop", "content.bin");
    link("x.payload", "hop");
    EXPECT_EQ(chosen(), "x.payload");
}

TEST_F(PayloadChoice, ADanglingLinkIsNoPayload)
{
    link("x.payload", "missing");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, ALinkWithoutEndIsAnErrorWhateverItsNameIs)
{
    link("loop.bin", "loop.bin");
    EXPECT_THROW(findPayload(folder), fs::filesystem_error);
}

TEST_F(PayloadChoice, ALinkToADirectoryIsNoPayload)
{
    fs::create_directory(folder / "sub");
    link("x.payload", "sub");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, ALinksOwnNameCounts)
{
    fakes::write(folder / "sub" / "fw.payload", "content");
    link("fw.bin", "sub/fw.payload");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, APipeIsNoPayload)
{
    ASSERT_EQ(::mkfifo((folder / "x.payload").c_str(), 0600), 0);
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, ANameOfOnlyTheExtensionIsNotAPayload)
{
    file(".payload");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, UpperCaseIsNotAPayload)
{
    file("x.PAYLOAD");
    EXPECT_EQ(findPayload(folder), std::nullopt);
}

TEST_F(PayloadChoice, AHiddenFileWithTheExtensionIsAPayload)
{
    file(".x.payload");
    EXPECT_EQ(chosen(), ".x.payload");
}

TEST_F(PayloadChoice, AFolderThatCannotBeListedIsAnErrorOfTheFileSystem)
{
    EXPECT_THROW(findPayload(folder / "missing"), fs::filesystem_error);
}

} // namespace
