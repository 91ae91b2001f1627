// What a real disk does not do on request.
#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/MemoryFileSystem.h"
#include "ZOR/DiskUtils.h"
#include "ZOR/File.h"
#include "ZOR/PathUtils.h"

namespace
{

using namespace ZOR;
using qelcore::kResult_GeneralFailure;
using qelcore::kResult_OK;
using qelcore::Result;
using Testing::FileOperation;

class ZORFileOnFakes : public ::testing::Test
{
protected:
    Result Open(FileAccessFlags inAccess, FileCreateDispositionFlags inDisposition)
    {
        return mFile.Create(u"/d/f", inAccess, kFileShareMode_None, inDisposition,
                            kFileAttributes_Normal, false);
    }

    Testing::MemoryFileSystem mFiles;
    File mFile;
    char mBytes[100] = {};
    std::size_t mCount = 0;
};

TEST_F(ZORFileOnFakes, ReadsThatBringLittleGoOnUntilAllIsThere)
{
    mFiles.AddFile("/d/f", "0123456789");
    mFiles.LimitTransfers(3);
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Read, kFileCreate_OpenExisting));

    EXPECT_EQ(kResult_OK, mFile.Read(mBytes, 8, mCount));
    EXPECT_EQ("01234567", std::string(mBytes, mCount));
    EXPECT_EQ(kResult_OK, mFile.Read(mBytes, 8, mCount));
    EXPECT_EQ("89", std::string(mBytes, mCount));
}

TEST_F(ZORFileOnFakes, AReadOfAtLeastWhatIsThereTakesOneTransferThoughThereIsMoreRoom)
{
    mFiles.AddFile("/d/f", "0123456789");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Read, kFileCreate_OpenExisting));
    EXPECT_EQ(kResult_OK, mFile.ReadAtLeast(mBytes, 10, sizeof(mBytes), mCount));
    EXPECT_EQ("0123456789", std::string(mBytes, mCount));
    EXPECT_EQ(1u, mFiles.ReadCount());
}

TEST_F(ZORFileOnFakes, AReadOfAtLeastMoreThanIsThereFails)
{
    mFiles.AddFile("/d/f", "0123456789");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Read, kFileCreate_OpenExisting));
    EXPECT_EQ(kResult_GeneralFailure, mFile.ReadAtLeast(mBytes, 11, sizeof(mBytes), mCount));
    EXPECT_EQ(10u, mCount);
}

TEST_F(ZORFileOnFakes, AnOpenFileTellsItsSizeAndTheSpaceOnItsVolumeOrWhyNot)
{
    mFiles.AddFile("/d/f", "0123456789");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Read, kFileCreate_OpenExisting));
    std::uint64_t size = 0;
    std::uint64_t space = 0;
    EXPECT_EQ(kResult_OK, mFile.GetSize(size));
    EXPECT_EQ(10u, size);
    mFiles.volume.freeBytes = 77;
    EXPECT_EQ(kResult_OK, mFile.GetVolumeFreeSpace(space));
    EXPECT_EQ(77u, space);
    mFiles.Fail(FileOperation::kStatOpen, "/d/f", EIO);
    mFiles.Fail(FileOperation::kVolumeOf, "/d/f", EIO);
    EXPECT_EQ(kFileResult_DeviceFailure, mFile.GetSize(size));
    EXPECT_EQ(kFileResult_DeviceFailure, mFile.GetVolumeFreeSpace(space));
    mFile.Close();
    EXPECT_EQ(kFileResult_NotOpen, mFile.GetSize(size));
    EXPECT_EQ(kFileResult_NotOpen, mFile.GetVolumeFreeSpace(space));
    EXPECT_EQ(kFileResult_NotOpen, mFile.ReadAtLeast(mBytes, 1, 1, mCount));
}

TEST_F(ZORFileOnFakes, ATemporaryFileIsMadeAnewBesideItsTarget)
{
    mFiles.AddDirectory("/d");
    qelcore::UTF16String temporary;
    ASSERT_EQ(kResult_OK, mFile.CreateTemp(u"/d/f", temporary));
    EXPECT_TRUE(File::IsTempPath(temporary));
    EXPECT_EQ(u"/d/", PathUtils::GetFullDirectoryPart(temporary));
    EXPECT_TRUE(PathUtils::ExistsOnDisk(temporary));
    qelcore::UTF16String untouched = u"as before";
    EXPECT_EQ(kFileResult_AlreadyOpen, mFile.CreateTemp(u"/d/f", untouched));
    EXPECT_EQ(u"as before", untouched);
}

TEST_F(ZORFileOnFakes, ATemporaryFileWhoseNameIsTakenGetsAnother)
{
    mFiles.AddDirectory("/d");
    std::string taken;
    mFiles.onOpen = [&](const std::string& inPath)
    {
        if (taken.empty())
            mFiles.AddLink(taken = inPath, "/elsewhere");
    };
    qelcore::UTF16String temporary;
    ASSERT_EQ(kResult_OK, mFile.CreateTemp(u"/d/f", temporary));
    EXPECT_TRUE(mFiles.Has(taken));
    EXPECT_FALSE(mFiles.Has("/elsewhere"));
}

TEST_F(ZORFileOnFakes, WritesThatTakeLittleGoOnUntilAllIsPut)
{
    mFiles.AddDirectory("/d");
    mFiles.LimitTransfers(3);
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Write, kFileCreate_New));

    EXPECT_EQ(kResult_OK, mFile.Write("0123456789", 10, mCount));
    EXPECT_EQ(10u, mCount);
    EXPECT_EQ("0123456789", mFiles.Contents("/d/f"));
}

TEST_F(ZORFileOnFakes, AWriteThatTakesNothingEndsInFailure)
{
    mFiles.AddDirectory("/d");
    mFiles.LimitTransfers(0);
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Write, kFileCreate_New));

    EXPECT_EQ(kResult_GeneralFailure, mFile.Write("x", 1, mCount));
    EXPECT_EQ(0u, mCount);
}

TEST_F(ZORFileOnFakes, BytesThatCannotBeKeptAreReportedBySyncing)
{
    mFiles.AddFile("/d/f", "0123456789");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Write, kFileCreate_OpenExisting));
    EXPECT_EQ(kResult_OK, mFile.SyncBytes());

    mFiles.Fail(FileOperation::kSyncBytes, "/d/f", EIO);
    EXPECT_EQ(kFileResult_DeviceFailure, mFile.SyncBytes());
    mFiles.Fail(FileOperation::kSyncBytes, "/d/f", ENOSPC);
    EXPECT_EQ(kFileResult_NoSpace, mFile.SyncBytes());
    EXPECT_EQ(kResult_OK, mFile.Close());
}

TEST_F(ZORFileOnFakes, FailuresOfTheDiskAreReported)
{
    mFiles.AddFile("/d/f", "0123456789");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Read | kFileAccess_Write, kFileCreate_OpenExisting));
    mFiles.Fail(FileOperation::kRead, "/d/f", EIO);
    mFiles.Fail(FileOperation::kWrite, "/d/f", ENOSPC);

    EXPECT_EQ(kFileResult_DeviceFailure, mFile.Read(mBytes, 8, mCount));
    EXPECT_EQ(kFileResult_NoSpace, mFile.Write("x", 1, mCount));
    mFiles.Fail(FileOperation::kWrite, "/d/f", EDQUOT);
    EXPECT_EQ(kFileResult_NoSpace, mFile.Write("x", 1, mCount));
    EXPECT_EQ(0u, mCount);
}

TEST_F(ZORFileOnFakes, AFailureToCloseIsReportedAndTheFileIsClosedAllTheSame)
{
    mFiles.AddDirectory("/d");
    ASSERT_EQ(kResult_OK, Open(kFileAccess_Write, kFileCreate_New));
    mFiles.Fail(FileOperation::kClose, "/d/f", ENOSPC);

    EXPECT_EQ(kFileResult_NoSpace, mFile.Close());
    EXPECT_FALSE(mFile.IsOpen());
    EXPECT_EQ(0u, mFiles.OpenHandles());
}

TEST_F(ZORFileOnFakes, AnObjectClosesItsFileAtItsEndAndWhenAnotherMovesIn)
{
    mFiles.AddFile("/d/f");
    {
        File file;
        ASSERT_EQ(kResult_OK, Open(kFileAccess_Read, kFileCreate_OpenExisting));
        ASSERT_EQ(kResult_OK, file.Create(u"/d/f", kFileAccess_Read, kFileShareMode_Read,
                                          kFileCreate_OpenExisting, kFileAttributes_Normal, false));
        EXPECT_EQ(2u, mFiles.OpenHandles());
        mFile = std::move(file);
        EXPECT_EQ(1u, mFiles.OpenHandles());
    }
    EXPECT_EQ(1u, mFiles.OpenHandles());
    mFile = File();
    EXPECT_EQ(0u, mFiles.OpenHandles());
}

TEST_F(ZORFileOnFakes, AMoveAcrossVolumesIsToldApart)
{
    mFiles.AddFile("/d/f", "x");
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/f", EXDEV);

    EXPECT_EQ(kFileResult_OtherVolume, File::Move(u"/d/f", u"/e"));
    EXPECT_EQ("x", mFiles.Contents("/d/f"));
}

TEST_F(ZORFileOnFakes, AMoveWorksWhereTheFileSystemHasNoneThatSpares)
{
    mFiles.AddFile("/d/f", "mine");
    mFiles.AddFile("/d/taken", "yours");
    mFiles.Fail(FileOperation::kRenameNoReplace, "/d/f", EINVAL);
    mFiles.Fail(FileOperation::kLink, "/d/f", EPERM);

    EXPECT_EQ(kFileResult_AlreadyExists, File::Move(u"/d/f", u"/d/taken"));
    EXPECT_EQ("yours", mFiles.Contents("/d/taken"));
    EXPECT_EQ(kResult_OK, File::Move(u"/d/f", u"/d/g"));
    EXPECT_EQ("mine", mFiles.Contents("/d/g"));
}

TEST_F(ZORFileOnFakes, ErrorsWithoutACodeOfTheirOwnAreGeneralFailures)
{
    mFiles.AddFile("/d/f");
    mFiles.Fail(FileOperation::kOpen, "/d/f", ENXIO);
    EXPECT_EQ(kResult_GeneralFailure, Open(kFileAccess_Read, kFileCreate_OpenExisting));
    mFiles.Fail(FileOperation::kOpen, "/d/f", EROFS);
    EXPECT_EQ(kFileResult_AccessDenied, Open(kFileAccess_Read, kFileCreate_OpenExisting));
    mFiles.Fail(FileOperation::kOpen, "/d/f", ENFILE);
    EXPECT_EQ(kFileResult_TooManyOpenFiles, Open(kFileAccess_Read, kFileCreate_OpenExisting));
}

TEST_F(ZORFileOnFakes, TheUnitOfTheDiskIsTheBlockWithinBounds)
{
    std::uint32_t unit = 0;
    EXPECT_EQ(kResult_OK, DiskUtils::GetEfficientDiskBufferSizeFromPath(u"/d", unit));
    EXPECT_EQ(4096u, unit);
    mFiles.blockSize = 1 << 20; // a server's
    EXPECT_EQ(kResult_OK, DiskUtils::GetEfficientDiskBufferSizeFromPath(u"/d", unit));
    EXPECT_EQ(65536u, unit);
    mFiles.blockSize = 0;
    EXPECT_EQ(kResult_OK, DiskUtils::GetEfficientDiskBufferSizeFromPath(u"/d", unit));
    EXPECT_EQ(512u, unit);
}

TEST_F(ZORFileOnFakes, AFolderThatCannotBeMadeFailsThePreparation)
{
    mFiles.Fail(FileOperation::kMakeDirectory, "/d", ENOSPC);
    EXPECT_EQ(kFileResult_NoSpace, PathUtils::PreparePathForWrite(u"/d/f"));
    mFiles.Fail(FileOperation::kMakeDirectory, "/d", EACCES);
    EXPECT_EQ(kFileResult_AccessDenied, PathUtils::PreparePathForWrite(u"/d/f"));
}

} // namespace
