// The producers' side of the event ring, and the bookkeeping of what it brings.
#include "MediaManager/MediaManager.h"

#include <new>
#include <utility>

#include "MediaManager/MediaManagerWalk.h"
#include "qelcore/Contract.h"

namespace RK
{

namespace
{

constexpr std::uint64_t kPendingBytesTrigger = 10485760; // 10 MiB
constexpr std::int32_t kPendingTouchesTrigger = 32768;   // half of the ring

} // namespace

bool MediaManager::PushEvent(MediaEventRing::Type inType, MediaID inID,
                             const qelcore::utility::Guid& inMapID,
                             MediaEventRing::Registration&& inRegistration)
{
    const double now = Now(); // before the ticket, as is all else that could throw
    if (mEvents.Push(inType, inID, inMapID, now, std::move(inRegistration)))
        return true;
    QueueThreadedPurge(); // so that the ring drains
    DrainIfStopped();
    return false;
}

void MediaManager::AddMedia(MediaID inID, Size inSize, Priority inPriority,
                            HandleCount inHandleCount, const IMediaMapRef& inSourceMapRef)
{
    RK_REQUIRE_CONTRACT(inSize > 0, "inSize > 0", "Src/MediaManager/MediaManager");
    RK_REQUIRE_CONTRACT(inSourceMapRef, "inSourceMapRef != NULL", "Src/MediaManager/MediaManager");
    const qelcore::utility::Guid mapID = inSourceMapRef->GetUniqueID();
    if (mStopped.load(std::memory_order_relaxed))
        return;
    if (!PushEvent(MediaEventRing::kAdd, inID, mapID,
                   {inSourceMapRef, inSize, inPriority, inHandleCount}))
        return;
    if (mPendingBytes.fetch_add(inSize) + inSize > kPendingBytesTrigger)
    {
        mPendingBytes = 0;
        QueueThreadedPurge();
    }
    DrainIfStopped();
}

void MediaManager::TouchMedia(MediaID inID, qelcore::utility::Guid inMapID)
{
    if (mEvents.IsLastTouch(inID, inMapID) || mStopped.load(std::memory_order_relaxed))
        return;
    if (!PushEvent(MediaEventRing::kTouch, inID, inMapID))
        return;
    if (mPendingEventCount.fetch_add(1) + 1 > kPendingTouchesTrigger)
    {
        mPendingEventCount = 0;
        QueueThreadedPurge();
    }
    DrainIfStopped();
}

void MediaManager::RemoveMedia(MediaID inID, qelcore::utility::Guid inMapID)
{
    if (!PushEvent(MediaEventRing::kRemove, inID, inMapID))
        return;
    // Not reset here: every further remove asks again, until the next ProcessQueue.
    if (mPendingEventCount.fetch_add(1) + 1 > mRemoveTriggerCount)
        QueueThreadedPurge();
    DrainIfStopped();
}

// Nobody else drains the ring after Shutdown, and an event left there would hold its map, which may
// hold the manager, for ever. Either the producer sees mStopped here, or Shutdown's last drain sees
// its event: both sides change the pending counts in between, which orders them.
void MediaManager::DrainIfStopped()
{
    if (mStopped.load())
        DrainAfterStop();
}

// Never waits for mMutex, since the caller may hold a map's lock. Whoever fails to get it leaves
// the wish to the one who is draining, or to the next late call.
void MediaManager::DrainAfterStop()
{
    mDrainWanted = true;
    while (mDrainWanted.load() && mMutex.TryLock("RK::MediaManager::DrainAfterStop"))
    {
        mDrainWanted = false;
        ProcessQueue();
        mMutex.Unlock();
    }
}

void MediaManager::FlushAsyncEvents()
{
    qelcore::threads::RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::FlushAsyncEvents");
    ProcessQueue();
}

void MediaManager::ProcessQueue()
{
    if (mWalking)
        return;
    const Walk walk(mWalking);
    mPendingBytes.exchange(0);
    mPendingEventCount.exchange(0);
    // Once a batch, and only if asked for: it reads the registry. Never 0 once it is known.
    Size maxPriorityZeroItemSize = 0;
    mEvents.Drain(
        [&](Event& ioEvent) RK_NO_THREAD_SAFETY_ANALYSIS
        {
            if (ioEvent.type.load(std::memory_order_relaxed) == MediaEventRing::kRemove)
                return RemoveEntry(ioEvent);
            if (ioEvent.priority == 0 && maxPriorityZeroItemSize == 0)
                maxPriorityZeroItemSize = GetMaxPriorityZeroItemSize();
            AddEntry(ioEvent, maxPriorityZeroItemSize);
        },
        [this](const Event& inEvent) RK_NO_THREAD_SAFETY_ANALYSIS { TouchEntry(inEvent); });
}

void MediaManager::AddEntry(Event& ioEvent, Size inMaxPriorityZeroItemSize)
{
    if (mStopped.load(std::memory_order_relaxed))
        return;
    const bool priorityZero = ioEvent.priority == 0 && ioEvent.size < inMaxPriorityZeroItemSize;
    try
    {
        RegisterEntry(ioEvent, priorityZero);
    }
    catch (const std::bad_alloc&)
    {
        mLostAddCount.fetch_add(1, std::memory_order_relaxed);
    }
}

void MediaManager::RegisterEntry(Event& ioEvent, bool inPriorityZero)
{
    WeightMap& weights = inPriorityZero ? mPriorityZeroWeightMap : mWeightMap;
    IDMap& ids = inPriorityZero ? mPriorityZeroIDMap : mIDMap;
    ID id = ioEvent.ID();
    id.map.swap(ioEvent.map);
    Weight weight;
    weight.size = ioEvent.size;
    weight.mediaID = id.mediaID;
    weight.priority = ioEvent.priority;
    weight.handleCount = ioEvent.handleCount;
    weight.mapID = id.mapID;
    weight.time = ioEvent.time;
    RankMediaItem(weight, ioEvent.time);

    const IDMap& otherIDs = inPriorityZero ? mIDMap : mPriorityZeroIDMap;
    if (otherIDs.find(id) != otherIDs.end())
        return; // registered already, with a priority or size of the other kind

    // Most items are younger than all others and have the highest number: the end is the place to try.
    const std::size_t weightsBefore = weights.size();
    const std::size_t idsBefore = ids.size();
    const auto inserted = weights.emplace_hint(weights.end(), weight, id);
    if (weights.size() == weightsBefore)
        return;
    try
    {
        ids.emplace_hint(ids.end(), std::move(id), weight);
    }
    catch (...)
    {
        weights.erase(inserted);
        throw;
    }
    if (ids.size() != idsBefore)
        AddToSums(weight, inPriorityZero);
    else
        weights.erase(inserted); // registered already: the first registration stands
}

void MediaManager::TouchEntry(const Event& inEvent)
{
    const ID id = inEvent.ID();
    auto found = mIDMap.find(id);
    const bool priorityZero = found == mIDMap.end();
    if (priorityZero)
    {
        found = mPriorityZeroIDMap.find(id);
        if (found == mPriorityZeroIDMap.end())
            return;
    }
    Weight weight = found->second;
    RankMediaItem(weight, inEvent.time);
    if (!(found->second < weight))
        return; // an item is only ever moved younger
    // Small items of priority 0 count as used when the use is noted, not when it happened.
    weight.time = priorityZero ? Now() : inEvent.time;

    WeightMap& weights = priorityZero ? mPriorityZeroWeightMap : mWeightMap;
    auto node = weights.extract(found->second);
    node.key() = weight;
    weights.insert(std::move(node));
    found->second = weight;
}

void MediaManager::RemoveEntry(const Event& inEvent)
{
    // The nodes die at the end, with the books in order: they may hold the map's last references.
    auto idNode = mIDMap.extract(inEvent.ID());
    const bool priorityZero = idNode.empty();
    if (priorityZero)
        idNode = mPriorityZeroIDMap.extract(inEvent.ID());
    if (idNode.empty())
        return;
    WeightMap& weights = priorityZero ? mPriorityZeroWeightMap : mWeightMap;
    const auto weightNode = weights.extract(idNode.mapped());
    SubtractFromSums(idNode.mapped(), priorityZero);
}

void MediaManager::AddToSums(const Weight& inWeight, bool inPriorityZero)
{
    mCurrentSpace.store(mCurrentSpace.load(std::memory_order_relaxed) + inWeight.size,
                        std::memory_order_relaxed);
    if (inPriorityZero)
        mPriorityZeroSpace += inWeight.size;
    mHandleCount += inWeight.handleCount;
    mNumberOfEntries.store(static_cast<std::uint32_t>(mIDMap.size()), std::memory_order_relaxed);
}

void MediaManager::SubtractFromSums(const Weight& inWeight, bool inPriorityZero)
{
    mCurrentSpace.store(mCurrentSpace.load(std::memory_order_relaxed) - inWeight.size,
                        std::memory_order_relaxed);
    if (inPriorityZero)
        mPriorityZeroSpace -= inWeight.size;
    mHandleCount -= inWeight.handleCount;
    mNumberOfEntries.store(static_cast<std::uint32_t>(mIDMap.size()), std::memory_order_relaxed);
}

} // namespace RK
