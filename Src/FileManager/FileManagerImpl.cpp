#include <algorithm>
#include <functional>
#include <utility>

#include "FileManager/FileManager.h"
#include "ZOR/PathUtils.h"

namespace RK
{

using qelcore::UTF16String;
using qelcore::threads::RecursiveMutex;

namespace
{

/// Folds the letters A to Z, and those alone.
char16_t FoldedUnit(char16_t inUnit) noexcept
{
    return inUnit >= u'A' && inUnit <= u'Z' ? static_cast<char16_t>(inUnit - u'A' + u'a') : inUnit;
}

bool IsSamePath(const UTF16String& a, const UTF16String& b) noexcept
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t inA, char16_t inB)
                      { return FoldedUnit(inA) == FoldedUnit(inB); });
}

} // namespace

FileManager::FileKey::FileKey(const IOpenFileOwnerRef& inOwner, std::uint32_t inFileID)
    : owner(inOwner)
    , fileID(inFileID)
{
    if (const auto capable = ZOR::QueryInterface<ZOR::IWeakReferenceCapable>(inOwner))
    {
        owner.reset();
        broker = capable->GetWeakReference();
    }
}

IOpenFileOwnerRef FileManager::FileKey::GetOwner() const
{
    return owner ? owner : ZOR::LockWeakReference<IOpenFileOwner>(broker);
}

FileManagerImpl::FileManagerImpl(const qelcore::threads::AsyncExecutorPtr& inLazyExecutor)
    : mSoftLimit(0)
    , mHardLimit(0)
    , mLazyExecutor(inLazyExecutor)
    , mLazyPurge(
          qelcore::threads::QueueOnlyOnce::Create(&FileManager::LazyPurge, inLazyExecutor, 0, 0))
{
}

FileManagerImpl::~FileManagerImpl()
{
    try
    {
        FlushWeakReferences();
    }
    catch (...) // out of an owner, or for lack of memory; all references go with the books anyway
    {
    }
}

void FileManagerImpl::StopLazyPurges()
{
    mLazyExecutor->Stop();
    mLazyExecutor->Flush();
}

void FileManagerImpl::SetOpenFileLimits(std::uint32_t inSoft, std::uint32_t inHard)
{
    {
        RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::SetOpenFileLimits");
        mSoftLimit = inSoft;
        mHardLimit = inHard;
    }
    EnforceLimits(false);
}

void FileManagerImpl::GetOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard) const
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::GetOpenFileLimits");
    outSoft = mSoftLimit;
    outHard = mHardLimit;
}

std::uint64_t FileManagerImpl::GetOpenCount() const
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::GetOpenCount");
    return mOpenCount;
}

void FileManagerImpl::EnforceLimits(bool inForce)
{
    std::uint32_t softLimit = 0;
    bool purgeNow = false;
    bool purgeLater = false;
    {
        RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::EnforceLimits");
        softLimit = mSoftLimit;
        const bool overSoft = mOpenCount > mSoftLimit;
        purgeNow = !mPurging && (mOpenCount > mHardLimit || (inForce && overSoft));
        purgeLater = overSoft && !purgeNow;
        if (purgeLater && inForce)
        {
            // It runs in the background and has met a purge: queued again at once, it would do so
            // over and over until that ends.
            mQueueAfterPurge = true;
            purgeLater = false;
        }
    }
    if (purgeNow)
        PurgeToLimit(softLimit);
    else if (purgeLater)
        mLazyPurge->Queue();
}

bool FileManagerImpl::PurgeToLimit(std::uint32_t inLimit)
{
    Records records; // its owners are let go of after the purge has ended
    std::int64_t excess = 0;
    if (!BeginPurge(inLimit, records, excess))
        return false;
    if (excess < 0) // the owners that were in excess have died
        return true;

    std::uint64_t closed = 0;
    for (const FileRecord& record : records)
    {
        if (qelcore::Failed(record.owner->CloseOpenFile(record.fileID)))
            continue;
        excess -= record.count;
        closed += record.count;
        if (excess < 0) // so strictly below the limit
            break;
    }
    // No guard does this on an exception: an owner that throws ends all later purging.
    EndPurge();
    return closed != 0;
}

/// @param outExcess  negative, with no purge begun, if dead owners alone were above the limit.
/// @return false if there is nothing to do.
bool FileManagerImpl::BeginPurge(std::uint32_t inLimit, Records& outRecords,
                                 std::int64_t& outExcess)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::PurgeToLimit");
    if (mPurging || mOpenCount < inLimit)
        return false;
    MakeFileList(mFiles, outRecords, mOpenCount);
    outExcess = static_cast<std::int64_t>(mOpenCount) - inLimit;
    mPurging = outExcess >= 0;
    return true;
}

void FileManagerImpl::EndPurge()
{
    bool queueLazyPurge = false;
    {
        RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::PurgeToLimit");
        mPurging = false;
        queueLazyPurge = std::exchange(mQueueAfterPurge, false);
    }
    if (queueLazyPurge)
        mLazyPurge->Queue();
}

/// Drops the files of dead owners from the books, and lists the others, the least deserving first.
void FileManagerImpl::MakeFileList(Files& ioFiles, Records& outRecords, std::uint64_t& ioOpenCount)
{
    outRecords.reserve(ioFiles.size());
    for (auto file = ioFiles.begin(); file != ioFiles.end();)
    {
        const auto& [count, path] = file->second;
        if (IOpenFileOwnerRef owner = file->first.GetOwner())
        {
            FileRecord& record = outRecords.emplace_back();
            record.owner = std::move(owner); // first: whatever fails, the caller lets go of it
            record.fileID = file->first.fileID;
            record.count = count;
            record.path = path;
            ++file;
            continue;
        }
        ioOpenCount -= count;
        file = ioFiles.erase(file);
    }
    // Not in the walk above: what an owner does in its answer must not move the books under it.
    for (FileRecord& record : outRecords)
        record.priority = record.owner->GetOpenFilePriority(record.fileID);
    std::sort(outRecords.begin(), outRecords.end());
}

void FileManagerImpl::RegisterOpenFile(const IOpenFileOwnerRef& inOwner, const UTF16String& inPath,
                                       std::uint32_t inFileID, std::uint32_t inCount)
{
    // Made first: the listing at the end must not fail, since the file is counted by then.
    Files single;
    single.try_emplace(FileKey(inOwner, inFileID), inCount, inPath);
    CountBeforeListing(single.begin()->first, inCount);
    try
    {
        // The file is counted but not listed, so its own registration cannot have it closed.
        EnforceLimits(false);
    }
    catch (...)
    {
        TakeBack(inCount);
        throw;
    }
    List(single.extract(single.begin()));
}

void FileManagerImpl::CountBeforeListing(const FileKey& inKey, std::uint32_t inCount)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::RegisterOpenFile");
    TakeOffBooks(inKey);
    mOpenCount += inCount;
}

void FileManagerImpl::List(Files::node_type&& inFile)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::RegisterOpenFile");
    TakeOffBooks(inFile.key()); // another thread may have listed it since this one has counted
    mFiles.insert(std::move(inFile));
}

void FileManagerImpl::TakeBack(std::uint32_t inCount)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::RegisterOpenFile");
    mOpenCount -= inCount;
}

void FileManagerImpl::UnregisterOpenFile(const IOpenFileOwnerRef& inOwner, std::uint32_t inFileID)
{
    if (inOwner)
    {
        const FileKey key(inOwner, inFileID);
        RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::UnregisterOpenFile");
        TakeOffBooks(key);
    }
    EnforceLimits(false);
}

// Never the end of an owner: whoever calls this holds a reference to it.
void FileManagerImpl::TakeOffBooks(const FileKey& inKey)
{
    const auto file = mFiles.find(inKey);
    if (file == mFiles.end())
        return;
    mOpenCount -= file->second.first;
    mFiles.erase(file);
}

qelcore::Result FileManagerImpl::TryToCloseFileWithoutBlocking(const UTF16String& inPath)
{
    Records records;
    {
        RecursiveMutex::ScopedLock lock(mMutex,
                                        "RK::FileManagerImpl::TryToCloseFileWithoutBlocking");
        MakeFileList(mFiles, records, mOpenCount);
    }
    const UTF16String path = ZOR::PathUtils::ToNormalizedPath(inPath);
    qelcore::Result result = qelcore::kResult_OK;
    for (const FileRecord& record : records)
    {
        if (!IsSamePath(path, ZOR::PathUtils::ToNormalizedPath(record.path)))
            continue;
        result = record.owner->CloseOpenFile(record.fileID);
        if (qelcore::Failed(result))
            break;
    }
    return result;
}

/// Drops the files of dead owners.
void FileManagerImpl::FlushWeakReferences()
{
    Records records; // thrown away after the lock
    RecursiveMutex::ScopedLock lock(mMutex, "RK::FileManagerImpl::FlushWeakReferences");
    MakeFileList(mFiles, records, mOpenCount);
}

} // namespace RK
