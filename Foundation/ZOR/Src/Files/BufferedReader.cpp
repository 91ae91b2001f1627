#include "BufferedReader.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <new>

#include "FileError.h"
#include "ZOR/Foundation.h"
#include "qelcore/MixHash.h"

namespace ZOR
{
namespace
{

using Platform::FileStatus;
using Platform::FileTime;
using qelcore::Result;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

// Big enough that look-up and marks are lost beside the copying, small enough that a stray read of a
// few bytes does not wait long for its block.
constexpr std::size_t kBlockBytes = 256 * 1024;

// A stamp may repeat while its clock stands still, for some milliseconds on most volumes and a second
// on some; and a write that takes long goes on after it has set the stamp. A stamp older than this is
// taken to have neither ahead of it.
constexpr std::int64_t kSettleSeconds = 10;

bool operator==(const FileTime& a, const FileTime& b)
{
    return a.seconds == b.seconds && a.nanoseconds == b.nanoseconds;
}

bool HaveSameStamp(const FileStatus& a, const FileStatus& b)
{
    return a.size == b.size && a.changed == b.changed && a.modified == b.modified;
}

/// A time of change that lies ahead, since the clock was set back, is not settled.
bool IsSettled(const FileStatus& inStatus)
{
    const FileTime now = Platform::FileSystem().Now();
    const std::int64_t latest = now.seconds - kSettleSeconds;
    return inStatus.changed.seconds < latest ||
           (inStatus.changed.seconds == latest && inStatus.changed.nanoseconds < now.nanoseconds);
}

std::uint64_t Mix(std::initializer_list<std::uint64_t> inNumbers)
{
    qelcore::utility::MixHash::HashValue hash{};
    qelcore::utility::MixHash::MixInData(hash, inNumbers.begin(),
                                         inNumbers.size() * sizeof(std::uint64_t));
    return static_cast<std::uint64_t>(hash[0]) << 32 | hash[1];
}

std::int64_t StampOf(const FileStatus& inStatus)
{
    return static_cast<std::int64_t>(
        Mix({inStatus.size, static_cast<std::uint64_t>(inStatus.modified.seconds),
             inStatus.modified.nanoseconds, static_cast<std::uint64_t>(inStatus.changed.seconds),
             inStatus.changed.nanoseconds}));
}

} // namespace

Result ReadFullyAt(Platform::FileHandle inFile, std::uint64_t inOffset, void* outBytes,
                   std::size_t inSize, std::size_t& outGot)
{
    outGot = 0;
    while (outGot < inSize)
    {
        std::size_t got = 0;
        const int error = Platform::FileSystem().ReadAt(
            inFile, inOffset + outGot, static_cast<char*>(outBytes) + outGot, inSize - outGot, got);
        if (error != 0)
            return ResultOfError(error);
        if (got == 0)
            break; // the end of the file
        outGot += got;
    }
    return qelcore::kResult_OK;
}

std::unique_ptr<BufferedReader> BufferedReader::Create(Platform::FileHandle inFile,
                                                       const qelcore::UTF16String& inPath)
try
{
    Platform::IFileSystem& files = Platform::FileSystem();
    FileStatus status;
    Platform::VolumeTraits volume;
    if (files.StatOpen(inFile, status) != 0 || status.kind != Platform::FileKind::kFile ||
        files.VolumeOf(inFile, volume) != 0 || !volume.stampsChanges)
        return nullptr;
    const std::uint64_t fileID = Mix({volume.id, status.device, status.inode});
    return std::unique_ptr<BufferedReader>(new BufferedReader(inFile, inPath, fileID));
}
catch (const std::bad_alloc&)
{
    return nullptr;
}

BufferedReader::BufferedReader(Platform::FileHandle inFile, const qelcore::UTF16String& inPath,
                               std::uint64_t inFileID)
    : mFile(inFile)
    , mPath(inPath)
    , mFileID(inFileID)
{
}

BufferedReader::~BufferedReader()
{
    LeaveBlock();
}

Result BufferedReader::Read(void* outBytes, std::size_t inSize, std::size_t& outGot)
{
    const Result result = ReadAt(mPosition, outBytes, inSize, outGot);
    mPosition += outGot;
    return result;
}

Result BufferedReader::ReadAt(std::uint64_t inOffset, void* outBytes, std::size_t inSize,
                              std::size_t& outGot)
{
    outGot = 0;
    auto* const bytes = static_cast<char*>(outBytes);
    if (Follow())
    {
        if (inOffset >= mStatus.size)
            return qelcore::kResult_OK;
        inSize = static_cast<std::size_t>(std::min<std::uint64_t>(inSize, mStatus.size - inOffset));
        outGot = CopyFromBlocks(inOffset, bytes, inSize);
        if (inOffset + outGot == mStatus.size)
            LeaveBlock(); // read to its end: a file that is kept open must not keep memory
        if (outGot == inSize)
            return qelcore::kResult_OK;
    }
    std::size_t around = 0;
    const Result result =
        ReadFullyAt(mFile, inOffset + outGot, bytes + outGot, inSize - outGot, around);
    outGot += around;
    return result;
}

/// Turns to the file's present stamp. @return whether blocks can be served and added under it.
bool BufferedReader::Follow()
try
{
    FileStatus status;
    const bool known = Platform::FileSystem().StatOpen(mFile, status) == 0;
    if (known && mBuffer && HaveSameStamp(status, mStatus))
        return true;
    LeaveBlock();
    mBuffer = nullptr;
    if (!known || !IsSettled(status))
        return false;
    const IFileBufferFactoryRef factory = Foundation::GetFileBufferFactory();
    const IFileBufferRef buffer = factory ? factory->CreateFileBuffer() : nullptr;
    if (!buffer || qelcore::Failed(buffer->Init(mFileID, mPath, StampOf(status))))
        return false;
    mBuffer = buffer;
    mStatus = status;
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

/// Copies for as long as blocks can be had. @return how much that was.
std::size_t BufferedReader::CopyFromBlocks(std::uint64_t inOffset, char* outBytes,
                                           std::size_t inSize)
{
    std::size_t copied = 0;
    while (copied < inSize && EnterBlock(inOffset + copied))
    {
        const auto start = static_cast<std::size_t>(inOffset + copied - mBlockOffset);
        const std::size_t bytes = std::min(inSize - copied, mBlock->Size() - start);
        std::memcpy(outBytes + copied, static_cast<const char*>(mBlock->Data()) + start, bytes);
        copied += bytes;
    }
    return copied;
}

/// Makes the block around inOffset, which lies within the file, the current one.
bool BufferedReader::EnterBlock(std::uint64_t inOffset)
try
{
    const std::uint64_t offset = inOffset - inOffset % kBlockBytes;
    if (mBlock && offset == mBlockOffset)
        return true;
    LeaveBlock();
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kBlockBytes, mStatus.size - offset));
    RecycledMemoryPtr block;
    if (qelcore::Failed(mBuffer->FindInCache(static_cast<long long>(offset),
                                             static_cast<long long>(size), block)))
        block = Load(offset, size);
    if (!block)
        return false;
    mBuffer->MarkNonPurgeable(static_cast<long long>(offset), static_cast<long long>(size));
    mBlock = block;
    mBlockOffset = offset;
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

void BufferedReader::LeaveBlock()
{
    if (!mBlock)
        return;
    mBuffer->MarkPurgeable(static_cast<long long>(mBlockOffset),
                           static_cast<long long>(mBlock->Size()));
    mBlock.reset();
}

/// Reads a block from the file and adds it. @return null if it cannot be had whole and unchanged.
RecycledMemoryPtr BufferedReader::Load(std::uint64_t inOffset, std::size_t inSize)
{
    if (!Foundation::GetFileBufferFactory())
        return nullptr; // gone, and with it whoever would purge the block
    RecycledMemoryPtr block = RecycledMemory::Create(inSize);
    std::size_t got = 0;
    FileStatus after;
    if (qelcore::Failed(ReadFullyAt(mFile, inOffset, block->Data(), inSize, got)) || got < inSize ||
        Platform::FileSystem().StatOpen(mFile, after) != 0 || !HaveSameStamp(mStatus, after))
        return nullptr;
    mBuffer->AddToCache(block, static_cast<long long>(inOffset));
    return block;
}

} // namespace ZOR
