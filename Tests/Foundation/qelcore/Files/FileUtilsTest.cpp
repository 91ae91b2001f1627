#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/FileUtils.h"
#include "qelcore/TextConversion.h"

namespace
{

namespace FileUtils = qelcore::utility::FileUtils;
using qelcore::UTF16String;
using qelcore::filesupport::file_exception;
using qelcore::utility::FileNameToUTF16;
using qelcore::utility::UTF16ToFileName;

class FileUtilsTest : public ::testing::Test
{
protected:
    UTF16String At(const std::string& inName) const
    {
        return FileNameToUTF16(mFolder.Path(inName));
    }
    bool IsFolder(const std::string& inName) const
    {
        return std::filesystem::is_directory(mFolder.Path(inName));
    }
    template <class Work>
    static int ErrorOf(const Work& inWork)
    {
        try
        {
            inWork();
            return 0;
        }
        catch (const file_exception& failure)
        {
            return failure.ErrorNumber();
        }
    }
    static UTF16String Built(const UTF16String& inFolder, const UTF16String& inName)
    {
        UTF16String path = u"what was there before";
        FileUtils::BuildPathSpec(inFolder, inName, path);
        return path;
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(FileUtilsTest, APathIsBuiltWithOneSlash)
{
    EXPECT_EQ(u"/a/b", Built(u"/a", u"b"));
    EXPECT_EQ(u"/a/b", Built(u"/a/", u"b"));
    EXPECT_EQ(u"/b", Built(u"/", u"b"));
    EXPECT_EQ(u"b", Built(u"", u"b"));
}

TEST_F(FileUtilsTest, AFolderIsMadeWithAllAboveItAndMayBeThereAlready)
{
    FileUtils::EnsureDirectoryExists(At("a/b//c/"));
    EXPECT_TRUE(IsFolder("a/b/c"));
    FileUtils::EnsureDirectoryExists(At("a/b/c"));
    FileUtils::EnsureDirectoryExists(u"/");
}

TEST_F(FileUtilsTest, ALinkToAFolderIsAFolderToBuildOn)
{
    mFolder.MakeFolder("real");
    ASSERT_EQ(0, symlink("real", mFolder.Path("link").c_str()));

    FileUtils::EnsureDirectoryExists(At("link/below"));
    EXPECT_TRUE(IsFolder("real/below"));
}

TEST_F(FileUtilsTest, ARelativeFolderIsMadeBelowTheCurrentOne)
{
    const int answer = Testing::RunInChild(
        [&]
        {
            if (chdir(mFolder.Path().c_str()) != 0)
                return 1;
            FileUtils::EnsureDirectoryExists(u"x/y");
            return 0;
        });
    EXPECT_EQ(0, answer);
    EXPECT_TRUE(IsFolder("x/y"));
}

TEST_F(FileUtilsTest, WhatIsNoFolderStopsTheMakingOfOne)
{
    mFolder.Write("file", "x");
    ASSERT_EQ(0, symlink("nowhere", mFolder.Path("dangling").c_str()));

    EXPECT_EQ(ENOTDIR, ErrorOf([&] { FileUtils::EnsureDirectoryExists(At("file")); }));
    EXPECT_EQ(ENOTDIR, ErrorOf([&] { FileUtils::EnsureDirectoryExists(At("file/below")); }));
    EXPECT_EQ(ENOENT, ErrorOf([&] { FileUtils::EnsureDirectoryExists(At("dangling")); }));
    EXPECT_EQ(ENOENT, ErrorOf([&] { FileUtils::EnsureDirectoryExists(u""); }));
    EXPECT_EQ(EINVAL,
              ErrorOf([&] { FileUtils::EnsureDirectoryExists(At("n") + UTF16String(u"\0m", 2)); }));
    EXPECT_FALSE(IsFolder("n"));
}

TEST_F(FileUtilsTest, AFileExistsAndAFolderDoesNot)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("folder");
    ASSERT_EQ(0, symlink("file", mFolder.Path("link").c_str()));
    ASSERT_EQ(0, symlink("nowhere", mFolder.Path("dangling").c_str()));

    EXPECT_TRUE(FileUtils::FileExists(At("file")));
    EXPECT_TRUE(FileUtils::FileExists(At("link")));
    EXPECT_FALSE(FileUtils::FileExists(At("folder")));
    EXPECT_FALSE(FileUtils::FileExists(At("dangling")));
    EXPECT_FALSE(FileUtils::FileExists(At("file/")));
    EXPECT_FALSE(FileUtils::FileExists(u""));
}

TEST_F(FileUtilsTest, RemovalSucceedsWhenTheNameIsFreeInTheEnd)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("folder");

    EXPECT_TRUE(FileUtils::RemoveFile(At("file")));
    EXPECT_FALSE(FileUtils::FileExists(At("file")));
    EXPECT_TRUE(FileUtils::RemoveFile(At("file")));
    EXPECT_FALSE(FileUtils::RemoveFile(At("folder")));
    EXPECT_TRUE(IsFolder("folder"));
}

TEST_F(FileUtilsTest, TheAccessTimeMovesAlone)
{
    const std::string path = mFolder.Write("file", "x");
    const timespec times[2] = {{1000000000, 0}, {1000000001, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));

    FileUtils::UpdateFileAccessedTime(At("file"));

    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_LT(1600000000, status.st_atim.tv_sec);
    EXPECT_EQ(1000000001, status.st_mtim.tv_sec);
    EXPECT_EQ(ENOENT, ErrorOf([&] { FileUtils::UpdateFileAccessedTime(At("none")); }));
}

TEST_F(FileUtilsTest, AnothersFileIsLeftInPeace)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to have a file that belongs to somebody else";
    const std::string path = mFolder.Write("file", "x");
    ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
    const timespec times[2] = {{1000000000, 0}, {1000000001, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));

    EXPECT_EQ(0, Testing::RunWithoutRights(
                     [&]
                     {
                         FileUtils::UpdateFileAccessedTime(At("file"));
                         return 0;
                     }));
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(1000000000, status.st_atim.tv_sec);
}

TEST_F(FileUtilsTest, TheVolumeOfAFolderHasASizeAndNoMoreFreeThanThat)
{
    EXPECT_LT(0u, FileUtils::GetVolumeSize(At(".")));
    EXPECT_LE(FileUtils::GetVolumeFreeSpace(At(".")), FileUtils::GetVolumeSize(At(".")));
    EXPECT_EQ(ENOENT, ErrorOf([&] { FileUtils::GetVolumeFreeSpace(At("none")); }));
    EXPECT_EQ(ENOENT, ErrorOf([&] { FileUtils::GetVolumeSize(u""); }));
}

TEST_F(FileUtilsTest, TheVolumeOfWhatIsNotThereYetIsThatOfTheFolderAbove)
{
    RK_NEEDS_A_ROOT_VOLUME();
    UTF16String there, missing;
    ASSERT_TRUE(FileUtils::GetVolumePath(At("."), there));
    ASSERT_TRUE(FileUtils::GetVolumePath(At("none/of/this"), missing));

    EXPECT_EQ(there, missing);
    EXPECT_EQ(u'/', there.back());
}

TEST_F(FileUtilsTest, OnlyAnAbsolutePathHasAVolume)
{
    UTF16String path = u"untouched";

    EXPECT_FALSE(FileUtils::GetVolumePath(u"", path));
    EXPECT_FALSE(FileUtils::GetVolumePath(u"relative", path));
    EXPECT_EQ(u"untouched", path);
}

} // namespace
