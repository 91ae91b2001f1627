// Files and folders as the operating system has them.
//
// Threads  Every function may be called from any thread. A handle or a listing belongs to one thread
//          at a time.
// Units    Sizes are bytes. Paths and names are the system's own bytes, in no encoding.
// Errors   Each int is 0 or one of the numbers of <cerrno>; outputs are set only when it is 0. A path
//          that is empty is ENOENT, one that holds a NUL is EINVAL. Interrupted calls are repeated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Platform/Folder.h"

namespace Platform
{

enum class FileKind
{
    kFile,
    kDirectory,
    kSymbolicLink,
    kSocket,
    kBlockDevice,
    kOther, ///< pipe, other device
};

/// Time since 1970 in UTC; before it, seconds are negative and nanoseconds still count forward.
struct FileTime
{
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0; // 0..999999999
};

struct FileStatus
{
    FileKind kind = FileKind::kOther;
    std::uint64_t size = 0;
    FileTime accessed;
    FileTime modified;
    FileTime changed; ///< of the content or of anything above; no caller can set it
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
};

struct VolumeTraits
{
    std::uint64_t id = 0; ///< tells volumes apart that one device number stood for in turn
    /// Each call that changes a file moves its FileStatus::changed to Now(), at a time during the call,
    /// and nothing moves it back. False where that is not known: other machines may write.
    bool stampsChanges = false;
    std::uint64_t freeBytes = 0; ///< that can still be written without special rights, just now
};

struct DirectoryEntry
{
    std::string name;
    FileKind kind = FileKind::kOther; ///< of the entry itself: links are not followed
};

enum class LinkPolicy
{
    kFollow,
    kDoNotFollow,
};

enum class FileAccess
{
    kRead,
    kWrite,
    kReadWrite,
};

enum class FileCreation
{
    kMustExist,        ///< opens what is there
    kTruncateExisting, ///< opens what is there and empties it
    kOpenOrCreate,     ///< opens what is there, or makes it
    kCreateOrTruncate, ///< empties what is there, or makes it
    kMustCreate,       ///< EEXIST if anything has that name, a dangling link too
};

struct OpenOptions
{
    FileAccess access = FileAccess::kRead;
    FileCreation creation = FileCreation::kMustExist;
    bool sequential = false; ///< a hint: it will be read once, from front to back
    bool neverWaits = false; ///< a pipe is opened at once, whether or not it has another end
};

enum class RenameMode
{
    kReplace,
    kNoReplace, ///< EEXIST if the new name is taken; see Rename()
};

using FileHandle = int;
constexpr FileHandle kNoFile = -1;

/// One walk over the entries of a folder, in the system's order, without "." and "..".
/// Entries that come or go meanwhile may be in it or not; each other one is in it once.
class IDirectoryListing
{
public:
    virtual ~IDirectoryListing();
    /// @param outEnd  true once there are no more entries; then outEntry is untouched. A folder that
    ///                was removed meanwhile has no more entries: that is an end and no error.
    virtual int Next(DirectoryEntry& outEntry, bool& outEnd) = 0;
};

class IFileSystem
{
public:
    virtual ~IFileSystem();

    virtual int Open(const std::string& inPath, const OpenOptions& inOptions,
                     FileHandle& outFile) = 0;
    /// @param outGot  how much one transfer brought: 0 at the end of the file, and perhaps less than
    ///                asked before it.
    virtual int Read(FileHandle inFile, void* outBytes, std::size_t inSize,
                     std::size_t& outGot) = 0;
    /// The same from inOffset on, for files that have offsets (ESPIPE): the position stays where it is.
    virtual int ReadAt(FileHandle inFile, std::uint64_t inOffset, void* outBytes,
                       std::size_t inSize, std::size_t& outGot) = 0;
    /// @param outPut  how much one transfer took: perhaps less than asked.
    virtual int Write(FileHandle inFile, const void* inBytes, std::size_t inSize,
                      std::size_t& outPut) = 0;
    /// Waits until what was written has reached the device, so that a name which the file is given after
    /// that (Rename) never stands for less of it when the machine has crashed. The name itself, and the
    /// file's times, are not waited for.
    virtual int SyncBytes(FileHandle inFile) = 0;
    /// Begins what SyncBytes() waits for, so that several files are on their way at a time.
    virtual int BeginSyncBytes(FileHandle inFile) = 0;
    /// The handle is gone whatever the answer is. An error may mean that written data was lost; EINTR
    /// is such an error too, and is not repeated.
    virtual int Close(FileHandle inFile) = 0;

    virtual int Stat(const std::string& inPath, LinkPolicy inPolicy, FileStatus& outStatus) = 0;
    virtual int StatOpen(FileHandle inFile, FileStatus& outStatus) = 0;
    virtual int VolumeOf(FileHandle inFile, VolumeTraits& outTraits) = 0;
    /// The clock by which files are stamped: the time of day, which can be set back. A stamp may lie a
    /// few milliseconds behind it, or by the unit in which its volume keeps times.
    virtual FileTime Now() = 0;
    /// @param inPolicy  kDoNotFollow refuses a link to a folder (ENOTDIR).
    virtual int List(const std::string& inPath, LinkPolicy inPolicy,
                     std::unique_ptr<IDirectoryListing>& outListing) = 0;
    /// @param inPolicy  kDoNotFollow refuses a link at the end of the path (ENOTDIR).
    virtual int OpenFolder(const std::string& inPath, LinkPolicy inPolicy,
                           std::unique_ptr<IFolder>& outFolder) = 0;
    /// EEXIST if anything has that name. The parent must be there.
    virtual int MakeDirectory(const std::string& inPath) = 0;
    /// ENOTEMPTY if it holds anything. Never follows a link (ENOTDIR).
    virtual int RemoveDirectory(const std::string& inPath) = 0;
    /// Removes a name that is no folder's (EISDIR). Never follows a link.
    virtual int RemoveFile(const std::string& inPath) = 0;
    /// Atomic, within one volume (EXDEV). With kNoReplace, EINVAL and ENOSYS may also mean that the
    /// file system knows no such rename: RenameWithoutReplacing() deals with that.
    virtual int Rename(const std::string& inFrom, const std::string& inTo, RenameMode inMode) = 0;
    /// A second name for a file, EEXIST if it is taken. Links are not followed.
    virtual int Link(const std::string& inFrom, const std::string& inTo) = 0;
    /// Sets the time of last access to now, and no other but that of the last status change. EPERM
    /// if the file belongs to another user.
    virtual int Touch(const std::string& inPath) = 0;
    /// The unit in which the file system of inPath allots space.
    virtual int BlockSize(const std::string& inPath, std::uint64_t& outBytes) = 0;
    virtual int CurrentDirectory(std::string& outPath) = 0;
    /// Where temporary files go: an absolute path, not checked to be there.
    virtual std::string TempDirectory() = 0;
};

/// The instance in force.
IFileSystem& FileSystem();

/// Puts a file system in the place of the real one for its life. One at a time.
class ScopedFileSystem
{
public:
    explicit ScopedFileSystem(IFileSystem& inFileSystem);
    ~ScopedFileSystem();
    ScopedFileSystem(const ScopedFileSystem&) = delete;
    ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;

private:
    IFileSystem* mBefore;
};

/// Renames by inFileSystem unless the new name is taken (EEXIST), also where the file system has no
/// such operation. There a file gets its second name before it loses its first, so that both may be
/// seen for a moment; and where there are no second names either, an empty file or folder holds the
/// new name for a moment.
int RenameWithoutReplacing(IFileSystem& inFileSystem, const std::string& inFrom,
                           const std::string& inTo);

} // namespace Platform
