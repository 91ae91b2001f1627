#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>

#include "DataCacheBase.h"
#include "DataCacheItemIndex.h"
#include "DataCacheQueuedWrites.h"
#include "DataCacheWriter.h"
#include "RKDiskCacheManager.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/AtomicInt.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{

// What is known of a cache folder. The store and what looks through the folder share it, so that neither
// has to outlive the other.
//
// Locks  mIndexLock is a leaf, held around the index alone: never while a file is touched, nothing is
//        queued and nobody called with it held.
struct DataCacheFolder
{
    explicit DataCacheFolder(const qelcore::utility::ImmutableString& inPath)
        : mCacheFolder(inPath)
        , mPath(inPath.ToString())
    {
    }

    bool Knows(const DataCache::CacheKey& inKey, const DataCache::CacheSubKey& inSubKey);
    void Add(const DataCache::CacheKey& inKey, const DataCache::CacheSubKey& inSubKey);
    /// @return whether it was known.
    bool Forget(const DataCache::CacheKey& inKey, const DataCache::CacheSubKey& inSubKey);
    void List(const DataCache::CacheKey& inKey, DataCache::AvailableCachedItemList& outSubKeys);
    std::size_t CountItems();

    /// As it is now: what looks at each item's file does that without the lock.
    DataCacheIndex::KeyToSubKeysMap CopyIndex();

    /// Adds the items that the folder holds, and removes temporary files that a crash has left.
    void ScanDiskForCacheFiles();
    /// Does the latter alone.
    void RemoveLeftOvers();

    const qelcore::utility::ImmutableString mCacheFolder;
    const qelcore::UTF16String mPath; // the same
    qelcore::threads::AtomicInt mWritesInQueue{0};
    std::atomic<std::uint64_t> mBytesInQueue{0};
    qelcore::threads::AtomicInt mShuttingDown{0};

private:
    template <class Visit>
    void WalkFolder(const Visit& inVisit);
    void RemoveStale(const std::vector<std::string>& inTemporaries);

    qelcore::threads::RecursiveMutex mIndexLock;
    DataCacheIndex::ItemIndex mKeyToSubKeys RK_GUARDED_BY(mIndexLock);
};

class CacheFolderChangeMonitor;

using DataCacheFolderPtr = boost::shared_ptr<DataCacheFolder>;

// The store in a folder.
//
// Threads  No caller waits for the disk, but for one look at a file whose item is not in the index. Work is
//          queued with a weak reference to the store: what finds it gone ends. Reads run side by side;
//          writes, touches and removals one by one, in the order of the calls.
// Life     The last reference may go anywhere, also within a job or a completion function. The end of the
//          store waits for the jobs that are queued, unless it runs within one of them.
class DataCacheInFilesystem : public DataCacheBase,
                              public IDataCacheWithQueuedWrites,
                              public boost::enable_shared_from_this<DataCacheInFilesystem>
{
public:
    DataCacheInFilesystem(const qelcore::utility::ImmutableString& inPath, bool inScanDisk);
    ~DataCacheInFilesystem() override;

    void GetAvailableItems(const CacheKey& inKey,
                           AvailableCachedItemList& outSubKeys) const override;
    bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    qelcore::Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                            const GetItemCompletionFunction& inCompletion,
                            CacheBuffer& outBuffer) const override;
    void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                 const CacheBuffer& inBuffer) override;
    void TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    void RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;

    QueuedWrites GetQueuedWrites() const override;
    /// The first call begins the watch on the folder: from then on what others delete leaves the index, and
    /// is reported on the station. It lists the folders below the cache folder.
    ZOR::StationID GetStationID() const override;

    const DiskCacheManager::ManagedDirectoryPtr& ManagedDirectory() const noexcept
    {
        return mManagedDirectory;
    }

    // For the jobs.

    DataCacheFolder& Folder() const noexcept { return *mFolder; }
    /// Only for those of mWriteExecutor.
    DataCacheWriter& Writer() const noexcept { return mWriter; }
    bool PostCompletion(const qelcore::threads::AsyncExecutor::Callable& inCall) const
    {
        return mCompletionExecutor->Post(inCall, 0);
    }
    /// The unit that reads are rounded up to. Asked for by a path within the folder, until one answers.
    qelcore::Result GetTransferUnit(const qelcore::UTF16String& inItemPath,
                                    std::uint32_t& outBytes) const;
    /// The one way for an item to leave the index. One that was in it is reported on the station.
    void RemoveItemFromKeyToSubKeysMap(const CacheKey& inKey, const CacheSubKey& inSubKey) const;
    /// Takes items off the index whose files have gone; adds none. Looks for each file, until the store ends.
    void VerifyIndex() const;

private:
    void StopAndRelease(qelcore::threads::AsyncExecutorPtr& ioExecutor);

    const DataCacheFolderPtr mFolder;
    mutable DataCacheWriter mWriter{*mFolder};
    mutable std::atomic<std::uint32_t> mTransferUnit{0}; // 0: not known yet
    qelcore::threads::AsyncExecutorPtr mCompletionExecutor;
    qelcore::threads::AsyncExecutorPtr mReadExecutor;
    qelcore::threads::AsyncExecutorPtr mWriteExecutor; // also touches and removals
    DiskCacheManager::ManagedDirectoryPtr mManagedDirectory;

    // Not mIndexLock: the watch's making looks at the disk.
    mutable qelcore::threads::RecursiveMutex mFolderMonitorLock;
    // Null until somebody asks for the station; until then what others delete is noticed when a read or touch
    // fails.
    mutable boost::shared_ptr<CacheFolderChangeMonitor>
        mFolderMonitor RK_GUARDED_BY(mFolderMonitorLock);
};

} // namespace RK
