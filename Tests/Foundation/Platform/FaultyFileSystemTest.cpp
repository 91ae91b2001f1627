#include <cerrno>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Platform/FileSystem.h"
#include "Platform/WholeFile.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "Support/TemporaryFolder.h"

// The fake that makes other tests' calls fail, on which they rely.
namespace
{

using namespace Platform;
using Testing::FileOperation;

const OpenOptions kToRead = {FileAccess::kRead, FileCreation::kMustExist, false};
const OpenOptions kToMake = {FileAccess::kWrite, FileCreation::kMustCreate, false};

class FaultyFileSystemTest : public ::testing::Test
{
protected:
    int Make(const std::string& inPath)
    {
        FileHandle file = kNoFile;
        const int error = FileSystem().Open(inPath, kToMake, file);
        return error != 0 ? error : FileSystem().Close(file);
    }
    FileHandle Open(const std::string& inPath, const OpenOptions& inOptions = kToRead)
    {
        FileHandle file = kNoFile;
        EXPECT_EQ(0, FileSystem().Open(inPath, inOptions, file));
        return file;
    }
    int Write(FileHandle inFile, const std::string& inBytes, std::size_t& outPut)
    {
        return FileSystem().Write(inFile, inBytes.data(), inBytes.size(), outPut);
    }

    Testing::MemoryFileSystem mDisk;
    Testing::FaultyFileSystem mFaults;
};

TEST_F(FaultyFileSystemTest, HandsOnWhatNoRuleConcerns)
{
    mFaults.Fail(FileOperation::kOpen, "/b*", EIO);

    EXPECT_EQ(0, ReplaceWholeFile(FileSystem(), "/a", "text"));

    std::string bytes;
    EXPECT_EQ(0, ReadWholeFile(FileSystem(), "/a", 10, bytes));
    EXPECT_EQ("text", bytes);
    EXPECT_EQ("text", mDisk.Contents("/a"));
    EXPECT_EQ(0u, mFaults.Failures());
}

TEST_F(FaultyFileSystemTest, FailsEveryCallThatMatchesAndNoneReachesTheFileSystemBehind)
{
    mFaults.Fail(FileOperation::kOpen, "*.rkdc", EACCES);

    EXPECT_EQ(EACCES, Make("/folder/one.rkdc"));
    EXPECT_EQ(EACCES, Make("/two.rkdc"));
    EXPECT_EQ(0, Make("/two.rkdc2"));
    EXPECT_EQ(2u, mFaults.Failures());
    EXPECT_FALSE(mDisk.Has("/two.rkdc"));
}

TEST_F(FaultyFileSystemTest, FailsOnlyTheCallOfANumber)
{
    mFaults.FailNth(FileOperation::kMakeDirectory, "*", 2, ENOSPC);

    EXPECT_EQ(0, FileSystem().MakeDirectory("/1"));
    EXPECT_EQ(ENOSPC, FileSystem().MakeDirectory("/2"));
    EXPECT_EQ(0, FileSystem().MakeDirectory("/2"));
}

TEST_F(FaultyFileSystemTest, FailsFromTheCallOfANumberOn)
{
    mFaults.FailFrom(FileOperation::kMakeDirectory, "/in*", 2, ENOSPC);

    EXPECT_EQ(0, FileSystem().MakeDirectory("/in1"));
    EXPECT_EQ(0, FileSystem().MakeDirectory("/out"));
    EXPECT_EQ(ENOSPC, FileSystem().MakeDirectory("/in2"));
    EXPECT_EQ(ENOSPC, FileSystem().MakeDirectory("/in3"));
    EXPECT_EQ(0, FileSystem().MakeDirectory("/out2"));
}

TEST_F(FaultyFileSystemTest, ARuleCountsFromWhenItIsMade)
{
    EXPECT_EQ(0, FileSystem().MakeDirectory("/1"));
    mFaults.FailNth(FileOperation::kMakeDirectory, "*", 1, EIO);

    EXPECT_EQ(EIO, FileSystem().MakeDirectory("/2"));
}

TEST_F(FaultyFileSystemTest, OfTwoRulesTheLaterOneDecides)
{
    mFaults.Fail(FileOperation::kMakeDirectory, "*", EIO);
    mFaults.FailNth(FileOperation::kMakeDirectory, "/2", 1, ENOSPC);

    EXPECT_EQ(EIO, FileSystem().MakeDirectory("/1"));
    EXPECT_EQ(ENOSPC, FileSystem().MakeDirectory("/2"));
    EXPECT_EQ(EIO, FileSystem().MakeDirectory("/2"));
}

TEST_F(FaultyFileSystemTest, TransfersComeShort)
{
    mDisk.AddFile("/a", "abcdef");
    mFaults.LimitTransfers(FileOperation::kRead, "/a", 4);
    mFaults.LimitTransfers(FileOperation::kRead, "*", 5);
    mFaults.LimitTransfers(FileOperation::kWrite, "*", 1);
    const FileHandle file = Open("/a", {FileAccess::kReadWrite, FileCreation::kMustExist, false});
    char bytes[6] = {};
    std::size_t moved = 0;

    EXPECT_EQ(0, FileSystem().Read(file, bytes, 6, moved));
    EXPECT_EQ(4u, moved);
    EXPECT_EQ(0, FileSystem().ReadAt(file, 1, bytes, 6, moved));
    EXPECT_EQ(4u, moved);
    EXPECT_EQ(std::string("bcde"), std::string(bytes, 4));
    EXPECT_EQ(0, Write(file, "XY", moved));
    EXPECT_EQ(1u, moved);
    EXPECT_EQ("abcdXf", mDisk.Contents("/a"));
}

TEST_F(FaultyFileSystemTest, ADiskIsFullAfterSomeShortWrites)
{
    mFaults.LimitTransfers(FileOperation::kWrite, "*", 2);
    mFaults.FailFrom(FileOperation::kWrite, "*", 3, ENOSPC);
    const FileHandle file = Open("/a", kToMake);
    std::size_t put = 0;

    EXPECT_EQ(0, Write(file, "abcdef", put));
    EXPECT_EQ(0, Write(file, "cdef", put));
    EXPECT_EQ(ENOSPC, Write(file, "ef", put));
    EXPECT_EQ("abcd", mDisk.Contents("/a"));
}

TEST_F(FaultyFileSystemTest, AnOperationMayBeDoneAndTellOfAFailureAllTheSame)
{
    mDisk.AddFile("/a", "text");
    mFaults.FailAfterwards(FileOperation::kRename, "*", 1, EIO);
    mFaults.FailAfterwards(FileOperation::kOpen, "/new", 1, EIO);

    EXPECT_EQ(EIO, FileSystem().Rename("/a", "/b", RenameMode::kReplace));
    EXPECT_EQ("text", mDisk.Contents("/b"));
    EXPECT_EQ(EIO, Make("/new"));
    EXPECT_TRUE(mDisk.Has("/new"));
    EXPECT_EQ(0u, mDisk.OpenHandles());
}

TEST_F(FaultyFileSystemTest, AFailedCloseStillClosesBehind)
{
    mDisk.AddFile("/a");
    mFaults.Fail(FileOperation::kClose, "/a", EIO);

    EXPECT_EQ(EIO, FileSystem().Close(Open("/a")));
    EXPECT_EQ(0u, mDisk.OpenHandles());
}

TEST_F(FaultyFileSystemTest, OpenFilesAndListingsGoByThePathTheyWereOpenedWith)
{
    mDisk.AddFile("/folder/a");
    mFaults.Fail(FileOperation::kStatOpen, "/folder/a", EIO);
    mFaults.FailNth(FileOperation::kNext, "/folder", 2, ESTALE);
    const FileHandle file = Open("/folder/a");
    std::unique_ptr<IDirectoryListing> listing;
    ASSERT_EQ(0, FileSystem().List("/folder", LinkPolicy::kFollow, listing));
    FileStatus status;
    DirectoryEntry entry;
    bool end = false;

    EXPECT_EQ(EIO, FileSystem().StatOpen(file, status));
    EXPECT_EQ(0, listing->Next(entry, end));
    EXPECT_EQ("a", entry.name);
    EXPECT_EQ(ESTALE, listing->Next(entry, end));
}

TEST_F(FaultyFileSystemTest, WhatHasTwoPathsMatchesByEither)
{
    mDisk.AddFile("/a");
    mFaults.Fail(FileOperation::kRename, "/b", EXDEV);
    mFaults.Fail(FileOperation::kLink, "/a", EPERM);

    EXPECT_EQ(EXDEV, FileSystem().Rename("/a", "/b", RenameMode::kReplace));
    EXPECT_EQ(0, FileSystem().Rename("/a", "/b", RenameMode::kNoReplace));
    EXPECT_EQ(EPERM, FileSystem().Link("/a", "/c"));
    EXPECT_EQ(0, FileSystem().Link("/b", "/c"));
}

TEST_F(FaultyFileSystemTest, OpenFoldersAreUnderTheRulesTooAndSoIsWhatIsReachedFromThem)
{
    mDisk.AddFile("/folder/below/a");
    mFaults.Fail(FileOperation::kStat, "/folder/below/a", EIO);
    mFaults.Fail(FileOperation::kRemoveDirectory, "/folder/below", EBUSY);
    mFaults.Fail(FileOperation::kMakeDirectory, "/folder/new", EROFS);
    mFaults.Fail(FileOperation::kList, "/folder", EMFILE);
    std::unique_ptr<IFolder> folder, below, parent;
    std::unique_ptr<IDirectoryListing> listing;
    FileStatus status;
    ASSERT_EQ(0, FileSystem().OpenFolder("/folder", LinkPolicy::kFollow, folder));
    ASSERT_EQ(0, folder->OpenFolder("below", below));
    ASSERT_EQ(0, below->OpenParent(parent));

    EXPECT_EQ(EIO, below->StatEntry("a", status));
    EXPECT_EQ(EBUSY, folder->RemoveDirectory("below"));
    EXPECT_EQ(EROFS, parent->MakeDirectory("new"));
    EXPECT_EQ(EMFILE, parent->List(listing));
    EXPECT_EQ(folder->Identity(), parent->Identity());
}

TEST_F(FaultyFileSystemTest, CountsCallsWhateverBecameOfThem)
{
    mFaults.FailNth(FileOperation::kOpen, "*", 1, EIO);
    Make("/1.rkdc");
    Make("/1.rkdc");
    Make("/2");

    EXPECT_EQ(3u, mFaults.Calls(FileOperation::kOpen));
    EXPECT_EQ(2u, mFaults.Calls(FileOperation::kOpen, "*.rkdc"));
    EXPECT_EQ(2u, mFaults.Calls(FileOperation::kClose));
    EXPECT_EQ(0u, mFaults.Calls(FileOperation::kRename));
    EXPECT_EQ(1u, mFaults.Failures());
}

TEST_F(FaultyFileSystemTest, AHeldCallWaitsForItsGateWhileOthersGoOn)
{
    const auto gate = mFaults.Hold(FileOperation::kMakeDirectory, "/slow");
    int answer = -1;
    std::thread slow([&] { answer = FileSystem().MakeDirectory("/slow"); });
    gate->WaitUntilCome(1);

    EXPECT_FALSE(mDisk.Has("/slow"));
    EXPECT_EQ(0, FileSystem().MakeDirectory("/fast"));
    mFaults.Fail(FileOperation::kMakeDirectory, "/slow", EIO); // met on the way out of the gate
    gate->Open();
    slow.join();
    EXPECT_EQ(EIO, answer);
    EXPECT_FALSE(mDisk.Has("/slow"));
}

TEST_F(FaultyFileSystemTest, AClearLetsGoOfWhoeverWaitsAndEndsAllFaults)
{
    const auto gate = mFaults.Hold(FileOperation::kMakeDirectory, "*");
    mFaults.Fail(FileOperation::kMakeDirectory, "*", EIO);
    int answer = -1;
    std::thread slow([&] { answer = FileSystem().MakeDirectory("/slow"); });
    gate->WaitUntilCome(1);

    mFaults.Clear();
    slow.join();
    EXPECT_EQ(0, answer);
    EXPECT_EQ(0, FileSystem().MakeDirectory("/other"));
}

TEST_F(FaultyFileSystemTest, ThingsAreAsTheyWereOnceItIsGone)
{
    {
        Testing::FaultyFileSystem second;
        second.Fail(FileOperation::kMakeDirectory, "*", EIO);
        EXPECT_EQ(EIO, FileSystem().MakeDirectory("/a"));
    }
    EXPECT_EQ(0, FileSystem().MakeDirectory("/a"));
}

TEST(FaultyFileSystemOnTheRealDisk, ReplacingAFileOnAFullDiskLeavesItWholeAndNothingBeside)
{
    Testing::TemporaryFolder folder;
    const std::string path = folder.Write("settings", "before");
    Testing::FaultyFileSystem faults;
    faults.LimitTransfers(FileOperation::kWrite, folder.Path() + "/*", 3);
    faults.FailFrom(FileOperation::kWrite, folder.Path() + "/*", 2, ENOSPC);

    EXPECT_EQ(ENOSPC, ReplaceWholeFile(FileSystem(), path, "after it"));

    EXPECT_EQ("before", folder.Read("settings"));
    std::unique_ptr<IDirectoryListing> listing;
    ASSERT_EQ(0, FileSystem().List(folder.Path(), LinkPolicy::kFollow, listing));
    DirectoryEntry entry;
    bool end = false;
    int entries = 0;
    while (listing->Next(entry, end) == 0 && !end)
        ++entries;
    EXPECT_EQ(1, entries);
}

} // namespace
