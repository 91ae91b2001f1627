#include "FilePool.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <system_error>
#include <unordered_map>
#include <utility>

#include <sys/stat.h>

#include "Stopwatch.h"
#include "Text.h"
#include "ZOR/File.h"
#include "ZOR/WeakReference.h"
#include "qelcore/Mutex.h"

namespace RKHost
{

namespace
{

using qelcore::Result;
using qelcore::threads::Lock;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

constexpr std::size_t kPiece = 4 << 20;
constexpr std::int64_t kLargestFile = INT64_C(1) << 31; // beyond it no importer takes the block

std::string SystemText(int inError)
{
    return std::generic_category().message(inError);
}

std::string TextOf(Result inFailure)
{
    switch (inFailure)
    {
    case ZOR::kFileResult_NotFound:
        return SystemText(ENOENT);
    case ZOR::kFileResult_AccessDenied:
        return SystemText(EACCES);
    case ZOR::kFileResult_TooManyOpenFiles:
        return SystemText(EMFILE);
    case ZOR::kFileResult_DeviceFailure:
        return SystemText(EIO);
    case ZOR::kFileResult_TimedOut:
        return SystemText(ETIMEDOUT);
    default:
        return "cannot be read";
    }
}

// Which file it is, and how long. The system may give the number of a removed file to a new one, but not
// while the removed one is open.
struct FileState
{
    dev_t mDevice;
    ino_t mNumber;
    std::size_t mSize;

    bool IsSameFile(const FileState& inOther) const
    {
        return mDevice == inOther.mDevice && mNumber == inOther.mNumber;
    }
};

// Looked at ahead of opening: to open a pipe that lies among the frames would wait for its writer.
FileState StateOf(const std::string& inPath)
{
    struct stat status = {};
    if (stat(inPath.c_str(), &status) != 0)
        throw std::runtime_error(SystemText(errno));
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("is not a regular file");
    if (status.st_size == 0)
        throw std::runtime_error("the file is empty");
    if (status.st_size > kLargestFile)
        throw std::runtime_error("is larger than 2 GB");
    return {status.st_dev, status.st_ino, static_cast<std::size_t>(status.st_size)};
}

RecycledMemoryPtr ReadAll(ZOR::File& ioFile, std::size_t inSize,
                          const std::function<bool()>& inIsCancelled)
{
    RecycledMemoryPtr block = RecycledMemory::Create(inSize);
    auto* bytes = static_cast<std::uint8_t*>(block->Data());
    for (std::size_t done = 0; done < inSize;)
    {
        if (inIsCancelled())
            return nullptr;
        std::size_t got = 0;
        const Result result =
            ioFile.ReadAt(done, bytes + done, std::min(kPiece, inSize - done), got);
        if (qelcore::Failed(result))
            throw std::runtime_error(TextOf(result));
        if (got == 0)
            throw std::runtime_error("became shorter while it was read");
        done += got;
    }
    return block;
}

} // namespace

// The owner of the files, towards the file manager. A file that is being read is in none of the maps: it
// is not closed then, and deserves to stay most.
class KeptFiles : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
{
public:
    // An open file, registered with the file manager under its number.
    struct OpenFile
    {
        std::uint32_t mID = 0;
        std::string mPath;
        FileState mState = {};
        std::uint64_t mLastUse = 0; ///< nanoseconds
        ZOR::File mFile;
    };

    /// A file that was kept, or else one that is opened.
    OpenFile Take(const std::string& inPath, const FileState& inState)
    {
        OpenFile kept;
        if (!TakeKept(inPath, kept))
            return Open(inPath, inState);
        if (kept.mState.IsSameFile(inState))
            return kept;
        Close(std::move(kept));
        return Open(inPath, inState);
    }

    void Keep(OpenFile inFile)
    {
        inFile.mLastUse = NowInNanoseconds();
        {
            const Lock lock(mMutex);
            // Another thread may have read the same file meanwhile: one of them is enough.
            if (mByPath.emplace(inFile.mPath, inFile.mID).second)
            {
                mKept.emplace(inFile.mID, std::move(inFile));
                return;
            }
        }
        Close(std::move(inFile));
    }

    void Close(OpenFile inFile)
    {
        inFile.mFile.Close();
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFile.mID);
    }

    void CloseAll()
    {
        std::map<std::uint32_t, OpenFile> all;
        {
            const Lock lock(mMutex);
            all.swap(mKept);
            mByPath.clear();
        }
        for (auto& [id, file] : all)
            Close(std::move(file));
    }

    std::size_t Count() const
    {
        const Lock lock(mMutex);
        return mKept.size();
    }

    Result CloseOpenFile(std::uint32_t inFileID) override
    {
        OpenFile file;
        {
            const Lock lock(mMutex);
            if (!TakeOut(mKept.find(inFileID), file))
                return qelcore::kResult_GeneralFailure;
        }
        Close(std::move(file));
        return qelcore::kResult_OK;
    }

    // The lock is never held across a call into the file manager.
    std::uint64_t GetOpenFilePriority(std::uint32_t inFileID) override
    {
        const Lock lock(mMutex);
        const auto found = mKept.find(inFileID);
        return found == mKept.end() ? NowInNanoseconds() : found->second.mLastUse;
    }

private:
    using Kept = std::map<std::uint32_t, OpenFile>;

    ~KeptFiles() override = default;

    bool TakeKept(const std::string& inPath, OpenFile& outFile)
    {
        const Lock lock(mMutex);
        const auto id = mByPath.find(inPath);
        return id != mByPath.end() && TakeOut(mKept.find(id->second), outFile);
    }

    bool TakeOut(Kept::iterator inFound, OpenFile& outFile) RK_REQUIRES(mMutex)
    {
        if (inFound == mKept.end())
            return false;
        outFile = std::move(inFound->second);
        mByPath.erase(outFile.mPath);
        mKept.erase(inFound);
        return true;
    }

    OpenFile Open(const std::string& inPath, const FileState& inState)
    {
        const qelcore::UTF16String path = ToLibraryPath(inPath);
        OpenFile opened;
        Result result = OpenForReading(path, opened.mFile);
        // Others in the process may have taken what the limits leave to this pool.
        if (result == ZOR::kFileResult_TooManyOpenFiles &&
            RK::FileManager::FlushOpenFilesToTemporaryLimit(0))
            result = OpenForReading(path, opened.mFile);
        if (qelcore::Failed(result))
            throw std::runtime_error(TextOf(result));
        opened.mID = ++mLastID;
        opened.mPath = inPath;
        opened.mState = inState;
        RK::FileManager::RegisterOpenFile(RK::IOpenFileOwnerRef(this), path, opened.mID, 1);
        return opened;
    }

    static Result OpenForReading(const qelcore::UTF16String& inPath, ZOR::File& outFile)
    {
        constexpr bool kBuffered = true;
        return outFile.Create(inPath, ZOR::kFileAccess_Read, ZOR::kFileShareMode_Read,
                              ZOR::kFileCreate_OpenExisting, ZOR::kFileAttributes_Sequential,
                              kBuffered);
    }

    std::atomic<std::uint32_t> mLastID{0};

    // A leaf. The two maps hold the same files.
    mutable qelcore::threads::Mutex mMutex;
    Kept mKept RK_GUARDED_BY(mMutex);
    std::unordered_map<std::string, std::uint32_t> mByPath RK_GUARDED_BY(mMutex);
};

FilePool::FilePool()
    : mFiles(new KeptFiles)
{
}

FilePool::~FilePool()
{
    mFiles->CloseAll();
}

RecycledMemoryPtr FilePool::ReadWholeFile(const std::string& inPath,
                                          const std::function<bool()>& inIsCancelled)
{
    const FileState state = StateOf(inPath);
    KeptFiles::OpenFile file = mFiles->Take(inPath, state);
    RecycledMemoryPtr block;
    try
    {
        block = ReadAll(file.mFile, state.mSize, inIsCancelled);
    }
    catch (...)
    {
        mFiles->Close(std::move(file));
        throw;
    }
    mFiles->Keep(std::move(file));
    return block;
}

std::size_t FilePool::OpenCount() const
{
    return mFiles->Count();
}

void AdoptSystemFileLimits()
{
    std::uint32_t soft = 0;
    std::uint32_t hard = 0;
    RK::FileManager::GetSuggestedOpenFileLimits(soft, hard);
    RK::FileManager::SetOpenFileLimits(soft, hard);
}

} // namespace RKHost
