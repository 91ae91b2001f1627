#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "MediaManager/IMediaMap.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/RecycledMemory.h"
#include "qelcore/SmallBlockAllocator.h"
#include "qelcore/ThreadAnnotations.h"

namespace RK
{

// The purge lock of a MediaMap's value: above 0, purges by size and by age pass the item over. Copies
// take the number over and go their own ways.
class PurgeLockCount
{
public:
    PurgeLockCount() noexcept = default;
    PurgeLockCount(const PurgeLockCount& inOther) noexcept
        : mCount(inOther.Get())
    {
    }
    PurgeLockCount& operator=(const PurgeLockCount& inOther) noexcept
    {
        mCount.store(inOther.Get());
        return *this;
    }
    std::int32_t Get() const noexcept { return mCount.load(); }
    void Increment() noexcept { ++mCount; }
    void Decrement() noexcept { --mCount; }

private:
    std::atomic<std::int32_t> mCount{0};
};

namespace Details
{

/// What a MediaMap can do beyond IMediaMap.
template <class Key>
class ILockableMediaMap : public IMediaMap
{
public:
    virtual void MakePurgeable(const Key& inKey) = 0;
    virtual void MakeNonPurgeable(const Key& inKey) = 0;
};

} // namespace Details

// A map that shares blocks of memory under the budget of the media manager, which drops items that
// have not been looked up for long. It keeps the first value of a key.
//
//     using Blocks = RK::MediaMap<BlockKey, Block, BlockSearcher>;
//     ZOR::InterfaceRef<Blocks, RK::IMediaMap> blocks(new Blocks);
//     blocks->Insert(key, block);
//     if (!blocks->Find(key, block)) ...  // never there, or purged: read it again
//
// Key       copyable, with a member `MediaID mediaID` that the map sets and Compare ignores.
// Value     copyable and default constructible, with a member `memory`, a shared pointer to
//           RecycledMemory that must hold more than 0 bytes, and a member `PurgeLockCount purgeLock`.
// Searcher  only carried, for code that searches in ways of its own.
//
// Lifetime  Counted. The manager holds a reference for each item, so the map lives until its last
//           item is purged, and its destruction has nothing to tell the manager.
// Threads   Any function from any thread. Values are freed on the thread that purges, outside the
//           map's lock but inside the manager's: a value's destructor may call this map, and no
//           function of the manager that locks.
template <class Key, class Value, class Searcher, class Compare = std::less<Key>>
class MediaMap : public ZOR::CountedObject<Details::ILockableMediaMap<Key>>
{
public:
    using SearcherType = Searcher;

    /// @param inManager  the manager to register with, which must be running; for tests to replace.
    explicit MediaMap(const IMediaManagerRef& inManager = GetMediaManager())
        : mManager(inManager)
        , mUniqueID(mManager->AcquireUniqueID())
    {
    }

    /// Stores a value and registers it with priority 1, unless the key is there: then the old value
    /// stays. Memory of 0 bytes violates the manager's contract, and what that raises leaves the
    /// value stored and never purged. If memory for the item is short, it is not stored.
    /// @param ioKey  gets a new mediaID in every case.
    void Insert(Key& ioKey, const Value& inValue)
    {
        {
            const Lock lock(mMutex, "RK::MediaMap::Insert");
            ioKey.mediaID = ++mNextID;
            const auto stored = mData.emplace(ioKey, inValue);
            if (!stored.second)
                return;
            try
            {
                mIDs.emplace(ioKey.mediaID, ioKey);
            }
            catch (...)
            {
                mData.erase(stored.first); // without its number nothing could ever purge it
                throw;
            }
        }
        mManager->AddMedia(ioKey.mediaID, inValue.memory ? inValue.memory->Size() : 0, kPriority,
                           kHandleCount, IMediaMapRef(this));
    }

    /// Looks for a value, and counts a hit as a use.
    /// @param ioKey     gets the item's mediaID on a hit.
    /// @param outValue  a copy on a hit, untouched on a miss.
    bool Find(Key& ioKey, Value& outValue)
    {
        Value found; // handed over outside the lock: what outValue held may be large
        {
            const Lock lock(mMutex, "RK::MediaMap::Find");
            const auto item = mData.find(ioKey);
            if (item == mData.end())
                return false;
            ioKey.mediaID = item->first.mediaID;
            found = item->second;
        }
        outValue = std::move(found);
        mManager->TouchMedia(ioKey.mediaID, mUniqueID);
        return true;
    }

    /// Undoes MakeNonPurgeable, however often that was called. An unknown key is ignored.
    void MakePurgeable(const Key& inKey) override
    {
        const Lock lock(mMutex, "RK::MediaMap::MakePurgeable");
        const auto item = mData.find(inKey);
        if (item != mData.end() && item->second.purgeLock.Get() > 0)
            item->second.purgeLock.Decrement();
    }

    /// Keeps an item from being purged by size or by age. A flag rather than a count: twice is once.
    /// What the manager drops as stale (after a long gap) goes all the same. An unknown key is ignored.
    void MakeNonPurgeable(const Key& inKey) override
    {
        const Lock lock(mMutex, "RK::MediaMap::MakeNonPurgeable");
        const auto item = mData.find(inKey);
        if (item != mData.end() && item->second.purgeLock.Get() < 1)
            item->second.purgeLock.Increment();
    }

    void Flush(MediaID inID) override
    {
        // Both nodes outlive the lock: freeing a large block must not stall those who look up others.
        typename Data::node_type item;
        typename IDs::node_type id;
        const Lock lock(mMutex, "RK::MediaMap::Flush");
        id = mIDs.extract(inID);
        if (id)
            item = mData.extract(id.mapped());
    }

    qelcore::utility::Guid GetUniqueID() const override { return mUniqueID; }

    bool IsNonPurgeable(MediaID inID) override
    {
        const Lock lock(mMutex, "RK::MediaMap::IsNonPurgeable");
        const auto id = mIDs.find(inID);
        if (id == mIDs.end())
            return false;
        const auto item = mData.find(id->second);
        return item != mData.end() && item->second.purgeLock.Get() > 0;
    }

protected:
    ~MediaMap() override = default;

private:
    using Lock = qelcore::threads::RecursiveMutex::ScopedLock;
    using Data = std::map<Key, Value, Compare, qelcore::STLAllocator<std::pair<const Key, Value>>>;
    using IDs = std::map<MediaID, Key, std::less<MediaID>,
                         qelcore::STLAllocator<std::pair<const MediaID, Key>>>;

    static constexpr Priority kPriority = 1;
    static constexpr HandleCount kHandleCount = 0;

    // mMutex comes after the manager's lock; nothing is called with it held.
    Data mData RK_GUARDED_BY(mMutex);
    IDs mIDs RK_GUARDED_BY(mMutex);
    const IMediaManagerRef mManager;
    MediaID mNextID RK_GUARDED_BY(mMutex) = 0; // the last one given out
    const qelcore::utility::Guid mUniqueID;
    qelcore::threads::RecursiveMutex mMutex;
};

} // namespace RK
