// What a real disk does not do on request.
#include <cerrno>
#include <limits>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/FakeMachineFigures.h"
#include "Support/FakeVolumeTable.h"
#include "Support/MemoryFileSystem.h"
#include "qelcore/Dir.h"
#include "qelcore/FileUtils.h"
#include "qelcore/MachineFigures.h"
#include "qelcore/TextConversion.h"

namespace
{

namespace FileUtils = qelcore::utility::FileUtils;
using qelcore::UTF16String;
using qelcore::filesupport::Dir;
using qelcore::filesupport::dir_exception;
using qelcore::filesupport::File;
using qelcore::filesupport::file_exception;
using qelcore::filesupport::FileIterator;
using ::testing::ElementsAre;
using Testing::FileOperation;
using ::testing::IsEmpty;

class FilesOnFakes : public ::testing::Test
{
protected:
    static std::vector<std::string> NamesIn(const UTF16String& inFolder, bool inRecursive = false)
    {
        const Dir dir(inFolder);
        std::vector<std::string> names;
        for (FileIterator file = dir.BeginFiles(inRecursive); file != dir.EndFiles(); ++file)
            names.push_back(qelcore::utility::UTF16ToFileName(file->GetName()));
        return names;
    }
    std::string ModifiedAt(std::int64_t inSeconds, std::uint32_t inNanoseconds = 0)
    {
        mFiles.AddFile("/f", "x", {inSeconds, inNanoseconds});
        return boost::posix_time::to_simple_string(File(u"/f").Modified());
    }

    Testing::MemoryFileSystem mFiles;
    Testing::FakeVolumeTable mVolumes;
};

TEST_F(FilesOnFakes, TimesOutsideOfTheCalendarAreTheNearestInIt)
{
    EXPECT_EQ("1400-Jan-01 00:00:00", ModifiedAt(-17987443200));
    EXPECT_EQ("1400-Jan-01 00:00:00", ModifiedAt(-17987443201, 999999999));
    EXPECT_EQ("1400-Jan-01 00:00:00", ModifiedAt(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ("9999-Dec-31 23:59:59.999999", ModifiedAt(253402300799, 999999999));
    EXPECT_EQ("9999-Dec-31 23:59:59.999999", ModifiedAt(253402300800));
    EXPECT_EQ("9999-Dec-31 23:59:59.999999", ModifiedAt(std::int64_t{1} << 40));
    EXPECT_EQ("9999-Dec-31 23:59:59.999999", ModifiedAt(std::numeric_limits<std::int64_t>::max()));
}

TEST_F(FilesOnFakes, AFolderThatVanishesInMidListingEndsIt)
{
    for (const char* name : {"/d/1", "/d/2", "/d/3", "/d/4"})
        mFiles.AddFile(name);
    mFiles.VanishAfter("/d", 2);

    EXPECT_THAT(NamesIn(u"/d"), ElementsAre("1", "2"));
}

TEST_F(FilesOnFakes, ADiskThatFailsInMidListingThrowsAndEndsIt)
{
    mFiles.AddFile("/d/1");
    mFiles.AddFile("/d/2");
    const Dir dir(u"/d");
    FileIterator file = dir.BeginFiles();
    mFiles.Fail(FileOperation::kNext, "/d", EIO);

    EXPECT_THROW(++file, dir_exception);
    EXPECT_TRUE(file == dir.EndFiles());
}

TEST_F(FilesOnFakes, AFolderBelowThatCannotBeOpenedIsPassedOver)
{
    mFiles.AddFile("/d/a/1");
    mFiles.AddFile("/d/b/2");
    mFiles.AddFile("/d/c/3");
    mFiles.Fail(FileOperation::kList, "/d/b", EACCES);

    EXPECT_THAT(NamesIn(u"/d", true), ::testing::UnorderedElementsAre("1", "3"));
}

TEST_F(FilesOnFakes, ARemovalThatFailsMidwayPutsTheFoldersBack)
{
    mFiles.AddDirectory("/d/a/b");
    mFiles.AddDirectory("/d/c");
    mFiles.Fail(FileOperation::kRemoveDirectory, "/d/a", EACCES);

    EXPECT_THROW(Dir(u"/d").Delete(), dir_exception);
    for (const char* folder : {"/d", "/d/a", "/d/a/b", "/d/c"})
        EXPECT_TRUE(mFiles.Has(folder)) << folder;
}

TEST_F(FilesOnFakes, AFolderThatSomebodyElseRemovedMeanwhileIsNoFailure)
{
    mFiles.AddDirectory("/d/early");
    mFiles.AddDirectory("/d/late");
    mFiles.VanishAfter("/d/late", 0); // as it is listed: it is found gone when it is to be removed
    mFiles.Fail(FileOperation::kList, "/d/early", ENOENT); // gone before it could be listed

    EXPECT_NO_THROW(Dir(u"/d").Delete());
    EXPECT_FALSE(mFiles.Has("/d"));
}

TEST_F(FilesOnFakes, AFolderThatSomebodyElseMakesMeanwhileIsNoFailure)
{
    mFiles.AddDirectory("/d");
    mFiles.Fail(FileOperation::kStat, "/d", ENOENT); // not seen, and then in the way
    EXPECT_THROW(FileUtils::EnsureDirectoryExists(u"/d"), file_exception);
    mFiles.Fail(FileOperation::kStat, "/d", 0);
    mFiles.Fail(FileOperation::kStat, "/d/e", 0);

    EXPECT_NO_THROW(FileUtils::EnsureDirectoryExists(u"/d/e/f"));
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /d/e", "mkdir /d/e/f"));
}

TEST_F(FilesOnFakes, AReadOnlyVolumeLeavesTheAccessTimeInPeace)
{
    mFiles.AddFile("/f");
    mFiles.Fail(FileOperation::kTouch, "/f", EROFS);
    EXPECT_NO_THROW(FileUtils::UpdateFileAccessedTime(u"/f"));
    mFiles.Fail(FileOperation::kTouch, "/f", EIO);
    EXPECT_THROW(FileUtils::UpdateFileAccessedTime(u"/f"), file_exception);
}

TEST_F(FilesOnFakes, AFileThatCannotBeRemovedIsReported)
{
    mFiles.AddFile("/f");
    mFiles.Fail(FileOperation::kRemoveFile, "/f", EACCES);

    EXPECT_FALSE(FileUtils::RemoveFile(u"/f"));
}

TEST_F(FilesOnFakes, ARenameWorksWhereTheFileSystemHasNoneThatSpares)
{
    mFiles.AddFile("/d/a", "mine");
    mFiles.AddFile("/d/b", "yours");
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/a", EINVAL);
    File file(u"/d/a");

    EXPECT_THROW(file.Rename(u"b"), file_exception);
    file.Rename(u"c");
    EXPECT_EQ("mine", mFiles.Contents("/d/c"));
    EXPECT_EQ("yours", mFiles.Contents("/d/b"));
}

TEST_F(FilesOnFakes, FreeSpaceAndSizeAreTheVolumes)
{
    mVolumes.Add("/mnt/x", "xfs", "/dev/sdb1", {10, 20});

    EXPECT_EQ(10u, FileUtils::GetVolumeFreeSpace(u"/mnt/x/file"));
    EXPECT_EQ(20u, FileUtils::GetVolumeSize(u"/mnt/x"));
    EXPECT_EQ(50ull << 30, FileUtils::GetVolumeFreeSpace(u"/elsewhere"));
}

TEST_F(FilesOnFakes, ASilentVolumeThrowsAndHasNoPath)
{
    mVolumes.Fail("/mnt/x", ETIMEDOUT);
    UTF16String path;

    EXPECT_THROW(FileUtils::GetVolumeFreeSpace(u"/mnt/x"), file_exception);
    EXPECT_FALSE(FileUtils::GetVolumePath(u"/mnt/x", path));
}

TEST_F(FilesOnFakes, AVolumesPathEndsWithOneSlash)
{
    mVolumes.Add("/mnt/x", "xfs", "/dev/sdb1", {});
    UTF16String path;

    EXPECT_TRUE(FileUtils::GetVolumePath(u"/mnt/x/a/b", path));
    EXPECT_EQ(u"/mnt/x/", path);
    EXPECT_TRUE(FileUtils::GetVolumePath(u"/", path));
    EXPECT_EQ(u"/", path);
}

TEST_F(FilesOnFakes, AVolumeOfAServerHasItsNameAndALocalOneHasNone)
{
    mVolumes.Add("/mnt/nas", "nfs4", "server:/export", {});
    UTF16String host = u"what was there before";

    EXPECT_TRUE(FileUtils::GetPathVolumeHostName(u"/mnt/nas/clip.mov", host));
    EXPECT_EQ(u"server", host);
    EXPECT_FALSE(FileUtils::GetPathVolumeHostName(u"/home", host));
    EXPECT_EQ(u"", host);
}

TEST(MachineFigures, AreThoseOfTheEdge)
{
    Testing::FakeMachineFigures machine;
    machine.totalPhysical = 1;
    machine.totalVirtual = 2;
    machine.freePhysical = 3;
    machine.freeActive = 4;
    machine.process = 5;
    machine.processCompressed = 6;
    machine.systemCompressed = 7;

    EXPECT_EQ(1u, qelcore::utility::TotalPhysicalMemory());
    EXPECT_EQ(2u, qelcore::utility::GetTotalVirtualMemory());
    EXPECT_EQ(3u, qelcore::utility::GetFreePhysicalMemory());
    EXPECT_EQ(4u, qelcore::utility::GetFreeActiveMemory());
    EXPECT_EQ(5u, qelcore::utility::GetCurrentProcessMemoryUsage());
    EXPECT_EQ(6u, qelcore::utility::GetCurrentProcessCompressedMemoryUsage());
    EXPECT_EQ(7u, qelcore::utility::GetAmountOfCompressedMemoryBySystem());
}

} // namespace
