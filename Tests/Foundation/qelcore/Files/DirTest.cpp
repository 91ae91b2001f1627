#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "Support/TemporaryFolder.h"
#include "qelcore/Dir.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::UTF16String;
using qelcore::filesupport::Dir;
using qelcore::filesupport::dir_exception;
using qelcore::filesupport::File;
using qelcore::filesupport::FileIterator;
using qelcore::utility::FileNameToUTF16;
using qelcore::utility::UTF16ToFileName;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class DirTest : public ::testing::Test
{
protected:
    Dir At(const std::string& inName) const { return Dir(FileNameToUTF16(mFolder.Path(inName))); }
    Dir Top() const { return Dir(FileNameToUTF16(mFolder.Path())); }
    static std::set<std::string> NamesIn(const Dir& inDir, bool inRecursive = false)
    {
        std::set<std::string> names;
        for (FileIterator file = inDir.BeginFiles(inRecursive); file != inDir.EndFiles(); ++file)
            EXPECT_TRUE(names.insert(UTF16ToFileName(file->GetName())).second);
        return names;
    }
    static int ErrorOfDelete(const Dir& inDir)
    {
        try
        {
            inDir.Delete();
            return 0;
        }
        catch (const dir_exception& failure)
        {
            EXPECT_EQ(inDir.FullPath(), failure.FullPath());
            return failure.ErrorNumber();
        }
    }
    void Link(const std::string& inTarget, const std::string& inName) const
    {
        ASSERT_EQ(0, symlink(inTarget.c_str(), mFolder.Path(inName).c_str()));
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(DirTest, TheNameIsTheLastComponentWithOrWithoutASlash)
{
    EXPECT_EQ(u"b", Dir(u"/a/b").GetName());
    EXPECT_EQ(u"b", Dir(u"/a/b//").GetName());
    EXPECT_EQ(u"b", Dir(u"b").GetName());
    EXPECT_EQ(u"/", Dir(u"/").GetName());
    EXPECT_EQ(u"", Dir().GetName());
}

TEST_F(DirTest, ThePathIsTheOneGiven)
{
    EXPECT_EQ(u"/a/../b/", Dir(u"/a/../b/").FullPath());
    EXPECT_EQ(Dir(u"/a"), Dir(u"/a"));
    EXPECT_NE(Dir(u"/a"), Dir(u"/a/"));
}

TEST_F(DirTest, AFolderIsThereFromItsCreationToItsRemoval)
{
    const Dir dir = At("new");
    EXPECT_FALSE(dir.Exists());
    dir.Create();
    EXPECT_TRUE(dir.Exists());
    dir.Delete();
    EXPECT_FALSE(dir.Exists());
}

TEST_F(DirTest, CreationFailsWhereSomethingIsAndWhereNoParentIs)
{
    mFolder.Write("file", "x");

    EXPECT_THROW(Top().Create(), dir_exception);
    EXPECT_THROW(At("file").Create(), dir_exception);
    EXPECT_THROW(At("none/new").Create(), dir_exception);
    EXPECT_THROW(Dir().Create(), dir_exception);
}

TEST_F(DirTest, AFileIsNoFolderAndALinkToAFolderIsOne)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("folder");
    Link("folder", "link");
    Link("nowhere", "dangling");

    EXPECT_FALSE(At("file").Exists());
    EXPECT_TRUE(At("link").Exists());
    EXPECT_FALSE(At("dangling").Exists());
    EXPECT_FALSE(Dir().Exists());
}

TEST_F(DirTest, APathWithANulIsRefused)
{
    const Dir dir(Top().FullPath() + UTF16String(u"\0x", 2));

    EXPECT_FALSE(dir.Exists());
    EXPECT_EQ(EINVAL, ErrorOfDelete(dir));
    EXPECT_THROW(dir.Create(), dir_exception);
    EXPECT_THROW(dir.BeginFiles(), dir_exception);
    EXPECT_TRUE(Top().Exists());
}

TEST_F(DirTest, AnExceptionNamesThePathAndTheReason)
{
    try
    {
        At("none").Delete();
        FAIL();
    }
    catch (const std::runtime_error& failure)
    {
        const std::string text = failure.what();
        EXPECT_NE(std::string::npos, text.find(mFolder.Path("none"))) << text;
        EXPECT_NE(std::string::npos, text.find("No such file or directory")) << text;
    }
}

TEST_F(DirTest, ATreeOfEmptyFoldersIsRemovedWhole)
{
    mFolder.MakeFolder("top/a/b/c");
    mFolder.MakeFolder("top/a/d");
    mFolder.MakeFolder("top/e");

    At("top").Delete();
    EXPECT_FALSE(At("top").Exists());
}

TEST_F(DirTest, ATreeWithAFileAnywhereStaysWhole)
{
    mFolder.MakeFolder("top/a/b");
    mFolder.MakeFolder("top/z");
    mFolder.Write("top/m/n/.hidden", "x");

    EXPECT_EQ(ENOTEMPTY, ErrorOfDelete(At("top")));
    EXPECT_TRUE(At("top/a/b").Exists());
    EXPECT_TRUE(At("top/z").Exists());
    EXPECT_EQ("x", mFolder.Read("top/m/n/.hidden"));
}

TEST_F(DirTest, ATreeWithALinkStaysWholeAndTheLinkIsNotFollowed)
{
    mFolder.MakeFolder("elsewhere/empty");
    mFolder.MakeFolder("top/a");
    Link("../elsewhere", "top/link");

    EXPECT_EQ(ENOTEMPTY, ErrorOfDelete(At("top")));
    EXPECT_TRUE(At("top/a").Exists());
    EXPECT_TRUE(At("elsewhere/empty").Exists());
}

TEST_F(DirTest, ALinkToAFolderIsNotRemovedWithOrWithoutASlash)
{
    mFolder.MakeFolder("folder");
    Link("folder", "link");

    EXPECT_EQ(ENOTDIR, ErrorOfDelete(At("link")));
    EXPECT_EQ(ENOTDIR, ErrorOfDelete(At("link/")));
    EXPECT_TRUE(At("link").Exists());
}

TEST_F(DirTest, RemovingWhatIsNotThereOrIsNoFolderFails)
{
    mFolder.Write("file", "x");

    EXPECT_EQ(ENOENT, ErrorOfDelete(At("none")));
    EXPECT_EQ(ENOTDIR, ErrorOfDelete(At("file")));
    EXPECT_EQ("x", mFolder.Read("file"));
}

TEST_F(DirTest, FilesAndLinksToFilesAreListedAndNothingElse)
{
    mFolder.Write("file", "x");
    mFolder.Write(".hidden", "x");
    mFolder.Write("folder/inner", "x");
    Link("file", "link");
    Link("folder", "linkToFolder");
    Link("nowhere", "dangling");
    ASSERT_EQ(0, mkfifo(mFolder.Path("pipe").c_str(), 0600));

    EXPECT_THAT(NamesIn(Top()), UnorderedElementsAre("file", ".hidden", "link"));
}

TEST_F(DirTest, AListedFilesPathIsTheFoldersAndItsName)
{
    mFolder.Write("file", "x");
    const UTF16String expected = Top().FullPath() + u"/file";

    EXPECT_EQ(expected, Top().BeginFiles()->FullPath());
    EXPECT_EQ(expected, Dir(Top().FullPath() + u"/").BeginFiles()->FullPath());
    EXPECT_TRUE(Top().BeginFiles()->Exists());
}

TEST_F(DirTest, ARecursiveListingGoesIntoFoldersAndNotThroughLinks)
{
    mFolder.Write("a", "x");
    mFolder.Write("f/b", "x");
    mFolder.Write("f/g/c", "x");
    mFolder.MakeFolder("empty");
    Link("..", "f/g/up");

    EXPECT_THAT(NamesIn(Top(), true), UnorderedElementsAre("a", "b", "c"));
}

TEST_F(DirTest, AFilterIsAskedByNameAndHasNoSayAboutFolders)
{
    mFolder.Write("a.tif", "x");
    mFolder.Write("b.txt", "x");
    mFolder.Write("f.txt/c.tif", "x");
    const auto isTIFF = [](const UTF16String& inName)
    { return inName.find(u".tif") != UTF16String::npos; };

    std::set<std::string> names;
    for (FileIterator file = Top().BeginFiles(true, isTIFF); file != Top().EndFiles(); ++file)
        names.insert(UTF16ToFileName(file->GetName()));
    EXPECT_THAT(names, UnorderedElementsAre("a.tif", "c.tif"));
}

TEST_F(DirTest, NamesThatAreNoTextAndNamesBeyondTheBMPAreFoundAgain)
{
    const std::set<std::string> names = {"bad\xff\xfe.tif", "\xf0\x9f\x8e\xac_0001.tif", "\xc3(",
                                         "plain", std::string(255, 'n')};
    for (const std::string& name : names)
        mFolder.Write(name, "x");

    EXPECT_EQ(names, NamesIn(Top()));
    for (FileIterator file = Top().BeginFiles(); file != Top().EndFiles(); ++file)
        EXPECT_TRUE(file->Exists()) << UTF16ToFileName(file->GetName());
}

TEST_F(DirTest, AnEmptyFolderEndsAtOnceAndAMissingOneThrows)
{
    EXPECT_TRUE(Top().BeginFiles() == Top().EndFiles());
    EXPECT_THROW(At("none").BeginFiles(), dir_exception);
    EXPECT_THROW(Dir().BeginFiles(), dir_exception);
    mFolder.Write("file", "x");
    EXPECT_THROW(At("file").BeginFiles(), dir_exception);
}

TEST_F(DirTest, CopiesOfAnIteratorShareOneWalk)
{
    mFolder.Write("only", "x");
    FileIterator first = Top().BeginFiles();
    const FileIterator second = first;
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == Top().BeginFiles());

    ++first;
    EXPECT_TRUE(first == Top().EndFiles());
    EXPECT_TRUE(second == Top().EndFiles());
}

TEST_F(DirTest, AFolderThatVanishesInMidListingEndsIt)
{
    for (int i = 0; i < 3; ++i)
        mFolder.Write("f/" + std::to_string(i), "x");
    FileIterator file = At("f").BeginFiles();
    ASSERT_TRUE(file != At("f").EndFiles());
    std::filesystem::remove_all(mFolder.Path("f"));

    int seen = 0;
    for (; file != At("f").EndFiles(); ++file)
    {
        EXPECT_FALSE(file->Exists());
        ++seen;
    }
    EXPECT_LE(seen, 3);
}

TEST_F(DirTest, TheTemporaryFolderIsThere)
{
    EXPECT_TRUE(Dir::TempDir().Exists());
}

} // namespace
