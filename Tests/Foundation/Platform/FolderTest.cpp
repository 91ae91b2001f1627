#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <unistd.h>

#include "Platform/FileSystem.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Platform;

class FolderTest : public ::testing::Test
{
protected:
    std::unique_ptr<IFolder> Open(const std::string& inName) const
    {
        std::unique_ptr<IFolder> folder;
        EXPECT_EQ(0,
                  FileSystem().OpenFolder(mFolder.Path(inName), LinkPolicy::kDoNotFollow, folder));
        return folder;
    }
    static int ErrorOfOpen(IFolder& inFolder, const std::string& inName)
    {
        std::unique_ptr<IFolder> inner;
        return inFolder.OpenFolder(inName, inner);
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(FolderTest, StaysTheSameFolderWhenItIsRenamed)
{
    mFolder.MakeFolder("a/inner");
    const std::unique_ptr<IFolder> folder = Open("a");
    std::filesystem::rename(mFolder.Path("a"), mFolder.Path("b"));
    mFolder.MakeFolder("a/inner");

    EXPECT_EQ(0, folder->RemoveDirectory("inner"));
    EXPECT_FALSE(std::filesystem::exists(mFolder.Path("b/inner")));
    EXPECT_TRUE(std::filesystem::exists(mFolder.Path("a/inner")));
    EXPECT_EQ(Open("b")->Identity(), folder->Identity());
    EXPECT_NE(Open("a")->Identity(), folder->Identity());
}

TEST_F(FolderTest, GoesThroughNoLink)
{
    mFolder.MakeFolder("a");
    mFolder.MakeFolder("elsewhere");
    ASSERT_EQ(0, symlink("../elsewhere", mFolder.Path("a/link").c_str()));
    std::unique_ptr<IFolder> folder;

    EXPECT_EQ(ENOTDIR, ErrorOfOpen(*Open("a"), "link"));
    EXPECT_EQ(ENOTDIR, Open("a")->RemoveDirectory("link"));
    EXPECT_EQ(ENOTDIR,
              FileSystem().OpenFolder(mFolder.Path("a/link"), LinkPolicy::kDoNotFollow, folder));
    EXPECT_EQ(0, FileSystem().OpenFolder(mFolder.Path("a/link"), LinkPolicy::kFollow, folder));
}

TEST_F(FolderTest, AFolderFurtherBelowIsReachedThroughNoLink)
{
    mFolder.MakeFolder("a/b/c");
    mFolder.MakeFolder("elsewhere/c");
    ASSERT_EQ(0, symlink("../elsewhere", mFolder.Path("a/link").c_str()));
    ASSERT_EQ(0, symlink("../b", mFolder.Path("a/b/self").c_str()));
    const std::unique_ptr<IFolder> folder = Open("a");
    std::unique_ptr<IFolder> inner;

    EXPECT_EQ(0, folder->OpenFolderBelow("b/c", inner));
    EXPECT_EQ(Open("a/b/c")->Identity(), inner->Identity());
    EXPECT_EQ(0, folder->OpenFolderBelow("b", inner));
    EXPECT_EQ(ENOTDIR, folder->OpenFolderBelow("link/c", inner));
    EXPECT_EQ(ENOTDIR, folder->OpenFolderBelow("b/self", inner));
    EXPECT_EQ(ENOENT, folder->OpenFolderBelow("b/none/c", inner));
    for (const char* path : {"", "/", "b/", "/b", "b//c", "b/../b", "./b", ".."})
        EXPECT_EQ(EINVAL, folder->OpenFolderBelow(path, inner)) << path;
}

TEST_F(FolderTest, APathThatIsTooLongForTheSystemIsReachedStepByStep)
{
    std::string path = std::string(200, 'f');
    mFolder.MakeFolder("a");
    std::unique_ptr<IFolder> folder = Open("a");
    for (int depth = 1; depth <= 25; ++depth) // 25 times 201 is beyond PATH_MAX
    {
        ASSERT_EQ(0, folder->MakeDirectory(std::string(200, 'f')));
        std::unique_ptr<IFolder> next;
        ASSERT_EQ(0, folder->OpenFolder(std::string(200, 'f'), next));
        folder = std::move(next);
        path += depth < 25 ? "/" + std::string(200, 'f') : "";
    }
    std::unique_ptr<IFolder> deepest;
    ASSERT_EQ(0, Open("a")->OpenFolderBelow(path, deepest));
    EXPECT_EQ(folder->Identity(), deepest->Identity());
}

TEST_F(FolderTest, AFileIsRemovedByItsNameAndALinkItself)
{
    mFolder.Write("a/file", "x");
    mFolder.Write("elsewhere", "x");
    mFolder.MakeFolder("a/folder");
    ASSERT_EQ(0, symlink("../elsewhere", mFolder.Path("a/link").c_str()));
    const std::unique_ptr<IFolder> folder = Open("a");

    EXPECT_EQ(0, folder->RemoveFile("file"));
    EXPECT_EQ(ENOENT, folder->RemoveFile("file"));
    EXPECT_EQ(0, folder->RemoveFile("link"));
    EXPECT_EQ("x", mFolder.Read("elsewhere"));
    EXPECT_EQ(EISDIR, folder->RemoveFile("folder"));
    EXPECT_EQ(EINVAL, folder->RemoveFile("../elsewhere"));
}

TEST_F(FolderTest, ANameIsOneComponent)
{
    mFolder.MakeFolder("a/b/c");
    const std::unique_ptr<IFolder> folder = Open("a");
    FileStatus status;

    for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                    std::string("b/c"), std::string("b\0", 2)})
    {
        EXPECT_EQ(EINVAL, ErrorOfOpen(*folder, name)) << name;
        EXPECT_EQ(EINVAL, folder->RemoveDirectory(name)) << name;
        EXPECT_EQ(EINVAL, folder->MakeDirectory(name)) << name;
        EXPECT_EQ(EINVAL, folder->StatEntry(name, status)) << name;
    }
    EXPECT_TRUE(std::filesystem::exists(mFolder.Path("a/b/c")));
}

TEST_F(FolderTest, TheParentIsTheOneThatItIsInNow)
{
    mFolder.MakeFolder("a/inner");
    mFolder.MakeFolder("b");
    const std::unique_ptr<IFolder> inner = Open("a/inner");
    std::filesystem::rename(mFolder.Path("a/inner"), mFolder.Path("b/inner"));
    std::unique_ptr<IFolder> parent;

    ASSERT_EQ(0, inner->OpenParent(parent));
    EXPECT_EQ(Open("b")->Identity(), parent->Identity());
}

TEST_F(FolderTest, AnEntryIsLookedAtItself)
{
    mFolder.Write("a/file", "12345");
    ASSERT_EQ(0, symlink("file", mFolder.Path("a/link").c_str()));
    const std::unique_ptr<IFolder> folder = Open("a");
    FileStatus status;

    EXPECT_EQ(0, folder->StatEntry("file", status));
    EXPECT_EQ(5u, status.size);
    EXPECT_EQ(0, folder->StatEntry("link", status));
    EXPECT_EQ(FileKind::kSymbolicLink, status.kind);
    EXPECT_EQ(ENOENT, folder->StatEntry("none", status));
}

TEST_F(FolderTest, EachListingBeginsAtTheFront)
{
    mFolder.Write("a/file", "x");
    const std::unique_ptr<IFolder> folder = Open("a");

    for (int i = 0; i < 2; ++i)
    {
        std::unique_ptr<IDirectoryListing> listing;
        ASSERT_EQ(0, folder->List(listing));
        DirectoryEntry entry;
        bool end = true;
        EXPECT_EQ(0, listing->Next(entry, end));
        EXPECT_FALSE(end);
        EXPECT_EQ("file", entry.name);
        EXPECT_EQ(0, listing->Next(entry, end));
        EXPECT_TRUE(end);
    }
}

TEST_F(FolderTest, TwoMakeNoFolderOfOneNameAndAFullOneStays)
{
    mFolder.MakeFolder("a");
    const std::unique_ptr<IFolder> folder = Open("a");

    EXPECT_EQ(0, folder->MakeDirectory("b"));
    EXPECT_EQ(EEXIST, folder->MakeDirectory("b"));
    mFolder.Write("a/b/file", "x");
    EXPECT_EQ(ENOTEMPTY, folder->RemoveDirectory("b"));
    EXPECT_EQ("x", mFolder.Read("a/b/file"));
}

} // namespace
