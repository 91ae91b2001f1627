#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ZOR/FileResults.h"
#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace ZOR
{

/// What an open file is for. Values can be combined by |.
enum FileAccessFlags : std::uint32_t
{
    kFileAccess_Read = 1,
    kFileAccess_Write = 2,
};

/// What others may do with the file meanwhile. Values can be combined by |. Nothing here stops
/// anybody: the system has no such locks.
enum FileShareModeFlags : std::uint32_t
{
    kFileShareMode_None = 0,
    kFileShareMode_Read = 1,
    kFileShareMode_Write = 2,
    kFileShareMode_Delete = 4,
};

/// What Create() does with what is there, or is not. Exactly one.
enum FileCreateDispositionFlags : std::uint32_t
{
    kFileCreate_Always = 1,       ///< empties what is there, or makes it
    kFileCreate_New = 2,          ///< fails if anything has that name, a dangling link too
    kFileCreate_OpenAlways = 4,   ///< opens what is there, or makes it
    kFileCreate_OpenExisting = 8, ///< fails if it is not there
    kFileCreate_Truncate = 16,    ///< empties what is there, fails if it is not
};

/// Hints. Values can be combined by |.
enum FileAttributesFlags : std::uint32_t
{
    kFileAttributes_Normal = 1,
    kFileAttributes_Sequential = 4, ///< it will be read once, from front to back
    kFileAttributes_NoWait = 8,     ///< a pipe is opened at once, whether or not it has another end
};

constexpr FileAccessFlags operator|(FileAccessFlags inA, FileAccessFlags inB)
{
    return static_cast<FileAccessFlags>(std::uint32_t{inA} | std::uint32_t{inB});
}
constexpr FileShareModeFlags operator|(FileShareModeFlags inA, FileShareModeFlags inB)
{
    return static_cast<FileShareModeFlags>(std::uint32_t{inA} | std::uint32_t{inB});
}
constexpr FileAttributesFlags operator|(FileAttributesFlags inA, FileAttributesFlags inB)
{
    return static_cast<FileAttributesFlags>(std::uint32_t{inA} | std::uint32_t{inB});
}

class BufferedReader;

// An open file, read or written from front to back, or read at any offset.
//
// Buffers  A file that is opened for reading alone, with inBuffered, keeps what it reads in blocks
//          under the media manager's budget: a later read of the same place takes it from memory,
//          through whatever object. Reads give the same without it. No read gives what the file held
//          before a write that ended before the read began, because each one compares the file's size
//          and times with those of the blocks. Read from the disk as ever: what was changed in the
//          last 10 s, since its times cannot tell a further change yet; volumes whose times do not
//          tell every change, or that other machines write (network, FUSE, FAT); and everything
//          while no buffers are installed. What the times do not show cannot be seen: a store through
//          a shared mapping, for which the system moves them late (tmpfs: never), and one write call
//          that goes on for over 10 s.
// Threads  An object belongs to one thread at a time. The static functions may be called from any.
// Units    Sizes are bytes.
// Errors   Results of ZOR/FileResults.h; nothing here raises, except std::bad_alloc.
class RK_API File
{
public:
    File() noexcept;
    /// Closes what is open. Its answer is lost: whoever has written calls Close().
    ~File();
    File(File&& ioOther) noexcept;
    File& operator=(File&& ioOther) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Opens a file, and makes it if inDisposition says so.
    /// @param inBuffered  whether buffers stand behind the reads (see above). It has no effect with
    ///                    kFileAccess_Write, or on what is no regular file.
    /// @return kFileResult_AlreadyOpen if this object holds a file, and then nothing has happened.
    qelcore::Result Create(const qelcore::UTF16String& inPath, FileAccessFlags inAccess,
                           FileShareModeFlags inShareMode, FileCreateDispositionFlags inDisposition,
                           FileAttributesFlags inAttributes, bool inBuffered);

    /// Reads on until inSize bytes are there or the file ends: less at its end is a success.
    /// @param outGot  how much was read, also before a failure.
    qelcore::Result Read(void* outBytes, std::size_t inSize, std::size_t& outGot);

    /// Reads on until inAtLeast bytes are there: so a caller that knows the size, and offers room for
    /// more, needs one transfer and none to see the end.
    /// @param inSize  the room, at least inAtLeast. Nothing is buffered.
    /// @return kResult_GeneralFailure if the file ends before that.
    qelcore::Result ReadAtLeast(void* outBytes, std::size_t inAtLeast, std::size_t inSize,
                                std::size_t& outGot);

    /// The same as Read() from inOffset on, which may lie beyond the end. The position of Read() stays where it is.
    /// @return kFileResult_BadArgument for an offset beyond 2^63 - 1, kResult_GeneralFailure for what
    ///         has no offsets, such as a pipe.
    qelcore::Result ReadAt(std::uint64_t inOffset, void* outBytes, std::size_t inSize,
                           std::size_t& outGot);

    /// Writes all of it. What was written may still be lost until Close() has succeeded.
    /// @param outPut  how much was written, also before a failure.
    qelcore::Result Write(const void* inBytes, std::size_t inSize, std::size_t& outPut);

    /// Waits until what was written has reached the device. Whoever moves the file to its name after that
    /// finds it whole under that name or not at all, should the machine crash; the name may be lost.
    /// @return kFileResult_DeviceFailure, kFileResult_NoSpace ... for what was taken and could not be kept.
    qelcore::Result SyncBytes();
    /// Begins what SyncBytes() waits for: several files that are begun, and then waited for, take the time
    /// of little more than one.
    qelcore::Result BeginSyncBytes();

    /// @param outSize  bytes in the open file. @return kFileResult_IsDirectory for a folder.
    qelcore::Result GetSize(std::uint64_t& outSize) const;

    /// @param outBytes  what can still be written to the volume of the open file without special rights.
    qelcore::Result GetVolumeFreeSpace(std::uint64_t& outBytes) const;

    /// Closes the file, whatever the answer is. A failure means that what was written may be lost.
    qelcore::Result Close();

    bool IsOpen() const noexcept { return mFile >= 0; }

    /// Removes a file, or a link itself; never a folder.
    static qelcore::Result Delete(const qelcore::UTF16String& inPath);

    /// Renames a file or folder within its volume, atomically. @return kFileResult_AlreadyExists if
    /// the new name is taken, and kFileResult_OtherVolume; either leaves all as it was.
    static qelcore::Result Move(const qelcore::UTF16String& inFrom,
                                const qelcore::UTF16String& inTo);

    /// A name for a temporary file in the folder of inPath, and so on its volume, that is not in use:
    /// hidden, with the extension ".tmp", and of 128 random bits, so that no two callers get the same.
    /// It makes nothing; kFileCreate_New then makes the file, and never opens what somebody else put
    /// there.
    static qelcore::UTF16String MakeUniqueTempPath(const qelcore::UTF16String& inPath);

    /// Makes a file of such a name, which only its owner opens, for writing.
    /// @param outTempPath  untouched on failure.
    qelcore::Result CreateTemp(const qelcore::UTF16String& inPath,
                               qelcore::UTF16String& outTempPath);

    /// Whether the last component of inPath is of the form that MakeUniqueTempPath() gives, so that
    /// what a crash has left can be found.
    static bool IsTempPath(const qelcore::UTF16String& inPath);

    /// @param outSize  bytes in the file, links followed; untouched on failure.
    static qelcore::Result SizeOnDisk(const qelcore::UTF16String& inPath, std::uint64_t& outSize);

private:
    int mFile = -1;
    std::unique_ptr<BufferedReader> mReader; // null: reads go to the file
};

} // namespace ZOR
