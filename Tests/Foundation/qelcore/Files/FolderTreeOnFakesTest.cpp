// Others at work in a tree while it is removed, each at a moment that a real disk gives only by chance.
#include <cerrno>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/MemoryFileSystem.h"
#include "qelcore/Dir.h"

namespace
{

using qelcore::filesupport::Dir;
using qelcore::filesupport::dir_exception;
using Testing::FileOperation;

class FolderTreeOnFakes : public ::testing::Test
{
protected:
    static int ErrorOfDelete(const qelcore::UTF16String& inPath = u"/d")
    {
        try
        {
            Dir(inPath).Delete();
            return 0;
        }
        catch (const dir_exception& failure)
        {
            return failure.ErrorNumber();
        }
    }
    void AddFolders(const std::vector<std::string>& inPaths)
    {
        for (const std::string& path : inPaths)
            mFiles.AddDirectory(path);
    }
    void ExpectThere(const std::vector<std::string>& inPaths)
    {
        for (const std::string& path : inPaths)
            EXPECT_TRUE(mFiles.Has(path)) << path;
    }
    void Rename(const std::string& inFrom, const std::string& inTo)
    {
        ASSERT_EQ(0, mFiles.Rename(inFrom, inTo, Platform::RenameMode::kNoReplace));
    }

    Testing::MemoryFileSystem mFiles;
};

TEST_F(FolderTreeOnFakes, NothingIsRemovedBeforeTheWholeTreeWasLookedAt)
{
    AddFolders({"/d/a/b", "/d/c"});
    mFiles.AddFile("/d/z/.hidden");

    EXPECT_EQ(ENOTEMPTY, ErrorOfDelete());
    EXPECT_THAT(mFiles.Done(), ::testing::IsEmpty());
}

TEST_F(FolderTreeOnFakes, AFileThatIsMadeDuringTheRemovalStaysAndTheFoldersComeBack)
{
    AddFolders({"/d/a/b", "/d/c/e"});
    mFiles.Before(FileOperation::kRemoveDirectory, "/d/c", [&] { mFiles.AddFile("/d/c/new"); });

    EXPECT_EQ(ENOTEMPTY, ErrorOfDelete());
    ExpectThere({"/d/a/b", "/d/c/e", "/d/c/new"});
}

TEST_F(FolderTreeOnFakes, ALinkPutInTheFoldersPlaceIsNotFollowed)
{
    AddFolders({"/d/a/b", "/elsewhere/b"});
    mFiles.Before(FileOperation::kOpenFolder, "/d/a",
                  [&]
                  {
                      mFiles.Vanish("/d/a");
                      mFiles.AddLink("/d/a", "/elsewhere");
                  });

    EXPECT_EQ(ENOTEMPTY, ErrorOfDelete());
    ExpectThere({"/d/a", "/elsewhere/b"});
}

TEST_F(FolderTreeOnFakes, AFolderMovedOutWhileItIsLookedAtEndsTheLook)
{
    AddFolders({"/d/a/b/c", "/outside/other"});
    mFiles.Before(FileOperation::kList, "/d/a/b", [&] { Rename("/d/a/b", "/outside/b"); });

    EXPECT_EQ(EBUSY, ErrorOfDelete());
    EXPECT_THAT(mFiles.Done(), ::testing::ElementsAre("rename /d/a/b /outside/b"));
    ExpectThere({"/d/a", "/outside/b/c", "/outside/other"});
}

TEST_F(FolderTreeOnFakes, AFolderMovedOutDuringTheRemovalGetsBackWhatItHad)
{
    AddFolders({"/d/a/b/c", "/outside/other"});
    mFiles.Before(FileOperation::kRemoveDirectory, "/d/a/b/c",
                  [&] { Rename("/d/a/b", "/outside/b"); });

    EXPECT_EQ(EBUSY, ErrorOfDelete());
    ExpectThere({"/d/a", "/outside/b/c", "/outside/other"});
}

TEST_F(FolderTreeOnFakes, AFolderExchangedBetweenTheLookAndTheRemovalIsLeftAlone)
{
    AddFolders({"/d/a/b", "/d/x/y"});
    mFiles.Before(FileOperation::kRemoveDirectory, "/d/a",
                  [&]
                  {
                      mFiles.Vanish("/d/x");
                      mFiles.AddDirectory("/d/x/y"); // another folder of that name
                  });
    mFiles.Before(FileOperation::kRemoveDirectory, "/d/x",
                  [&]
                  {
                      mFiles.Vanish("/d/a");
                      mFiles.AddDirectory("/d/a/b");
                  });

    EXPECT_EQ(EBUSY, ErrorOfDelete()); // whichever of the two comes first
    ExpectThere({"/d/a/b", "/d/x/y"});
}

TEST_F(FolderTreeOnFakes, AMountPointInTheTreeKeepsItWhole)
{
    AddFolders({"/d/a/b"});
    mFiles.AddMountPoint("/d/m");

    EXPECT_EQ(EXDEV, ErrorOfDelete());
    EXPECT_EQ(EXDEV, ErrorOfDelete(u"/d/m"));
    EXPECT_THAT(mFiles.Done(), ::testing::IsEmpty());
}

TEST_F(FolderTreeOnFakes, APathThatEndsInDotsNamesNoFolderToRemove)
{
    AddFolders({"/d/a"});

    EXPECT_EQ(EINVAL, ErrorOfDelete(u"/d/a/.."));
    EXPECT_EQ(EINVAL, ErrorOfDelete(u"/d/a/."));
    EXPECT_EQ(EINVAL, ErrorOfDelete(u"/"));
    EXPECT_EQ(ENOENT, ErrorOfDelete(u""));
    EXPECT_THAT(mFiles.Done(), ::testing::IsEmpty());
}

TEST_F(FolderTreeOnFakes, AFolderThatCannotBeReadKeepsTheTreeWhole)
{
    AddFolders({"/d/a/b", "/d/c"});
    mFiles.Fail(FileOperation::kList, "/d/a/b", EACCES);

    EXPECT_EQ(EACCES, ErrorOfDelete());
    EXPECT_THAT(mFiles.Done(), ::testing::IsEmpty());
}

} // namespace
