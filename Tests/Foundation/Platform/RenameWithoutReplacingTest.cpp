#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/MemoryFileSystem.h"

namespace
{

using Platform::RenameWithoutReplacing;
using ::testing::ElementsAre;
using Testing::FileOperation;
using ::testing::IsEmpty;

// A file system that cannot rename without replacing, and answers as such ones do.
class RenameWithoutReplacingTest : public ::testing::Test
{
protected:
    RenameWithoutReplacingTest()
    {
        mFiles.AddFile("/d/from", "new");
        mFiles.AddFile("/d/taken", "old");
        mFiles.AddDirectory("/d/folder/inner");
        mFiles.AddDirectory("/d/takenFolder");
        mFiles.Fail(FileOperation::kRenameNoReplace, "/d/from", EINVAL);
        mFiles.Fail(FileOperation::kRenameNoReplace, "/d/folder", ENOSYS);
    }
    int Rename(const std::string& inFrom, const std::string& inTo)
    {
        return RenameWithoutReplacing(mFiles, inFrom, inTo);
    }

    Testing::MemoryFileSystem mFiles;
};

TEST_F(RenameWithoutReplacingTest, WhereItIsSupportedItIsOneStep)
{
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/from", 0);

    EXPECT_EQ(0, Rename("/d/from", "/d/to"));
    EXPECT_THAT(mFiles.Done(), ElementsAre("rename /d/from /d/to"));
}

TEST_F(RenameWithoutReplacingTest, OtherErrorsAreNotTakenForMissingSupport)
{
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/from", EACCES);

    EXPECT_EQ(EACCES, Rename("/d/from", "/d/to"));
    EXPECT_THAT(mFiles.Done(), IsEmpty());
}

TEST_F(RenameWithoutReplacingTest, AFileGetsItsSecondNameBeforeItLosesItsFirst)
{
    EXPECT_EQ(0, Rename("/d/from", "/d/to"));
    EXPECT_THAT(mFiles.Done(), ElementsAre("link /d/from /d/to", "unlink /d/from"));
    EXPECT_EQ("new", mFiles.Contents("/d/to"));
}

TEST_F(RenameWithoutReplacingTest, AFileNeverTakesATakenName)
{
    EXPECT_EQ(EEXIST, Rename("/d/from", "/d/taken"));
    EXPECT_EQ("old", mFiles.Contents("/d/taken"));
    EXPECT_TRUE(mFiles.Has("/d/from"));
}

TEST_F(RenameWithoutReplacingTest, AFileThatCannotLoseItsFirstNameLosesItsSecond)
{
    mFiles.Fail(FileOperation::kRemoveFile, "/d/from", EACCES);

    EXPECT_EQ(EACCES, Rename("/d/from", "/d/to"));
    EXPECT_TRUE(mFiles.Has("/d/from"));
    EXPECT_FALSE(mFiles.Has("/d/to"));
}

TEST_F(RenameWithoutReplacingTest, WithoutSecondNamesAnEmptyFileHoldsTheName)
{
    mFiles.Fail(FileOperation::kLink, "/d/from", EPERM);

    EXPECT_EQ(0, Rename("/d/from", "/d/to"));
    EXPECT_THAT(mFiles.Done(), ElementsAre("create /d/to", "rename /d/from /d/to"));
    EXPECT_EQ("new", mFiles.Contents("/d/to"));
    EXPECT_EQ(0u, mFiles.OpenHandles());
}

TEST_F(RenameWithoutReplacingTest, WithoutSecondNamesATakenNameStaysTaken)
{
    mFiles.Fail(FileOperation::kLink, "/d/from", EPERM);

    EXPECT_EQ(EEXIST, Rename("/d/from", "/d/taken"));
    EXPECT_EQ("old", mFiles.Contents("/d/taken"));
}

TEST_F(RenameWithoutReplacingTest, ThePlaceholderGoesWhenTheRenameFails)
{
    mFiles.Fail(FileOperation::kLink, "/d/from", EPERM);
    mFiles.Fail(FileOperation::kRename, "/d/from", EIO);

    EXPECT_EQ(EIO, Rename("/d/from", "/d/to"));
    EXPECT_FALSE(mFiles.Has("/d/to"));
    EXPECT_EQ("new", mFiles.Contents("/d/from"));
}

TEST_F(RenameWithoutReplacingTest, AFolderTakesThePlaceOfAnEmptyOne)
{
    EXPECT_EQ(0, Rename("/d/folder", "/d/to"));
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /d/to", "rename /d/folder /d/to"));
    EXPECT_TRUE(mFiles.Has("/d/to/inner"));
}

TEST_F(RenameWithoutReplacingTest, AFolderNeverTakesATakenName)
{
    EXPECT_EQ(EEXIST, Rename("/d/folder", "/d/takenFolder"));
    EXPECT_EQ(EEXIST, Rename("/d/folder", "/d/taken"));
    EXPECT_TRUE(mFiles.Has("/d/folder/inner"));
}

TEST_F(RenameWithoutReplacingTest, APlaceholderThatSomebodyFilledStaysTheirs)
{
    mFiles.Fail(FileOperation::kRename, "/d/folder", ENOTEMPTY);

    EXPECT_EQ(EEXIST, Rename("/d/folder", "/d/to"));
    EXPECT_TRUE(mFiles.Has("/d/to"));
    EXPECT_TRUE(mFiles.Has("/d/folder/inner"));
}

TEST_F(RenameWithoutReplacingTest, WhatIsNotThereIsNotRenamed)
{
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/none", EINVAL);

    EXPECT_EQ(ENOENT, Rename("/d/none", "/d/to"));
    EXPECT_THAT(mFiles.Done(), IsEmpty());
}

} // namespace
