#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <unistd.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace ZOR::PathUtils;
using qelcore::UTF16String;
using qelcore::utility::FileNameToUTF16;

TEST(PathParts, OfAPlainPath)
{
    EXPECT_EQ(u"a.tif", GetFullFilePart(u"/f/a.tif"));
    EXPECT_EQ(u"a", GetFilePart(u"/f/a.tif"));
    EXPECT_EQ(u".tif", GetExtensionPart(u"/f/a.tif"));
    EXPECT_EQ(u"/f/", GetFullDirectoryPart(u"/f/a.tif"));
}

TEST(PathParts, OfANameAlone)
{
    EXPECT_EQ(u"a.tif", GetFullFilePart(u"a.tif"));
    EXPECT_EQ(u"a", GetFilePart(u"a.tif"));
    EXPECT_EQ(u".tif", GetExtensionPart(u"a.tif"));
    EXPECT_EQ(u"", GetFullDirectoryPart(u"a.tif"));
}

TEST(PathParts, OnlyTheLastDotOfTheNameBeginsTheExtension)
{
    EXPECT_EQ(u".c", GetExtensionPart(u"/f/a.b.c"));
    EXPECT_EQ(u"a.b", GetFilePart(u"/f/a.b.c"));
    EXPECT_EQ(u".rkdc", GetExtensionPart(u"key.sub.rkdc"));
    EXPECT_EQ(u".", GetExtensionPart(u"a."));
}

TEST(PathParts, ADotInAFoldersNameIsNoExtension)
{
    EXPECT_EQ(u"", GetExtensionPart(u"/f.d/a"));
    EXPECT_EQ(u"a", GetFilePart(u"/f.d/a"));
    EXPECT_EQ(u"", GetExtensionPart(u"/f.d/"));
}

TEST(PathParts, ADotAheadOfANameIsPartOfIt)
{
    EXPECT_EQ(u"", GetExtensionPart(u".hidden"));
    EXPECT_EQ(u".hidden", GetFilePart(u"/f/.hidden"));
    EXPECT_EQ(u".tif", GetExtensionPart(u".hidden.tif"));
    EXPECT_EQ(u"", GetExtensionPart(u"."));
    EXPECT_EQ(u"", GetExtensionPart(u"/f/.."));
    EXPECT_EQ(u"..", GetFilePart(u"/f/.."));
}

TEST(PathParts, OfAPathThatEndsWithASlash)
{
    EXPECT_EQ(u"", GetFullFilePart(u"/a/b/"));
    EXPECT_EQ(u"", GetFilePart(u"/a/b.c/"));
    EXPECT_EQ(u"/a/b/", GetFullDirectoryPart(u"/a/b/"));
    EXPECT_EQ(u"/", GetFullDirectoryPart(u"/a"));
    EXPECT_EQ(u"/", GetFullDirectoryPart(u"/"));
}

TEST(PathParts, ABackslashIsALetter)
{
    EXPECT_EQ(u"a\\b.c", GetFullFilePart(u"/f/a\\b.c"));
}

TEST(PathParts, AddUpToThePathAgain)
{
    // Every path of up to six of these.
    const std::u16string letters = u"/.a";
    std::vector<UTF16String> paths = {UTF16String()};
    for (std::size_t i = 0; paths[i].size() < 6; ++i)
    {
        const UTF16String path = paths[i];
        for (const char16_t letter : letters)
            paths.push_back(path + letter);
    }
    ASSERT_EQ(1093u, paths.size());
    for (const UTF16String& path : paths)
    {
        EXPECT_EQ(path, GetFullDirectoryPart(path) + GetFullFilePart(path));
        EXPECT_EQ(GetFullFilePart(path), GetFilePart(path) + GetExtensionPart(path));
    }
}

TEST(TrailingSlash, IsAddedOnce)
{
    EXPECT_EQ(u"/a/", AddTrailingSlash(u"/a"));
    EXPECT_EQ(u"/a/", AddTrailingSlash(u"/a/"));
    EXPECT_EQ(u"/", AddTrailingSlash(u"/"));
}

TEST(TrailingSlash, DoesNotMakeTheRootOfNothing)
{
    EXPECT_EQ(u"", AddTrailingSlash(u""));
    EXPECT_EQ(u"", RemoveTrailingSlash(u""));
}

TEST(TrailingSlash, IsRemovedButNotTheRoots)
{
    EXPECT_EQ(u"/a", RemoveTrailingSlash(u"/a/"));
    EXPECT_EQ(u"/a", RemoveTrailingSlash(u"/a//"));
    EXPECT_EQ(u"/a", RemoveTrailingSlash(u"/a"));
    EXPECT_EQ(u"/", RemoveTrailingSlash(u"/"));
    EXPECT_EQ(u"/", RemoveTrailingSlash(u"//"));
}

TEST(NormalizedPath, HasNothingSuperfluous)
{
    EXPECT_EQ(u"/a/c", ToNormalizedPath(u"//a/./b/../c//"));
    EXPECT_EQ(u"/", ToNormalizedPath(u"/"));
    EXPECT_EQ(u"/", ToNormalizedPath(u"/../.."));
    EXPECT_EQ(u"/a", ToNormalizedPath(u"/../a/."));
    EXPECT_EQ(u"/a/...", ToNormalizedPath(u"/a/..."));
    EXPECT_EQ(u"", ToNormalizedPath(u""));
}

TEST(NormalizedPath, KeepsItsLetters)
{
    EXPECT_EQ(u"/A/\xE9\xDCFF", ToNormalizedPath(u"/A/\xE9\xDCFF"));
}

TEST(NormalizedPath, OfARelativePathBeginsInTheCurrentFolder)
{
    const Testing::TemporaryFolder folder;
    EXPECT_EQ(0, Testing::RunInChild(
                     [&]
                     {
                         if (chdir(folder.Path().c_str()) != 0)
                             return 1;
                         char current[4096];
                         const UTF16String here = FileNameToUTF16(getcwd(current, sizeof(current)));
                         return ToNormalizedPath(u"a/../b") == here + u"/b" ? 0 : 2;
                     }));
}

class PathsOnDisk : public ::testing::Test
{
protected:
    UTF16String At(const std::string& inName) const
    {
        return FileNameToUTF16(mFolder.Path(inName));
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(PathsOnDisk, FilesAndFoldersAndWhatLinksLeadToExist)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("folder");
    ASSERT_EQ(0, symlink("file", mFolder.Path("link").c_str()));
    ASSERT_EQ(0, symlink("nowhere", mFolder.Path("dangling").c_str()));

    EXPECT_TRUE(ExistsOnDisk(At("file"), 0));
    EXPECT_TRUE(ExistsOnDisk(At("folder")));
    EXPECT_TRUE(ExistsOnDisk(At("folder/")));
    EXPECT_TRUE(ExistsOnDisk(At("link")));
    EXPECT_FALSE(ExistsOnDisk(At("dangling")));
    EXPECT_TRUE(ExistsOnDisk(At("dangling"), kExistsOnDisk_LinkItself));
}

TEST_F(PathsOnDisk, WhatIsNotThereDoesNotExist)
{
    mFolder.Write("file", "x");

    EXPECT_FALSE(ExistsOnDisk(At("none")));
    EXPECT_FALSE(ExistsOnDisk(At("file/below")));
    EXPECT_FALSE(ExistsOnDisk(At("file") + UTF16String(u"\0x", 2)));
    EXPECT_FALSE(ExistsOnDisk(u""));
}

TEST_F(PathsOnDisk, APathIsPreparedByMakingItsFolders)
{
    EXPECT_EQ(qelcore::kResult_OK, PreparePathForWrite(At("a/b/file.txt")));
    EXPECT_TRUE(ExistsOnDisk(At("a/b")));
    EXPECT_FALSE(ExistsOnDisk(At("a/b/file.txt")));
    EXPECT_EQ(qelcore::kResult_OK, PreparePathForWrite(At("c/d/")));
    EXPECT_TRUE(ExistsOnDisk(At("c/d")));
    EXPECT_EQ(qelcore::kResult_OK, PreparePathForWrite(u"name"));
}

TEST_F(PathsOnDisk, APathBelowAFileCannotBePrepared)
{
    mFolder.Write("file", "x");

    EXPECT_EQ(ZOR::kFileResult_NotDirectory, PreparePathForWrite(At("file/below/x")));
    EXPECT_EQ(ZOR::kFileResult_BadArgument, PreparePathForWrite(u""));
}

TEST(AcceptablePath, IsAnyThatIsAbsolute)
{
    EXPECT_TRUE(IsWinAPIAcceptablePath(u"/"));
    EXPECT_TRUE(IsWinAPIAcceptablePath(u"/a/b"));
    EXPECT_FALSE(IsWinAPIAcceptablePath(u"a/b"));
    EXPECT_FALSE(IsWinAPIAcceptablePath(u""));
}

} // namespace
