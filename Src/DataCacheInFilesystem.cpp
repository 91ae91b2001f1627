// The store in a folder: one file an item, the item's name in the file's name.
#include "DataCacheInFilesystem.h"

#include <boost/make_shared.hpp>

#include "CacheFolderChangeMonitor.h"
#include "DataCacheItemName.h"
#include "DataCacheJobs.h"
#include "DataCacheReport.h"
#include "LoadOrder.h"
#include "ZOR/DiskUtils.h"
#include "qelcore/FileUtils.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/DataCacheInFilesystem");

namespace RK
{

using qelcore::Result;
using qelcore::UTF16String;
using qelcore::utility::ImmutableString;
namespace FileUtils = qelcore::utility::FileUtils;
namespace threads = qelcore::threads;

const ImmutableString kDataCacheFileExtension = ImmutableString::CreateStatic("rkdc");
const UTF16String kDataCacheFileExtensionWithSeparator = u".rkdc";

namespace
{

// More than any disk can use at a time, so that the pool's threads are the limit.
constexpr int kReadsAtATime = 256;

// A job of one pointer, which an executor can hold without an allocation.
template <class Request>
struct Job
{
    void (*mRun)(const boost::shared_ptr<Request>&);
    boost::shared_ptr<Request> mRequest;
    void operator()() const { mRun(mRequest); }
};

bool HasItem(const DataCacheFolder& inFolder, const DataCache::CacheKey& inKey,
             const DataCache::CacheSubKey& inSubKey, UTF16String& outPath)
{
    return AssembleItemPath(inFolder.mPath, inKey, inSubKey, outPath) &&
           FileUtils::FileExists(outPath);
}

} // namespace

DataCacheInFilesystem::DataCacheInFilesystem(const ImmutableString& inPath, bool inScanDisk)
    : mFolder(boost::make_shared<DataCacheFolder>(inPath))
    , mCompletionExecutor(threads::CreateSubExecutor(threads::GetCPUBoundExecutor(), -1))
    , mReadExecutor(threads::CreateSubExecutor(threads::CreateIOBoundExecutor(), kReadsAtATime))
    , mWriteExecutor(threads::CreateSubExecutor(threads::CreateIOBoundExecutor(), 1))
{
    FileUtils::EnsureDirectoryExists(mFolder->mPath);
    mManagedDirectory = DiskCacheManager::ManagedDirectory::Create(
        mFolder->mPath, {kDataCacheFileExtensionWithSeparator}, boost::none);
    const DataCacheFolderPtr folder = mFolder;
    mReadExecutor->Post(
        [folder, inScanDisk]
        { inScanDisk ? folder->ScanDiskForCacheFiles() : folder->RemoveLeftOvers(); }, 0);
    ShowInDataCacheReport(mFolder);
}

DataCacheInFilesystem::~DataCacheInFilesystem()
{
    mFolderMonitor.reset(); // first of all, so that no new events come
    const int writes = mFolder->mWritesInQueue;
    if (writes != 0)
        RK_TRACE("DataCacheInFilesystem", 5,
                 "~DataCacheInFilesystem: shutting down but there were still "
                     << writes << " writes in the queue!");
    mFolder->mShuttingDown = 1;
    StopAndRelease(mCompletionExecutor);
    StopAndRelease(mReadExecutor);
    StopAndRelease(mWriteExecutor);
}

void DataCacheInFilesystem::StopAndRelease(threads::AsyncExecutorPtr& ioExecutor)
{
    ioExecutor->Stop();
    ioExecutor->Flush();
    ioExecutor.reset();
}

void DataCacheInFilesystem::GetAvailableItems(const CacheKey& inKey,
                                              AvailableCachedItemList& outSubKeys) const
{
    outSubKeys.clear();
    mFolder->List(inKey, outSubKeys);
}

bool DataCacheInFilesystem::IsItemAvailable(const CacheKey& inKey,
                                            const CacheSubKey& inSubKey) const
{
    if (mFolder->Knows(inKey, inSubKey))
        return true;
    UTF16String path;
    if (!HasItem(*mFolder, inKey, inSubKey, path))
        return false;
    mFolder->Add(inKey, inSubKey);
    return true;
}

Result DataCacheInFilesystem::GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                                      const GetItemCompletionFunction& inCompletion,
                                      CacheBuffer&) const
{
    const bool known = mFolder->Knows(inKey, inSubKey);
    if (inCompletion.empty())
        return known ? kDataCacheResultReadNeedsCompletion : kDataCacheResultItemNotFound;
    const auto read = boost::make_shared<DataCacheRead>();
    if (!known)
    {
        if (!HasItem(*mFolder, inKey, inSubKey, read->mPath))
            return kDataCacheResultItemNotFound;
        mFolder->Add(inKey, inSubKey);
    }
    read->mStore = shared_from_this();
    read->mKey = inKey;
    read->mSubKey = inSubKey;
    read->mCompletion = inCompletion;
    return mReadExecutor->Post(Job<DataCacheRead>{&AsyncRead, read}, 0) ? kDataCacheResultReadQueued
                                                                        : kResultFailed;
}

void DataCacheInFilesystem::PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                                    const CacheBuffer& inBuffer)
{
    if (!inBuffer || inBuffer->Data() == nullptr || inBuffer->Size() == 0 ||
        inBuffer->Size() >= kTooLargeForDataCache)
        return;
    const auto write = boost::make_shared<DataCacheWrite>(
        DataCacheWrite{shared_from_this(), inKey, inSubKey, inBuffer});
    ++mFolder->mWritesInQueue;
    mFolder->mBytesInQueue += inBuffer->Size();
    if (mWriteExecutor->Post(Job<DataCacheWrite>{&AsyncWrite, write}, 0))
        return;
    mFolder->mBytesInQueue -= inBuffer->Size();
    --mFolder->mWritesInQueue;
}

void DataCacheInFilesystem::TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    const auto touch = boost::make_shared<DataCacheWrite>(
        DataCacheWrite{shared_from_this(), inKey, inSubKey, CacheBuffer()});
    mWriteExecutor->Post(Job<DataCacheWrite>{&AsyncTouch, touch}, 0);
}

void DataCacheInFilesystem::RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    const auto removal = boost::make_shared<DataCacheWrite>(
        DataCacheWrite{shared_from_this(), inKey, inSubKey, CacheBuffer()});
    mWriteExecutor->Post(Job<DataCacheWrite>{&AsyncRemove, removal}, 0);
}

QueuedWrites DataCacheInFilesystem::GetQueuedWrites() const
{
    QueuedWrites queued;
    queued.count = static_cast<std::uint64_t>(mFolder->mWritesInQueue.load());
    queued.bytes = mFolder->mBytesInQueue;
    return queued;
}

ZOR::StationID DataCacheInFilesystem::GetStationID() const
{
    const ZOR::StationID id = DataCacheBase::GetStationID();
    threads::RecursiveMutex::ScopedLock lock(mFolderMonitorLock,
                                             "RK::DataCacheInFilesystem::GetStationID");
    const boost::shared_ptr<const DataCacheInFilesystem> self = shared_from_this();
    if (!mFolderMonitor)
        mFolderMonitor = boost::make_shared<CacheFolderChangeMonitor>(
            qelcore::utility::UTF16ToFileName(mFolder->mPath), self);
    return id;
}

Result DataCacheInFilesystem::GetTransferUnit(const UTF16String& inItemPath,
                                              std::uint32_t& outBytes) const
{
    outBytes = mTransferUnit.load(std::memory_order_relaxed);
    if (outBytes != 0)
        return qelcore::kResult_OK;
    const Result result = ZOR::DiskUtils::GetEfficientDiskBufferSizeFromPath(inItemPath, outBytes);
    if (!qelcore::Failed(result))
        mTransferUnit.store(outBytes, std::memory_order_relaxed);
    return result;
}

void DataCacheInFilesystem::RemoveItemFromKeyToSubKeysMap(const CacheKey& inKey,
                                                          const CacheSubKey& inSubKey) const
{
    if (mFolder->Forget(inKey, inSubKey))
        QueueItemsRemovedNotification();
}

DataCachePtr
CreateDataCacheInFilesystemAndManageDirectory(const ImmutableString& inPath,
                                              DiskCacheManager::ManagedDirectoryPtr& outDirectory,
                                              bool inScanDisk)
{
    // Not in one piece with its reference counts: weak references of watched stores stay for ever.
    const boost::shared_ptr<DataCacheInFilesystem> store(
        new DataCacheInFilesystem(inPath, inScanDisk));
    outDirectory = store->ManagedDirectory();
    return store;
}

} // namespace RK
