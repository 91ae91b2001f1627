#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Platform/FileSystem.h"
#include "ZOR/FileBuffer.h"
#include "qelcore/RecycledMemory.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

namespace ZOR
{

/// Reads on from inOffset until inSize bytes are there or the file ends: less at its end is a success.
/// @param outGot  how much was read, also before a failure.
qelcore::Result ReadFullyAt(Platform::FileHandle inFile, std::uint64_t inOffset, void* outBytes,
                            std::size_t inSize, std::size_t& outGot);

// Reads one open file in blocks that stay in memory, behind the buffers of the factory in force. What
// cannot go through a block is read around them, from the file itself, with the same outcome.
//
// Threads     One at a time.
// Invariants  A file's stamp is its size with its times of modification and of change.
//             (1) A block is served only in a call that has found the stamp under which it was added.
//             (2) A block is added only if the stamp was the same before and after its transfer, and
//                 before it was settled: older than any change that could still leave it as it is.
//             (3) The block that was read last is marked non-purgeable until it is left: by a read of
//                 another one, or by one that has come to the end of the file.
class BufferedReader
{
public:
    /// @param inFile  borrowed for the object's life; open for reading.
    /// @return null if the file cannot be read in this way: it is no regular one, its volume does not
    ///         stamp each change, or memory is short.
    static std::unique_ptr<BufferedReader> Create(Platform::FileHandle inFile,
                                                  const qelcore::UTF16String& inPath);
    ~BufferedReader();
    BufferedReader(const BufferedReader&) = delete;
    BufferedReader& operator=(const BufferedReader&) = delete;

    /// As File::Read: from the position, which moves on by outGot.
    qelcore::Result Read(void* outBytes, std::size_t inSize, std::size_t& outGot);
    /// As File::ReadAt.
    qelcore::Result ReadAt(std::uint64_t inOffset, void* outBytes, std::size_t inSize,
                           std::size_t& outGot);

private:
    BufferedReader(Platform::FileHandle inFile, const qelcore::UTF16String& inPath,
                   std::uint64_t inFileID);

    bool Follow();
    std::size_t CopyFromBlocks(std::uint64_t inOffset, char* outBytes, std::size_t inSize);
    bool EnterBlock(std::uint64_t inOffset);
    void LeaveBlock();
    qelcore::utility::RecycledMemoryPtr Load(std::uint64_t inOffset, std::size_t inSize);

    const Platform::FileHandle mFile;
    const qelcore::UTF16String mPath;
    const std::uint64_t mFileID;
    std::uint64_t mPosition = 0;
    IFileBufferRef mBuffer;                     // null: blocks can neither be served nor added
    Platform::FileStatus mStatus;               // holds the stamp of mBuffer
    qelcore::utility::RecycledMemoryPtr mBlock; // the one that was read last, of mBuffer; or null
    std::uint64_t mBlockOffset = 0;
};

} // namespace ZOR
