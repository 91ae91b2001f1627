// Real folders, real events. What a test waits for comes within some milliseconds; the limits are far off.
#include "Platform/FolderEvents.h"

#include <filesystem>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FolderEventStreamReader.h"
#include "Support/TemporaryFolder.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using Testing::FolderEventStreamReader;
using Testing::IsReadable;
using Testing::TemporaryFolder;

class FolderEventsTest : public testing::Test
{
protected:
    std::string Path(const std::string& inName) const { return mFolder.Path("root/" + inName); }
    void Write(const std::string& inName) const { mFolder.Write("root/" + inName, "x"); }

    TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
};

TEST_F(FolderEventsTest, TellWhatHappensInTheRootByItem)
{
    Write("old");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());

    Write("new");
    fs::create_directory(Path("folder"));
    fs::rename(Path("old"), Path("other"));
    fs::remove(Path("other"));

    EXPECT_TRUE(reader.Sees("new", kFolderEvent_ItemCreated | kFolderEvent_ItemIsFile));
    EXPECT_TRUE(reader.Sees("new", kFolderEvent_ItemModified));
    EXPECT_TRUE(reader.Sees("folder", kFolderEvent_ItemCreated | kFolderEvent_ItemIsDir));
    EXPECT_TRUE(reader.Sees("old", kFolderEvent_ItemRenamed));
    EXPECT_TRUE(reader.Sees("other", kFolderEvent_ItemRenamed | kFolderEvent_ItemRemoved));
    EXPECT_EQ(0u, reader.Flags("old") & kFolderEvent_ItemRemoved) << "it went elsewhere";
    EXPECT_EQ(0u, reader.Stream().LossCount());
}

TEST_F(FolderEventsTest, TellOfAnyDepth)
{
    mFolder.MakeFolder("root/a/b/c");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    Write("a/b/c/deep");
    EXPECT_TRUE(reader.Sees("a/b/c/deep", kFolderEvent_ItemCreated));
}

TEST_F(FolderEventsTest, OfChangedRightsAreToldAndOfChangedContentToo)
{
    Write("file");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    chmod(Path("file").c_str(), 0600);
    EXPECT_TRUE(reader.Sees("file", kFolderEvent_ItemInodeMetaMod));
    Write("file");
    EXPECT_TRUE(reader.Sees("file", kFolderEvent_ItemModified));
}

TEST_F(FolderEventsTest, WithoutItemsAreToldOfTheFolderAndNotOfContent)
{
    Write("a/file");
    FolderEventStreamReader reader(mRoot, 0);
    ASSERT_TRUE(reader.Stream().Start());
    Write("a/file");
    fs::create_directory(Path("a/new"));
    EXPECT_TRUE(reader.Sees("a/", kFolderEvent_ItemCreated));
    EXPECT_EQ(0u, reader.Flags("a/") & (kFolderEvent_ItemModified | kFolderEvent_ItemIsDir));
}

TEST_F(FolderEventsTest, OfNewFoldersTellWhatIsInThemToo)
{
    mFolder.Write("elsewhere/one/two/file", "x");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    fs::rename(mFolder.Path("elsewhere/one"), Path("one"));
    EXPECT_TRUE(reader.Sees("one", kFolderEvent_ItemRenamed | kFolderEvent_ItemIsDir));
    EXPECT_TRUE(reader.Sees("one/two/file", kFolderEvent_ItemCreated | kFolderEvent_ItemIsFile));

    Write("one/two/later");
    EXPECT_TRUE(reader.Sees("one/two/later", kFolderEvent_ItemCreated));
}

TEST_F(FolderEventsTest, FollowAFolderThatIsRenamedBelowTheRoot)
{
    mFolder.MakeFolder("root/a/inner");
    mFolder.MakeFolder("root/b");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    fs::rename(Path("a"), Path("b/moved"));
    ASSERT_TRUE(reader.Sees("b/moved", kFolderEvent_ItemRenamed));
    Write("b/moved/inner/file");
    EXPECT_TRUE(reader.Sees("b/moved/inner/file", kFolderEvent_ItemCreated));
}

TEST_F(FolderEventsTest, FollowTwoFoldersThatChangePlaces)
{
    mFolder.MakeFolder("root/a/of-a");
    mFolder.MakeFolder("root/b/of-b");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    ASSERT_EQ(0,
              renameat2(AT_FDCWD, Path("a").c_str(), AT_FDCWD, Path("b").c_str(), RENAME_EXCHANGE));
    Write("a/of-b/file");
    Write("b/of-a/file");
    EXPECT_TRUE(reader.Sees("a/of-b/file", kFolderEvent_ItemCreated));
    EXPECT_TRUE(reader.Sees("b/of-a/file", kFolderEvent_ItemCreated));
}

TEST_F(FolderEventsTest, DoNotFollowLinks)
{
    mFolder.MakeFolder("elsewhere");
    fs::create_directory_symlink(mFolder.Path("elsewhere"), Path("link"));
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    mFolder.Write("elsewhere/file", "x");
    Write("end");
    ASSERT_TRUE(reader.Sees("end", kFolderEvent_ItemCreated));
    EXPECT_EQ(0u, reader.Flags("link/file"));
}

TEST_F(FolderEventsTest, OfAFolderThatALinkReplacedDoNotComeFromBehindTheLink)
{
    mFolder.MakeFolder("root/a");
    mFolder.MakeFolder("elsewhere");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    fs::remove(Path("a"));
    fs::create_directory_symlink(mFolder.Path("elsewhere"), Path("a"));
    ASSERT_TRUE(reader.Sees("a", kFolderEvent_ItemRemoved | kFolderEvent_ItemCreated));
    mFolder.Write("elsewhere/file", "x");
    Write("end");
    ASSERT_TRUE(reader.Sees("end", kFolderEvent_ItemCreated));
    EXPECT_EQ(0u, reader.Flags("a/file"));
}

TEST_F(FolderEventsTest, ComeTogetherWithinTheLatencyInTheirOrder)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents, 0.3);
    ASSERT_TRUE(reader.Stream().Start());
    const auto begin = std::chrono::steady_clock::now();
    Write("b");
    Write("a");
    Write("b");
    ASSERT_TRUE(IsReadable(reader.Stream().Descriptor(), 20000));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));

    const std::vector<FolderEvent> events = reader.Stream().Take();
    ASSERT_EQ(2u, events.size()) << "one for each path";
    EXPECT_EQ(Path("b"), events[0].path);
    EXPECT_EQ(Path("a"), events[1].path);
    EXPECT_LT(events[0].id, events[1].id);
    EXPECT_FALSE(IsReadable(reader.Stream().Descriptor()));
}

TEST_F(FolderEventsTest, OfBeforeTheStartAreNotTold)
{
    Write("before");
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    Write("after");
    ASSERT_TRUE(reader.Sees("after", kFolderEvent_ItemCreated));
    EXPECT_EQ(0u, reader.Flags("before"));
}

TEST_F(FolderEventsTest, DoNotStartWhereThereIsNoFolder)
{
    Write("file");
    EXPECT_FALSE(FolderEvents().Create(Path("none"), 0.01, 0)->Start());
    EXPECT_FALSE(FolderEvents().Create(Path("file"), 0.01, 0)->Start());
}

TEST_F(FolderEventsTest, EndWithTheStop)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    Write("first");
    ASSERT_TRUE(IsReadable(reader.Stream().Descriptor(), 20000));
    reader.Stream().Stop();
    EXPECT_TRUE(reader.Stream().Take().empty());
    EXPECT_FALSE(IsReadable(reader.Stream().Descriptor()));
}

TEST_F(FolderEventsTest, OfARootThatGoesAndComesBackGoOn)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents | kFolderStream_WatchRoot);
    ASSERT_TRUE(reader.Stream().Start());
    fs::remove(mRoot);
    ASSERT_TRUE(reader.Sees("", kFolderEvent_RootChanged | kFolderEvent_MustScanSubDirs |
                                    kFolderEvent_AnyItem));
    reader.Forget();
    fs::create_directory(mRoot);
    ASSERT_TRUE(reader.Sees("", kFolderEvent_RootChanged));
    Write("file");
    EXPECT_TRUE(reader.Sees("file", kFolderEvent_ItemCreated));
}

TEST_F(FolderEventsTest, OfARootWhoseParentIsRenamedFollowThePath)
{
    const std::string root = mFolder.MakeFolder("parent/root");
    FolderEventStreamReader reader(root, kFolderStream_FileEvents | kFolderStream_WatchRoot);
    ASSERT_TRUE(reader.Stream().Start());
    mFolder.MakeFolder("next/root");
    fs::rename(mFolder.Path("parent"), mFolder.Path("old"));
    fs::rename(mFolder.Path("next"), mFolder.Path("parent"));
    ASSERT_TRUE(reader.Sees("", kFolderEvent_RootChanged));
    // The root may have been seen as gone first, and is looked for twice a second then.
    for (int i = 0; i < 200 && (reader.Flags("file") & kFolderEvent_ItemCreated) == 0; ++i)
    {
        fs::remove(root + "/file");
        mFolder.Write("parent/root/file", "x");
        if (IsReadable(reader.Stream().Descriptor(), 100))
            reader.Take();
    }
    EXPECT_NE(0u, reader.Flags("file") & kFolderEvent_ItemCreated);
}

TEST_F(FolderEventsTest, WithoutBeingAskedForDoNotTellOfTheRoot)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    fs::remove(mRoot);
    ASSERT_TRUE(reader.Sees("", kFolderEvent_MustScanSubDirs));
    EXPECT_EQ(0u, reader.RootFlags() & kFolderEvent_RootChanged);
}

TEST_F(FolderEventsTest, OfOneFolderReachEveryStream)
{
    mFolder.MakeFolder("root/a");
    FolderEventStreamReader whole(mRoot, kFolderStream_FileEvents);
    FolderEventStreamReader part(Path("a"), kFolderStream_FileEvents);
    ASSERT_TRUE(whole.Stream().Start());
    ASSERT_TRUE(part.Stream().Start());
    Write("a/one");
    EXPECT_TRUE(whole.Sees("a/one", kFolderEvent_ItemCreated));
    EXPECT_TRUE(part.Sees("one", kFolderEvent_ItemCreated));

    part.Stream().Stop();
    Write("a/two");
    EXPECT_TRUE(whole.Sees("a/two", kFolderEvent_ItemCreated)) << "the watch is shared";
}

TEST_F(FolderEventsTest, TellNamesThatAreNoUTF8)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
    ASSERT_TRUE(reader.Stream().Start());
    const std::string name = "\xFF\xFE\n";
    Write(name);
    EXPECT_TRUE(reader.Sees(name, kFolderEvent_ItemCreated));
}

} // namespace
