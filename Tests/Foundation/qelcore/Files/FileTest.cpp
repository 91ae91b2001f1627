#include <cerrno>
#include <string>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Support/TemporaryFolder.h"
#include "qelcore/File.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::UTF16String;
using qelcore::filesupport::File;
using qelcore::filesupport::file_exception;
using qelcore::utility::FileNameToUTF16;

class FileTest : public ::testing::Test
{
protected:
    File At(const std::string& inName) const { return File(FileNameToUTF16(mFolder.Path(inName))); }
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

    Testing::TemporaryFolder mFolder;
};

TEST_F(FileTest, TheNameIsWhatFollowsTheLastSlash)
{
    EXPECT_EQ(u"b.tif", File(u"/a/b.tif").GetName());
    EXPECT_EQ(u"b", File(u"b").GetName());
    EXPECT_EQ(u"", File(u"/a/").GetName());
    EXPECT_EQ(u"", File().GetName());
}

TEST_F(FileTest, CreationMakesAnEmptyFileAndReplacesNone)
{
    const File file = At("f");
    EXPECT_FALSE(file.Exists());
    file.Create();
    EXPECT_TRUE(file.Exists());
    EXPECT_EQ("", mFolder.Read("f"));
    mFolder.Write("f", "kept");

    EXPECT_EQ(EEXIST, ErrorOf([&] { file.Create(); }));
    EXPECT_EQ("kept", mFolder.Read("f"));
}

TEST_F(FileTest, RemovalTakesFilesAndLinksButNoFolders)
{
    mFolder.Write("f", "x");
    mFolder.MakeFolder("d");
    ASSERT_EQ(0, symlink("f", mFolder.Path("link").c_str()));

    At("link").Delete();
    EXPECT_TRUE(At("f").Exists());
    At("f").Delete();
    EXPECT_EQ(ENOENT, ErrorOf([&] { At("f").Delete(); }));
    EXPECT_EQ(EISDIR, ErrorOf([&] { At("d").Delete(); }));
}

TEST_F(FileTest, AFolderIsNoFile)
{
    mFolder.MakeFolder("d");

    EXPECT_FALSE(At("d").Exists());
    EXPECT_FALSE(File().Exists());
}

TEST_F(FileTest, APathWithANulIsRefused)
{
    mFolder.Write("f", "x");
    File file(At("f").FullPath() + UTF16String(u"\0g", 2));

    EXPECT_FALSE(file.Exists());
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Create(); }));
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Delete(); }));
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Modified(); }));
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Rename(u"h"); }));
    EXPECT_EQ("x", mFolder.Read("f"));
}

class ModifiedTest : public FileTest
{
protected:
    std::string ModifiedAt(std::int64_t inSeconds, long inNanoseconds)
    {
        const std::string path = mFolder.Write("f", "x");
        const timespec times[2] = {{0, UTIME_OMIT}, {inSeconds, inNanoseconds}};
        EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
        struct stat status;
        EXPECT_EQ(0, stat(path.c_str(), &status));
        mKept = status.st_mtim.tv_sec == inSeconds;
        return boost::posix_time::to_simple_string(At("f").Modified());
    }
    bool mKept = false; // whether the file system could hold that time
};

TEST_F(ModifiedTest, ATimeIsUTCToTheMicrosecond)
{
    EXPECT_EQ("2001-Sep-09 01:46:40.123456", ModifiedAt(1000000000, 123456999));
    EXPECT_EQ("1970-Jan-01 00:00:00", ModifiedAt(0, 0));
    EXPECT_EQ("1969-Dec-31 23:59:59.750000", ModifiedAt(-1, 750000000));
}

TEST_F(ModifiedTest, ATimeInAFarFutureThatTheFileSystemHoldsIsTold)
{
    const std::string time = ModifiedAt(std::int64_t{1} << 33, 0);
    if (!mKept)
        GTEST_SKIP() << "needs a file system whose times go beyond 2242";
    EXPECT_EQ("2242-Mar-16 12:56:32", time);
}

TEST_F(ModifiedTest, TheTimeOfAMissingFileThrows)
{
    EXPECT_EQ(ENOENT, ErrorOf([&] { At("none").Modified(); }));
}

TEST_F(FileTest, ARenameStaysInTheFolderAndMovesTheObjectAlong)
{
    mFolder.Write("d/old", "x");
    File file = At("d/old");

    file.Rename(u"new");
    EXPECT_EQ(At("d/new"), file);
    EXPECT_EQ("x", mFolder.Read("d/new"));
    EXPECT_FALSE(At("d/old").Exists());
}

TEST_F(FileTest, ARenameNeverReplacesAndFailsWithoutATrace)
{
    mFolder.Write("a", "mine");
    mFolder.Write("b", "yours");
    File file = At("a");

    EXPECT_EQ(EEXIST, ErrorOf([&] { file.Rename(u"b"); }));
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Rename(u"d/b"); }));
    EXPECT_EQ(EINVAL, ErrorOf([&] { file.Rename(u""); }));
    EXPECT_EQ(At("a"), file);
    EXPECT_EQ("mine", mFolder.Read("a"));
    EXPECT_EQ("yours", mFolder.Read("b"));
}

TEST_F(FileTest, NamesThatAreNoTextGoThroughAllOfIt)
{
    mFolder.Write("bad\xff.tif", "x");
    File file = At("bad\xff.tif");

    EXPECT_TRUE(file.Exists());
    file.Rename(FileNameToUTF16("worse\xfe\xfd.tif"));
    EXPECT_EQ("x", mFolder.Read("worse\xfe\xfd.tif"));
    file.Delete();
    EXPECT_FALSE(file.Exists());
}

} // namespace
