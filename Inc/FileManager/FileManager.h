#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "RKFileManager.h"
#include "ZOR/WeakReference.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/QueueOnlyOnce.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{

// A registered file: the owner, weakly wherever it offers that, and its number for the file.
struct FileManager::FileKey
{
    /// Asks inOwner, which is not null, whether it offers weak references.
    FileKey(const IOpenFileOwnerRef& inOwner, std::uint32_t inFileID);

    /// @return null if the owner has died.
    IOpenFileOwnerRef GetOwner() const;

    /// By the identity of the broker, then of the owner, then by fileID.
    friend bool operator<(const FileKey& a, const FileKey& b) noexcept
    {
        if (a.broker.owner_before(b.broker) || b.broker.owner_before(a.broker))
            return a.broker.owner_before(b.broker);
        if (a.owner != b.owner)
            return std::less<IOpenFileOwner*>()(a.owner.get(), b.owner.get());
        return a.fileID < b.fileID;
    }

    IOpenFileOwnerRef owner; // null where there is a broker
    ZOR::ReferenceBrokerPtr broker;
    std::uint32_t fileID;
};

// A row of a snapshot, which keeps the owner alive for as long.
struct FileManager::FileRecord
{
    friend bool operator<(const FileRecord& a, const FileRecord& b) noexcept
    {
        return a.priority < b.priority;
    }

    IOpenFileOwnerRef owner;
    std::uint32_t fileID;
    std::uint64_t priority;
    std::uint32_t count;
    qelcore::UTF16String path;
};

// The one instance behind FileManager's functions. What the functions promise is told there.
//
// Locks    mMutex is held for bookkeeping only. With it held owners are asked for their priority,
//          and for their interfaces when a weak reference is turned into a strong one; nothing else
//          of them runs. What may be the last reference to an owner is let go of after it.
// Books    mOpenCount is the sum of the counts in mFiles, and of those whose registration is
//          between its enforcing and its listing.
class FileManagerImpl
{
public:
    /// @param inLazyExecutor  runs FileManager::LazyPurge when it is asked for.
    explicit FileManagerImpl(const qelcore::threads::AsyncExecutorPtr& inLazyExecutor);
    /// Lets go of all owners; closes nothing.
    ~FileManagerImpl();
    FileManagerImpl(const FileManagerImpl&) = delete;
    FileManagerImpl& operator=(const FileManagerImpl&) = delete;

    /// Ends background work, and waits for what runs.
    void StopLazyPurges();

    void SetOpenFileLimits(std::uint32_t inSoft, std::uint32_t inHard);
    void GetOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard) const;
    std::uint64_t GetOpenCount() const;

    /// @param inForce  for the background: has the count brought below the soft limit now, wherever
    ///                 it is above that; while a purge runs, a lazy one is queued at its end.
    void EnforceLimits(bool inForce);
    bool PurgeToLimit(std::uint32_t inLimit);

    void RegisterOpenFile(const IOpenFileOwnerRef& inOwner, const qelcore::UTF16String& inPath,
                          std::uint32_t inFileID, std::uint32_t inCount);
    void UnregisterOpenFile(const IOpenFileOwnerRef& inOwner, std::uint32_t inFileID);
    qelcore::Result TryToCloseFileWithoutBlocking(const qelcore::UTF16String& inPath);

private:
    friend struct FileManagerProbe; // of the tests

    using FileKey = FileManager::FileKey;
    using FileRecord = FileManager::FileRecord;
    using Files = std::map<FileKey, std::pair<std::uint32_t, qelcore::UTF16String>>;
    using Records = std::vector<FileRecord>;

    static void MakeFileList(Files& ioFiles, Records& outRecords, std::uint64_t& ioOpenCount);
    bool BeginPurge(std::uint32_t inLimit, Records& outRecords, std::int64_t& outExcess);
    void EndPurge();
    void CountBeforeListing(const FileKey& inKey, std::uint32_t inCount);
    void List(Files::node_type&& inFile);
    void TakeBack(std::uint32_t inCount);
    void TakeOffBooks(const FileKey& inKey) RK_REQUIRES(mMutex);
    void FlushWeakReferences();

    mutable qelcore::threads::RecursiveMutex mMutex; // guards all but the last two
    Files mFiles RK_GUARDED_BY(mMutex);
    std::uint32_t mSoftLimit RK_GUARDED_BY(mMutex);
    std::uint32_t mHardLimit RK_GUARDED_BY(mMutex);
    // Wider than the counts, so that no sum of them wraps.
    std::uint64_t mOpenCount RK_GUARDED_BY(mMutex) = 0;
    bool mPurging RK_GUARDED_BY(mMutex) = false;
    bool mQueueAfterPurge RK_GUARDED_BY(mMutex) = false; // a lazy purge has met the one that runs
    const qelcore::threads::AsyncExecutorPtr mLazyExecutor;
    const boost::shared_ptr<qelcore::threads::QueueOnlyOnce> mLazyPurge;
};

namespace Details
{

/// @return the manager that Startup made, shared; null while stopped.
boost::shared_ptr<FileManagerImpl> RunningFileManager();

struct OpenFileLimits
{
    std::uint32_t soft;
    std::uint32_t hard;
};

/// What GetSuggestedOpenFileLimits() works out.
/// @param inProcessLimit  descriptors that the process may have.
/// @param inOthers        those that are open and none of the manager's.
OpenFileLimits SuggestOpenFileLimits(std::uint64_t inProcessLimit, std::uint64_t inOthers) noexcept;

} // namespace Details
} // namespace RK
