#include "LinuxFileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

#include <fcntl.h>
#include <linux/magic.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "LinuxFolder.h"
#include "SystemCall.h"

namespace Platform
{
namespace
{

// The most that one transfer of the kernel moves.
constexpr std::size_t kMaxTransferBytes = 0x7FFFF000;

int OpenFlags(const OpenOptions& inOptions)
{
    static constexpr int sAccess[] = {O_RDONLY, O_WRONLY, O_RDWR};
    static constexpr int sCreation[] = {0, O_TRUNC, O_CREAT, O_CREAT | O_TRUNC, O_CREAT | O_EXCL};
    return sAccess[static_cast<int>(inOptions.access)] |
           sCreation[static_cast<int>(inOptions.creation)] |
           (inOptions.neverWaits ? O_NONBLOCK : 0) | O_CLOEXEC | O_NOCTTY;
}

// Those that this kernel alone writes, with a time of change that nobody can set. Not FAT, where it
// follows the time of modification; not what a server or a daemon stamps.
bool StampsChanges(const struct statfs& inVolume)
{
    switch (static_cast<std::uint32_t>(inVolume.f_type))
    {
    case EXT4_SUPER_MAGIC: // also ext2, ext3
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case OVERLAYFS_SUPER_MAGIC:
        return true;
    default:
        return false;
    }
}

// Those whose journal commits a file's new name no sooner than the blocks and the size that were settled
// before it, and has the device keep the bytes first. There it is enough to wait for the bytes: committing
// the journal for each file, as fdatasync does, costs many times that, and gives the name, which nobody asked
// for. What has no journal, such as ext2, keeps what its own repair leaves.
int KeepsOrder(FileHandle inFile, bool& outKeepsOrder)
{
    struct statfs volume;
    if (const int error = Repeat([&] { return fstatfs(inFile, &volume); }))
        return error;
    const auto type = static_cast<std::uint32_t>(volume.f_type);
    outKeepsOrder = type == EXT4_SUPER_MAGIC || type == XFS_SUPER_MAGIC;
    return 0;
}

} // namespace

int LinuxFileSystem::Open(const std::string& inPath, const OpenOptions& inOptions,
                          FileHandle& outFile)
{
    if (HasNul(inPath))
        return EINVAL;
    int file = kNoFile;
    const int error =
        Repeat([&] { return file = open(inPath.c_str(), OpenFlags(inOptions), 0666); });
    if (error != 0)
        return error;
    if (inOptions.sequential)
        posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
    outFile = file;
    return 0;
}

int LinuxFileSystem::Read(FileHandle inFile, void* outBytes, std::size_t inSize,
                          std::size_t& outGot)
{
    ssize_t got = 0;
    const int error =
        Repeat([&] { return got = read(inFile, outBytes, std::min(inSize, kMaxTransferBytes)); });
    if (error == 0)
        outGot = static_cast<std::size_t>(got);
    return error;
}

int LinuxFileSystem::ReadAt(FileHandle inFile, std::uint64_t inOffset, void* outBytes,
                            std::size_t inSize, std::size_t& outGot)
{
    if (inOffset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
        return EINVAL;
    const auto offset = static_cast<off_t>(inOffset);
    ssize_t got = 0;
    const int error = Repeat(
        [&] { return got = pread(inFile, outBytes, std::min(inSize, kMaxTransferBytes), offset); });
    if (error == 0)
        outGot = static_cast<std::size_t>(got);
    return error;
}

int LinuxFileSystem::Write(FileHandle inFile, const void* inBytes, std::size_t inSize,
                           std::size_t& outPut)
{
    ssize_t put = 0;
    const int error =
        Repeat([&] { return put = write(inFile, inBytes, std::min(inSize, kMaxTransferBytes)); });
    if (error == 0)
        outPut = static_cast<std::size_t>(put);
    return error;
}

int LinuxFileSystem::SyncBytes(FileHandle inFile)
{
    bool keepsOrder = false;
    if (const int error = KeepsOrder(inFile, keepsOrder))
        return error;
    constexpr unsigned kAll =
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    return keepsOrder ? Repeat([&] { return sync_file_range(inFile, 0, 0, kAll); })
                      : Repeat([&] { return fdatasync(inFile); });
}

int LinuxFileSystem::BeginSyncBytes(FileHandle inFile)
{
    bool keepsOrder = false;
    if (const int error = KeepsOrder(inFile, keepsOrder))
        return error;
    return keepsOrder ? Repeat([&] { return sync_file_range(inFile, 0, 0, SYNC_FILE_RANGE_WRITE); })
                      : 0;
}

int LinuxFileSystem::Close(FileHandle inFile)
{
    // Never repeated: the descriptor is free after any answer, and may already be another thread's.
    return close(inFile) == 0 ? 0 : errno;
}

int LinuxFileSystem::Stat(const std::string& inPath, LinkPolicy inPolicy, FileStatus& outStatus)
{
    if (HasNul(inPath))
        return EINVAL;
    struct stat status;
    const int flags = inPolicy == LinkPolicy::kFollow ? 0 : AT_SYMLINK_NOFOLLOW;
    const int error = Repeat([&] { return fstatat(AT_FDCWD, inPath.c_str(), &status, flags); });
    if (error == 0)
        outStatus = StatusOf(status);
    return error;
}

int LinuxFileSystem::StatOpen(FileHandle inFile, FileStatus& outStatus)
{
    struct stat status;
    const int error = Repeat([&] { return fstat(inFile, &status); });
    if (error == 0)
        outStatus = StatusOf(status);
    return error;
}

int LinuxFileSystem::VolumeOf(FileHandle inFile, VolumeTraits& outTraits)
{
    struct statfs volume;
    if (const int error = Repeat([&] { return fstatfs(inFile, &volume); }))
        return error;
    static_assert(sizeof(volume.f_fsid) == sizeof(outTraits.id));
    std::memcpy(&outTraits.id, &volume.f_fsid, sizeof(outTraits.id));
    outTraits.stampsChanges = StampsChanges(volume);
    const long unit = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
    outTraits.freeBytes = static_cast<std::uint64_t>(unit) * volume.f_bavail;
    return 0;
}

FileTime LinuxFileSystem::Now()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now); // cannot fail
    return TimeOf(now);
}

int LinuxFileSystem::List(const std::string& inPath, LinkPolicy inPolicy,
                          std::unique_ptr<IDirectoryListing>& outListing)
{
    if (HasNul(inPath))
        return EINVAL;
    const int links = inPolicy == LinkPolicy::kFollow ? 0 : O_NOFOLLOW;
    int file = kNoFile;
    const int error = Repeat(
        [&] { return file = open(inPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | links); });
    if (error != 0)
        return error;
    return ListDescriptor(file, outListing);
}

int LinuxFileSystem::OpenFolder(const std::string& inPath, LinkPolicy inPolicy,
                                std::unique_ptr<IFolder>& outFolder)
{
    return OpenLinuxFolder(inPath, inPolicy, outFolder);
}

int LinuxFileSystem::MakeDirectory(const std::string& inPath)
{
    if (HasNul(inPath))
        return EINVAL;
    return Repeat([&] { return mkdir(inPath.c_str(), 0777); });
}

int LinuxFileSystem::RemoveDirectory(const std::string& inPath)
{
    if (HasNul(inPath))
        return EINVAL;
    const int error = Repeat([&] { return rmdir(inPath.c_str()); });
    return error == EEXIST ? ENOTEMPTY : error; // either may say that it is not empty
}

int LinuxFileSystem::RemoveFile(const std::string& inPath)
{
    if (HasNul(inPath))
        return EINVAL;
    return Repeat([&] { return unlink(inPath.c_str()); });
}

int LinuxFileSystem::Rename(const std::string& inFrom, const std::string& inTo, RenameMode inMode)
{
    if (HasNul(inFrom) || HasNul(inTo))
        return EINVAL;
    const unsigned flags = inMode == RenameMode::kNoReplace ? RENAME_NOREPLACE : 0;
    return Repeat([&]
                  { return renameat2(AT_FDCWD, inFrom.c_str(), AT_FDCWD, inTo.c_str(), flags); });
}

int LinuxFileSystem::Link(const std::string& inFrom, const std::string& inTo)
{
    if (HasNul(inFrom) || HasNul(inTo))
        return EINVAL;
    return Repeat([&] { return linkat(AT_FDCWD, inFrom.c_str(), AT_FDCWD, inTo.c_str(), 0); });
}

int LinuxFileSystem::Touch(const std::string& inPath)
{
    if (HasNul(inPath))
        return EINVAL;
    const timespec times[2] = {{0, UTIME_NOW}, {0, UTIME_OMIT}};
    return Repeat([&] { return utimensat(AT_FDCWD, inPath.c_str(), times, 0); });
}

int LinuxFileSystem::BlockSize(const std::string& inPath, std::uint64_t& outBytes)
{
    if (HasNul(inPath))
        return EINVAL;
    struct statvfs status;
    const int error = Repeat([&] { return statvfs(inPath.c_str(), &status); });
    if (error == 0)
        outBytes = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    return error;
}

int LinuxFileSystem::CurrentDirectory(std::string& outPath)
{
    // A null buffer makes the system allot one of the length that is needed.
    char* const path = getcwd(nullptr, 0);
    if (path == nullptr)
        return errno;
    outPath = path;
    std::free(path);
    return 0;
}

std::string LinuxFileSystem::TempDirectory()
{
    const char* const named = std::getenv("TMPDIR");
    return named != nullptr && named[0] == '/' ? named : "/tmp";
}

} // namespace Platform
