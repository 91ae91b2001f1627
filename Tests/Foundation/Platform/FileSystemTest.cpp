#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "Platform/FileSystem.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Platform;
using ::testing::UnorderedElementsAre;

const OpenOptions kToRead = {FileAccess::kRead, FileCreation::kMustExist, false};
const OpenOptions kToMake = {FileAccess::kWrite, FileCreation::kMustCreate, false};

// The real file system, in a folder of the test's own.
class FileSystemTest : public ::testing::Test
{
protected:
    int Open(const std::string& inPath, const OpenOptions& inOptions)
    {
        FileHandle file = kNoFile;
        const int error = mFiles.Open(inPath, inOptions, file);
        if (error == 0)
            mFiles.Close(file);
        return error;
    }
    std::set<std::string> List(const std::string& inPath)
    {
        std::unique_ptr<IDirectoryListing> listing;
        EXPECT_EQ(0, mFiles.List(inPath, LinkPolicy::kFollow, listing));
        std::set<std::string> names;
        DirectoryEntry entry;
        for (bool end = false; listing != nullptr;)
        {
            EXPECT_EQ(0, listing->Next(entry, end));
            if (end)
                break;
            names.insert(entry.name);
        }
        return names;
    }
    FileStatus StatusOf(const std::string& inPath, LinkPolicy inPolicy = LinkPolicy::kFollow)
    {
        FileStatus status;
        EXPECT_EQ(0, mFiles.Stat(inPath, inPolicy, status)) << inPath;
        return status;
    }
    int Stat(const std::string& inPath, LinkPolicy inPolicy = LinkPolicy::kFollow)
    {
        FileStatus status;
        return mFiles.Stat(inPath, inPolicy, status);
    }

    IFileSystem& mFiles = FileSystem();
    Testing::TemporaryFolder mFolder;
};

TEST_F(FileSystemTest, WhatWasWrittenIsReadBack)
{
    const std::string path = mFolder.Path("f");
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(path, kToMake, file));
    std::size_t put = 0;
    ASSERT_EQ(0, mFiles.Write(file, "abc", 3, put));
    EXPECT_EQ(3u, put);
    ASSERT_EQ(0, mFiles.Close(file));

    ASSERT_EQ(0, mFiles.Open(path, {FileAccess::kRead, FileCreation::kMustExist, true}, file));
    char bytes[8] = {};
    std::size_t got = 0;
    EXPECT_EQ(0, mFiles.Read(file, bytes, sizeof(bytes), got));
    EXPECT_EQ("abc", std::string(bytes, got));
    EXPECT_EQ(0, mFiles.Read(file, bytes, sizeof(bytes), got));
    EXPECT_EQ(0u, got);
    EXPECT_EQ(0, mFiles.Close(file));
    EXPECT_EQ(EBADF, mFiles.Close(file));
}

TEST_F(FileSystemTest, SyncingTakesAFileOfAnyVolumeAndRefusesWhatHasNoBytes)
{
    FileHandle file = kNoFile;
    std::size_t put = 0;
    for (const std::string& path : {mFolder.Path("f"), std::string("/dev/shm/rk-test-sync")})
    {
        ASSERT_EQ(0, mFiles.Open(path, kToMake, file)) << path;
        EXPECT_EQ(0, mFiles.SyncBytes(file)) << path; // an empty one
        EXPECT_EQ(0, mFiles.Write(file, "bytes", 5, put));
        EXPECT_EQ(0, mFiles.BeginSyncBytes(file)) << path;
        EXPECT_EQ(0, mFiles.SyncBytes(file)) << path;
        mFiles.Close(file);
        EXPECT_EQ(0, mFiles.RemoveFile(path));
    }
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    EXPECT_EQ(EINVAL, mFiles.SyncBytes(ends[1]));
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(EBADF, mFiles.SyncBytes(ends[1]));
    EXPECT_EQ(EBADF, mFiles.BeginSyncBytes(ends[1]));
}

TEST_F(FileSystemTest, ReadingAtAnOffsetLeavesThePosition)
{
    mFolder.Write("f", "0123456789");
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(mFolder.Path("f"), kToRead, file));
    char bytes[8] = {};
    std::size_t got = 0;

    EXPECT_EQ(0, mFiles.ReadAt(file, 4, bytes, 3, got));
    EXPECT_EQ("456", std::string(bytes, got));
    EXPECT_EQ(0, mFiles.Read(file, bytes, 2, got));
    EXPECT_EQ("01", std::string(bytes, got));
    EXPECT_EQ(0, mFiles.ReadAt(file, 8, bytes, 8, got));
    EXPECT_EQ("89", std::string(bytes, got));
    EXPECT_EQ(0, mFiles.ReadAt(file, std::uint64_t{1} << 62, bytes, 8, got));
    EXPECT_EQ(0u, got);
    EXPECT_EQ(EINVAL, mFiles.ReadAt(file, ~std::uint64_t{0}, bytes, 8, got));
    EXPECT_EQ(0, mFiles.Close(file));
}

TEST_F(FileSystemTest, WhatHasNoOffsetsIsNotReadAtOne)
{
    ASSERT_EQ(0, mkfifo(mFolder.Path("pipe").c_str(), 0600));
    FileHandle file = kNoFile; // to read and write, so that nobody waits for the other end
    ASSERT_EQ(0, mFiles.Open(mFolder.Path("pipe"),
                             {FileAccess::kReadWrite, FileCreation::kMustExist, false}, file));
    char byte = 0;
    std::size_t got = 0;

    EXPECT_EQ(ESPIPE, mFiles.ReadAt(file, 0, &byte, 1, got));
    FileStatus status;
    EXPECT_EQ(0, mFiles.StatOpen(file, status));
    EXPECT_EQ(FileKind::kOther, status.kind);
    EXPECT_EQ(0, mFiles.Close(file));
    EXPECT_EQ(EBADF, mFiles.StatOpen(file, status));
}

TEST_F(FileSystemTest, AnOpenFileTellsTheSameAsItsPathAndGoesOnWhenThePathHasGone)
{
    const std::string path = mFolder.Write("f", "12345");
    const FileStatus named = StatusOf(path);
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(path, kToRead, file));
    ASSERT_EQ(0, mFiles.RemoveFile(path));

    FileStatus open;
    EXPECT_EQ(0, mFiles.StatOpen(file, open));
    EXPECT_EQ(named.inode, open.inode);
    EXPECT_EQ(named.device, open.device);
    EXPECT_EQ(5u, open.size);
    EXPECT_EQ(FileKind::kFile, open.kind);
    EXPECT_EQ(0, mFiles.Close(file));
}

TEST_F(FileSystemTest, AChangeIsStampedByTheClockThatNowTells)
{
    const auto isBefore = [](const FileTime& a, const FileTime& b)
    { return a.seconds != b.seconds ? a.seconds < b.seconds : a.nanoseconds < b.nanoseconds; };
    FileTime earliest = mFiles.Now();
    --earliest.seconds; // a stamp may lie behind
    const std::string path = mFolder.Write("f", "x");
    const timespec old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), old, 0));

    const FileStatus status = StatusOf(path);
    EXPECT_EQ(1000, status.modified.seconds);
    EXPECT_FALSE(isBefore(status.changed, earliest));
    EXPECT_FALSE(isBefore(mFiles.Now(), status.changed));
}

TEST_F(FileSystemTest, AVolumeOfTheKernelsOwnFilesStampsNoChanges)
{
    VolumeTraits volume{0, true};
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open("/proc/self/status", kToRead, file));

    EXPECT_EQ(0, mFiles.VolumeOf(file, volume));
    EXPECT_FALSE(volume.stampsChanges);
    EXPECT_EQ(0, mFiles.Close(file));
    EXPECT_EQ(EBADF, mFiles.VolumeOf(file, volume));
}

TEST_F(FileSystemTest, EachWayOfCreatingDoesWhatItSays)
{
    const std::string there = mFolder.Write("there", "abc");
    const std::string missing = mFolder.Path("missing");

    EXPECT_EQ(ENOENT, Open(missing, {FileAccess::kWrite, FileCreation::kMustExist, false}));
    EXPECT_EQ(ENOENT, Open(missing, {FileAccess::kWrite, FileCreation::kTruncateExisting, false}));
    EXPECT_EQ(EEXIST, Open(there, kToMake));
    EXPECT_EQ(0, Open(there, {FileAccess::kWrite, FileCreation::kOpenOrCreate, false}));
    EXPECT_EQ("abc", mFolder.Read("there"));
    EXPECT_EQ(0, Open(there, {FileAccess::kReadWrite, FileCreation::kCreateOrTruncate, false}));
    EXPECT_EQ("", mFolder.Read("there"));
    EXPECT_EQ(0, Open(missing, {FileAccess::kWrite, FileCreation::kOpenOrCreate, false}));
    EXPECT_EQ(0, Stat(missing));
}

TEST_F(FileSystemTest, MakingAFileNeverGoesThroughALink)
{
    ASSERT_EQ(0, symlink(mFolder.Path("victim").c_str(), mFolder.Path("link").c_str()));

    EXPECT_EQ(EEXIST, Open(mFolder.Path("link"), kToMake));
    EXPECT_EQ(ENOENT, Stat(mFolder.Path("victim")));
}

TEST_F(FileSystemTest, TheErrorsOfNamesAreTheSystems)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("full/inner");

    EXPECT_EQ(ENOENT, Open("", kToRead));
    EXPECT_EQ(ENOENT, Open(mFolder.Path("no/file"), kToMake));
    EXPECT_EQ(ENOTDIR, Open(mFolder.Path("file/below"), kToMake));
    EXPECT_EQ(EISDIR,
              Open(mFolder.Path("full"), {FileAccess::kWrite, FileCreation::kMustExist, false}));
    EXPECT_EQ(EEXIST, mFiles.MakeDirectory(mFolder.Path("full")));
    EXPECT_EQ(ENOTEMPTY, mFiles.RemoveDirectory(mFolder.Path("full")));
    EXPECT_EQ(ENOTDIR, mFiles.RemoveDirectory(mFolder.Path("file")));
    EXPECT_EQ(EISDIR, mFiles.RemoveFile(mFolder.Path("full")));
    EXPECT_EQ(ENOENT, mFiles.RemoveFile(mFolder.Path("none")));
    EXPECT_EQ(EINVAL, mFiles.Rename(mFolder.Path("full"), mFolder.Path("full/inner/x"),
                                    RenameMode::kReplace));
}

TEST_F(FileSystemTest, APathWithANulIsRefusedByEveryOperation)
{
    mFolder.Write("a", "x");
    const std::string path = mFolder.Path("a") + std::string("\0b", 2);
    const std::string free = mFolder.Path("c") + std::string("\0d", 2);
    std::unique_ptr<IDirectoryListing> listing;
    std::uint64_t size = 0;

    EXPECT_EQ(EINVAL, Open(path, kToRead));
    EXPECT_EQ(EINVAL, Open(free, kToMake));
    EXPECT_EQ(EINVAL, Stat(path));
    EXPECT_EQ(EINVAL,
              mFiles.List(mFolder.Path() + std::string("\0b", 2), LinkPolicy::kFollow, listing));
    EXPECT_EQ(EINVAL, mFiles.MakeDirectory(free));
    EXPECT_EQ(EINVAL, mFiles.RemoveDirectory(path));
    EXPECT_EQ(EINVAL, mFiles.RemoveFile(path));
    EXPECT_EQ(EINVAL, mFiles.Rename(path, mFolder.Path("b"), RenameMode::kReplace));
    EXPECT_EQ(EINVAL, mFiles.Rename(mFolder.Path("a"), free, RenameMode::kReplace));
    EXPECT_EQ(EINVAL, mFiles.Link(path, mFolder.Path("b")));
    EXPECT_EQ(EINVAL, mFiles.Link(mFolder.Path("a"), free));
    EXPECT_EQ(EINVAL, mFiles.Touch(path));
    EXPECT_EQ(EINVAL, mFiles.BlockSize(path, size));
    EXPECT_THAT(List(mFolder.Path()), UnorderedElementsAre("a"));
}

TEST_F(FileSystemTest, ANameOf255BytesIsTheLongest)
{
    const std::string longest(255, 'n');

    EXPECT_EQ(0, Open(mFolder.Path(longest), kToMake));
    EXPECT_EQ(ENAMETOOLONG, Open(mFolder.Path(longest + "n"), kToMake));
    EXPECT_THAT(List(mFolder.Path()), UnorderedElementsAre(longest));
}

TEST_F(FileSystemTest, NamesThatAreNoTextAreListedAsTheyAre)
{
    const std::string notUTF8 = "a\xff\xc3(z";
    const std::string notComposed = "e\xcc\x81";
    const std::string composed = "\xc3\xa9";
    for (const std::string& name : {notUTF8, notComposed, composed})
        ASSERT_EQ(0, Open(mFolder.Path(name), kToMake));

    EXPECT_THAT(List(mFolder.Path()), UnorderedElementsAre(notUTF8, notComposed, composed));
}

TEST_F(FileSystemTest, AListingTellsTheKindOfEachEntryAndFollowsNoLink)
{
    mFolder.Write("file", "x");
    mFolder.MakeFolder("folder");
    ASSERT_EQ(0, symlink("folder", mFolder.Path("link").c_str()));
    ASSERT_EQ(0, mkfifo(mFolder.Path("pipe").c_str(), 0600));
    ASSERT_EQ(0, mknod(mFolder.Path("socket").c_str(), S_IFSOCK | 0600, 0));
    std::unique_ptr<IDirectoryListing> listing;
    ASSERT_EQ(0, mFiles.List(mFolder.Path(), LinkPolicy::kDoNotFollow, listing));

    std::set<std::pair<std::string, FileKind>> entries;
    DirectoryEntry entry;
    for (bool end = false; listing->Next(entry, end) == 0 && !end;)
        entries.insert({entry.name, entry.kind});

    EXPECT_THAT(entries, UnorderedElementsAre(std::make_pair("file", FileKind::kFile),
                                              std::make_pair("folder", FileKind::kDirectory),
                                              std::make_pair("link", FileKind::kSymbolicLink),
                                              std::make_pair("pipe", FileKind::kOther),
                                              std::make_pair("socket", FileKind::kSocket)));
}

TEST_F(FileSystemTest, APipeWithoutAnotherEndIsOpenedAtOnceIfAskedFor)
{
    ASSERT_EQ(0, mkfifo(mFolder.Path("pipe").c_str(), 0600));
    OpenOptions options;
    options.neverWaits = true;
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(mFolder.Path("pipe"), options, file));
    EXPECT_EQ(0, mFiles.Close(file));
}

TEST_F(FileSystemTest, AnOpenFileTellsTheFreeSpaceOfItsVolume)
{
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(mFolder.Path("file"), kToMake, file));
    VolumeTraits volume;
    ASSERT_EQ(0, mFiles.VolumeOf(file, volume));
    struct statvfs expected;
    ASSERT_EQ(0, statvfs(mFolder.Path().c_str(), &expected));
    // Others write at the same time.
    EXPECT_NEAR(static_cast<double>(volume.freeBytes),
                static_cast<double>(expected.f_bavail) * static_cast<double>(expected.f_frsize),
                1e9);
    EXPECT_EQ(0, mFiles.Close(file));
}

TEST_F(FileSystemTest, AFolderThatIsRemovedDuringItsListingEndsIt)
{
    const std::string folder = mFolder.MakeFolder("folder");
    std::unique_ptr<IDirectoryListing> listing;
    ASSERT_EQ(0, mFiles.List(folder, LinkPolicy::kFollow, listing));
    ASSERT_EQ(0, mFiles.RemoveDirectory(folder));

    DirectoryEntry entry;
    bool end = false;
    EXPECT_EQ(0, listing->Next(entry, end));
    EXPECT_TRUE(end);
}

TEST_F(FileSystemTest, ALinkToAFolderIsListedOnlyWhereLinksAreFollowed)
{
    mFolder.Write("folder/file", "x");
    ASSERT_EQ(0, symlink("folder", mFolder.Path("link").c_str()));
    std::unique_ptr<IDirectoryListing> listing;

    EXPECT_EQ(ENOTDIR, mFiles.List(mFolder.Path("link"), LinkPolicy::kDoNotFollow, listing));
    EXPECT_THAT(List(mFolder.Path("link")), UnorderedElementsAre("file"));
}

TEST_F(FileSystemTest, LinksThatLeadInACircleAreAnError)
{
    ASSERT_EQ(0, symlink("b", mFolder.Path("a").c_str()));
    ASSERT_EQ(0, symlink("a", mFolder.Path("b").c_str()));

    EXPECT_EQ(ELOOP, Stat(mFolder.Path("a")));
    EXPECT_EQ(0, Stat(mFolder.Path("a"), LinkPolicy::kDoNotFollow));
    EXPECT_EQ(ELOOP, Open(mFolder.Path("a"), kToRead));
}

TEST_F(FileSystemTest, AStatusTellsSizeTimesAndIdentity)
{
    const std::string path = mFolder.Write("file", "12345");
    const timespec times[2] = {{1000000000, 123456789}, {-5, 999999999}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    ASSERT_EQ(0, mFiles.Link(path, mFolder.Path("again")));

    const FileStatus status = StatusOf(path);
    EXPECT_EQ(FileKind::kFile, status.kind);
    EXPECT_EQ(5u, status.size);
    EXPECT_EQ(1000000000, status.accessed.seconds);
    EXPECT_EQ(123456789u, status.accessed.nanoseconds);
    EXPECT_EQ(-5, status.modified.seconds);
    EXPECT_EQ(999999999u, status.modified.nanoseconds);
    EXPECT_EQ(status.inode, StatusOf(mFolder.Path("again")).inode);
    EXPECT_EQ(status.device, StatusOf(mFolder.Path()).device);
}

TEST_F(FileSystemTest, TouchingMovesTheAccessTimeAlone)
{
    const std::string path = mFolder.Write("file", "x");
    const timespec times[2] = {{1000000000, 0}, {1000000001, 7}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));

    EXPECT_EQ(0, mFiles.Touch(path));

    const FileStatus status = StatusOf(path);
    EXPECT_LT(1600000000, status.accessed.seconds);
    EXPECT_EQ(1000000001, status.modified.seconds);
    EXPECT_EQ(7u, status.modified.nanoseconds);
}

TEST_F(FileSystemTest, TouchingAnothersFileIsNotPermitted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to have a file that belongs to somebody else";
    const std::string path = mFolder.Write("file", "x");
    ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
    ASSERT_EQ(0, chmod(path.c_str(), 0666));

    EXPECT_EQ(0, Testing::RunWithoutRights([&] { return mFiles.Touch(path) == EPERM ? 0 : 1; }));
}

TEST_F(FileSystemTest, AFolderWithoutRightsIsNeitherReadNorWritten)
{
    mFolder.Write("closed/file", "x");
    ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
    ASSERT_EQ(0, chmod(mFolder.Path("closed").c_str(), 0000));
    const int answer = Testing::RunWithoutRights(
        [&]
        {
            std::unique_ptr<IDirectoryListing> listing;
            const bool refused =
                mFiles.List(mFolder.Path("closed"), LinkPolicy::kFollow, listing) == EACCES &&
                Stat(mFolder.Path("closed/file")) == EACCES &&
                Open(mFolder.Path("closed/new"), kToMake) == EACCES &&
                mFiles.RemoveFile(mFolder.Path("closed/file")) == EACCES;
            return refused ? 0 : 1;
        });
    ASSERT_EQ(0, chmod(mFolder.Path("closed").c_str(), 0755));

    EXPECT_EQ(0, answer);
    EXPECT_EQ("x", mFolder.Read("closed/file"));
}

TEST_F(FileSystemTest, TooManyOpenFilesIsAnErrorAndNoMore)
{
    const std::string path = mFolder.Write("file", "x");
    const int answer = Testing::RunInChild(
        [&]
        {
            const rlimit few = {20, 20};
            setrlimit(RLIMIT_NOFILE, &few);
            std::vector<FileHandle> files;
            int error = 0;
            while (error == 0 && files.size() < 100)
            {
                FileHandle file = kNoFile;
                error = mFiles.Open(path, kToRead, file);
                if (error == 0)
                    files.push_back(file);
            }
            std::unique_ptr<IDirectoryListing> listing;
            const bool refused = error == EMFILE && mFiles.List(mFolder.Path(), LinkPolicy::kFollow,
                                                                listing) == EMFILE;
            mFiles.Close(files.back());
            return refused && Open(path, kToRead) == 0 ? 0 : 1;
        });

    EXPECT_EQ(0, answer);
}

TEST_F(FileSystemTest, HandlesAreNotInheritedByOtherPrograms)
{
    FileHandle file = kNoFile;
    ASSERT_EQ(0, mFiles.Open(mFolder.Path("f"), kToMake, file));

    EXPECT_EQ(FD_CLOEXEC, fcntl(file, F_GETFD) & FD_CLOEXEC);
    mFiles.Close(file);
}

TEST_F(FileSystemTest, ARenameReplacesOnlyWhereItMay)
{
    const std::string from = mFolder.Write("from", "new");
    const std::string to = mFolder.Write("to", "old");

    EXPECT_EQ(EEXIST, mFiles.Rename(from, to, RenameMode::kNoReplace));
    EXPECT_EQ("old", mFolder.Read("to"));
    EXPECT_EQ(0, mFiles.Rename(from, to, RenameMode::kReplace));
    EXPECT_EQ("new", mFolder.Read("to"));
    EXPECT_EQ(0, mFiles.Rename(to, from, RenameMode::kNoReplace));
    EXPECT_EQ(ENOENT, Stat(to));
}

TEST_F(FileSystemTest, TheBlockSizeIsAPowerOfTwo)
{
    std::uint64_t size = 0;
    ASSERT_EQ(0, mFiles.BlockSize(mFolder.Path(), size));
    EXPECT_LE(512u, size);
    EXPECT_EQ(0u, size & (size - 1));
    EXPECT_EQ(ENOENT, mFiles.BlockSize(mFolder.Path("none"), size));
}

TEST_F(FileSystemTest, TheTemporaryFolderIsTheOneNamedIfThatIsAbsolute)
{
    EXPECT_EQ(0, Testing::RunInChild(
                     [&]
                     {
                         setenv("TMPDIR", "/var/elsewhere", 1);
                         const bool named = mFiles.TempDirectory() == "/var/elsewhere";
                         setenv("TMPDIR", "relative", 1);
                         return named && mFiles.TempDirectory() == "/tmp" ? 0 : 1;
                     }));
}

} // namespace
