#include "PluginCandidates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TemporaryFolder.h"
#include "Text.h"

namespace RKHostTests
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class PluginCandidatesTest : public testing::Test
{
protected:
    /// Relative to the folder.
    std::vector<std::string> Find(const std::vector<std::string>& inNames = {""})
    {
        std::vector<std::string> paths;
        for (const std::string& name : inNames)
            paths.push_back(mFolder.Path(name));
        mErrors.clear();
        std::vector<std::string> found;
        for (const auto& candidate : RKHost::FindPluginCandidates(paths, mErrors))
            found.push_back(candidate.mPath.substr(mRoot.size() + 1));
        return found;
    }
    RKHost::PluginStamp Stamp(const std::string& inName) const
    {
        RKHost::PluginStamp stamp;
        EXPECT_TRUE(RKHost::StampPlugin(mFolder.Path(inName), stamp));
        return stamp;
    }

    const Testing::TemporaryFolder mFolder;
    const std::string mRoot = std::filesystem::canonical(mFolder.Path()).string();
    std::vector<std::string> mErrors;
};

TEST_F(PluginCandidatesTest, BundlesAndSharedObjectsAreFoundBelowAndSorted)
{
    mFolder.Write("b.so", "");
    mFolder.Write("vendor/deep/a.so", "");
    mFolder.MakeFolder("vendor/c.plugin");
    mFolder.Write("readme.txt", "");
    mFolder.Write("plain.plugin", ""); // a file
    mFolder.MakeFolder("folder.so");
    EXPECT_THAT(Find(), ElementsAre("b.so", "vendor/c.plugin", "vendor/deep/a.so"));
    EXPECT_THAT(mErrors, IsEmpty());
}

TEST_F(PluginCandidatesTest, WhatIsInABundleBelongsToIt)
{
    mFolder.Write("a.plugin/Contents/Linux/a.so", "");
    EXPECT_THAT(Find(), ElementsAre("a.plugin"));
}

TEST_F(PluginCandidatesTest, EachIsFoundOnceHoweverItIsReached)
{
    mFolder.Write("x/a.so", "");
    std::filesystem::create_symlink(mFolder.Path("x/a.so"), mFolder.Path("x/b.so"));
    std::filesystem::create_directory_symlink(mFolder.Path("x"), mFolder.Path("y"));
    EXPECT_THAT(Find({"x", "y", "x/a.so", ""}), ElementsAre("x/a.so"));
}

TEST_F(PluginCandidatesTest, WhatIsNoneIsToldAndKeepsNoOther)
{
    mFolder.Write("a.so", "");
    mFolder.Write("notes.txt", "");
    EXPECT_THAT(Find({"notes.txt", "gone", "a.so"}), ElementsAre("a.so"));
    EXPECT_THAT(mErrors, SizeIs(2));
}

TEST_F(PluginCandidatesTest, TheStampOfABundleShowsAnyChangeInIt)
{
    mFolder.Write("a.plugin/Contents/Linux/a.so", "code");
    mFolder.Write("a.plugin/Contents/Resources/a.mvproperties", "1234");
    const RKHost::PluginStamp before = Stamp("a.plugin");
    EXPECT_EQ(before, Stamp("a.plugin"));
    mFolder.Write("a.plugin/Contents/Resources/a.mvproperties", "1235");
    const RKHost::PluginStamp written = Stamp("a.plugin");
    EXPECT_FALSE(before == written);
    mFolder.Write("a.plugin/Contents/Resources/b.mvproperties", "");
    EXPECT_FALSE(written == Stamp("a.plugin"));
}

TEST(PrintableText, IsReadBackAsItWas)
{
    for (const std::string& text :
         {std::string("plain"), std::string("a\tb\nc\\d"), std::string("\\x41"),
          std::string(3, '\0'), std::string("\xff\x7f"), std::string()})
    {
        EXPECT_EQ(text, RKHost::FromPrintable(RKHost::Printable(text)));
        EXPECT_EQ(std::string::npos, RKHost::Printable(text).find_first_of("\t\n"));
    }
    EXPECT_EQ("\\x4", RKHost::FromPrintable("\\x4"));
    EXPECT_EQ("\\xzz", RKHost::FromPrintable("\\xzz"));
    EXPECT_EQ("\\", RKHost::FromPrintable("\\"));
}

} // namespace
} // namespace RKHostTests
