#include "LinuxFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "SystemCall.h"

namespace Platform
{
namespace
{

FileKind KindOfMode(mode_t inMode)
{
    if (S_ISREG(inMode))
        return FileKind::kFile;
    if (S_ISDIR(inMode))
        return FileKind::kDirectory;
    if (S_ISSOCK(inMode))
        return FileKind::kSocket;
    if (S_ISBLK(inMode))
        return FileKind::kBlockDevice;
    return S_ISLNK(inMode) ? FileKind::kSymbolicLink : FileKind::kOther;
}

class LinuxDirectoryListing : public IDirectoryListing
{
public:
    explicit LinuxDirectoryListing(DIR* inFolder)
        : mFolder(inFolder)
    {
    }
    ~LinuxDirectoryListing() override { closedir(mFolder); }
    LinuxDirectoryListing(const LinuxDirectoryListing&) = delete;
    LinuxDirectoryListing& operator=(const LinuxDirectoryListing&) = delete;

    int Next(DirectoryEntry& outEntry, bool& outEnd) override
    {
        for (;;)
        {
            errno = 0;
            const dirent* const entry = readdir(mFolder);
            if (entry == nullptr)
            {
                // The kernel answers ENOENT once the folder itself was removed.
                outEnd = errno == 0 || errno == ENOENT;
                return outEnd ? 0 : errno;
            }
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            if (!KindOf(*entry, outEntry.kind))
                continue;
            outEntry.name = entry->d_name;
            outEnd = false;
            return 0;
        }
    }

private:
    // Some file systems leave the kind open. @return false if the entry has gone meanwhile.
    bool KindOf(const dirent& inEntry, FileKind& outKind)
    {
        if (inEntry.d_type != DT_UNKNOWN)
        {
            outKind = KindOfMode(DTTOIF(inEntry.d_type));
            return true;
        }
        struct stat status;
        const int error = Repeat(
            [&] { return fstatat(dirfd(mFolder), inEntry.d_name, &status, AT_SYMLINK_NOFOLLOW); });
        outKind = error == 0 ? KindOfMode(status.st_mode) : FileKind::kOther;
        return error != ENOENT;
    }

    DIR* const mFolder;
};

bool IsOneComponent(const std::string& inName)
{
    return !inName.empty() && inName != "." && inName != ".." &&
           inName.find('/') == std::string::npos && !HasNul(inName);
}

bool IsDownward(const std::string& inPath)
{
    for (std::size_t start = 0; start <= inPath.size();)
    {
        const std::size_t end = std::min(inPath.find('/', start), inPath.size());
        if (!IsOneComponent(inPath.substr(start, end - start)))
            return false;
        start = end + 1;
    }
    return true;
}

/// By what is open, so that nobody can exchange it between the opening and this.
int IdentityOf(int inFile, FolderIdentity& outIdentity)
{
    struct statx status;
    const int error = Repeat(
        [&]
        { return statx(inFile, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_MNT_ID, &status); });
    if (error != 0)
        return error;
    outIdentity.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    outIdentity.inode = status.stx_ino;
    outIdentity.mount = (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
    return 0;
}

/// @param inAccess  O_PATH, which asks for no right to read, or O_RDONLY.
int OpenDescriptor(int inFolder, const char* inPath, int inAccess, LinkPolicy inPolicy,
                   int& outFile)
{
    const int links = inPolicy == LinkPolicy::kFollow ? 0 : O_NOFOLLOW;
    return Repeat(
        [&]
        { return outFile = openat(inFolder, inPath, inAccess | O_DIRECTORY | O_CLOEXEC | links); });
}

/// In one call, whatever the depth: no name on the way may be a link, a mount point or "..".
int OpenDescriptorBelow(int inFolder, const char* inPath, int& outFile)
{
    open_how how{};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    return Repeat(
        [&]
        {
            outFile = static_cast<int>(syscall(SYS_openat2, inFolder, inPath, &how, sizeof(how)));
            return outFile;
        });
}

/// Before Linux 5.6, behind a filter of system calls, or for a path that is too long for one call.
bool MustGoStepByStep(int inError)
{
    return inError == ENOSYS || inError == EPERM || inError == ENAMETOOLONG || inError == EAGAIN;
}

class LinuxFolder : public IFolder
{
public:
    /// Takes over the descriptor, and closes it if this fails.
    static int Make(int inFile, std::unique_ptr<LinuxFolder>& outFolder)
    {
        std::unique_ptr<LinuxFolder> folder(new LinuxFolder(inFile));
        const int error = IdentityOf(inFile, folder->mIdentity);
        if (error == 0)
            outFolder = std::move(folder);
        return error;
    }
    ~LinuxFolder() override { close(mFile); }
    LinuxFolder(const LinuxFolder&) = delete;
    LinuxFolder& operator=(const LinuxFolder&) = delete;

    const FolderIdentity& Identity() const override { return mIdentity; }

    int List(std::unique_ptr<IDirectoryListing>& outListing) override
    {
        // Opened anew: a duplicate would share its place with any other listing of this folder.
        int file = kNoFile;
        const int error = OpenDescriptor(mFile, ".", O_RDONLY, LinkPolicy::kDoNotFollow, file);
        return error != 0 ? error : ListDescriptor(file, outListing);
    }

    int StatEntry(const std::string& inName, FileStatus& outStatus) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        struct stat status;
        const int error =
            Repeat([&] { return fstatat(mFile, inName.c_str(), &status, AT_SYMLINK_NOFOLLOW); });
        if (error == 0)
            outStatus = StatusOf(status);
        return error;
    }

    int OpenFolder(const std::string& inName, std::unique_ptr<IFolder>& outFolder) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        std::unique_ptr<LinuxFolder> folder;
        if (const int error = Open(inName.c_str(), folder))
            return error;
        return OnSameVolume(std::move(folder), outFolder);
    }

    int OpenFolderBelow(const std::string& inPath, std::unique_ptr<IFolder>& outFolder) override
    {
        if (!IsDownward(inPath))
            return EINVAL;
        int file = kNoFile;
        const int error = OpenDescriptorBelow(mFile, inPath.c_str(), file);
        if (MustGoStepByStep(error))
            return IFolder::OpenFolderBelow(inPath, outFolder);
        if (error != 0)
            return error == ELOOP ? ENOTDIR : error; // a link
        std::unique_ptr<LinuxFolder> folder;
        if (const int identityError = Make(file, folder))
            return identityError;
        return OnSameVolume(std::move(folder), outFolder);
    }

    int OpenParent(std::unique_ptr<IFolder>& outFolder) override
    {
        std::unique_ptr<LinuxFolder> folder;
        const int error = Open("..", folder);
        if (error == 0)
            outFolder = std::move(folder);
        return error;
    }

    int MakeDirectory(const std::string& inName) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        return Repeat([&] { return mkdirat(mFile, inName.c_str(), 0777); });
    }

    int RemoveDirectory(const std::string& inName) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        const int error = Repeat([&] { return unlinkat(mFile, inName.c_str(), AT_REMOVEDIR); });
        return error == EEXIST ? ENOTEMPTY : error; // either may say that it is not empty
    }

    int RemoveFile(const std::string& inName) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        return Repeat([&] { return unlinkat(mFile, inName.c_str(), 0); });
    }

private:
    explicit LinuxFolder(int inFile)
        : mFile(inFile)
    {
    }

    int Open(const char* inPath, std::unique_ptr<LinuxFolder>& outFolder)
    {
        int file = kNoFile;
        const int error = OpenDescriptor(mFile, inPath, O_PATH, LinkPolicy::kDoNotFollow, file);
        return error != 0 ? error : Make(file, outFolder);
    }

    int OnSameVolume(std::unique_ptr<LinuxFolder> inFolder,
                     std::unique_ptr<IFolder>& outFolder) const
    {
        if (inFolder->mIdentity.device != mIdentity.device ||
            inFolder->mIdentity.mount != mIdentity.mount)
            return EXDEV;
        outFolder = std::move(inFolder);
        return 0;
    }

    const int mFile;
    FolderIdentity mIdentity;
};

} // namespace

FileTime TimeOf(const timespec& inTime)
{
    return {static_cast<std::int64_t>(inTime.tv_sec), static_cast<std::uint32_t>(inTime.tv_nsec)};
}

FileStatus StatusOf(const struct stat& inStat)
{
    FileStatus status;
    status.kind = KindOfMode(inStat.st_mode);
    status.size = static_cast<std::uint64_t>(inStat.st_size);
    status.accessed = TimeOf(inStat.st_atim);
    status.modified = TimeOf(inStat.st_mtim);
    status.changed = TimeOf(inStat.st_ctim);
    status.inode = inStat.st_ino;
    status.device = inStat.st_dev;
    return status;
}

int ListDescriptor(int inFile, std::unique_ptr<IDirectoryListing>& outListing)
{
    DIR* const folder = fdopendir(inFile);
    if (folder == nullptr)
    {
        const int streamError = errno;
        close(inFile);
        return streamError;
    }
    outListing = std::make_unique<LinuxDirectoryListing>(folder);
    return 0;
}

int OpenLinuxFolder(const std::string& inPath, LinkPolicy inPolicy,
                    std::unique_ptr<IFolder>& outFolder)
{
    if (HasNul(inPath))
        return EINVAL;
    int file = kNoFile;
    if (const int error = OpenDescriptor(AT_FDCWD, inPath.c_str(), O_PATH, inPolicy, file))
        return error;
    std::unique_ptr<LinuxFolder> folder;
    const int error = LinuxFolder::Make(file, folder);
    if (error == 0)
        outFolder = std::move(folder);
    return error;
}

} // namespace Platform
