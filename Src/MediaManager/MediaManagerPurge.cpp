// What goes, in which order, and what must not: the steps of a purge.
#include "MediaManager/MediaManager.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "MediaManager/MediaManagerWalk.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/MemoryRecycler.h"

namespace RK
{

namespace
{

constexpr double kStaleGapSeconds = 28800.0; // twice the period of the repeated purge
constexpr std::uint64_t kPriorityZeroSpaceToKeep = 268435456;
constexpr double kPriorityZeroTimeout = 120.0; // seconds
constexpr std::uint32_t kHandleLimit = 300;
constexpr std::int64_t kHalfTickCircle = 0x7FFFFFFF;
constexpr std::uint64_t kRecyclerShare = 7; // of the budget, so an eighth of a balancer's grant
constexpr std::uint64_t kPurgesBetweenStringPurges = 1000;

MediaItemWeight FirstOfWeight(std::int64_t inWeight) noexcept
{
    MediaItemWeight weight;
    weight.weight = inWeight;
    return weight;
}

} // namespace

std::uint64_t MediaManager::Purge(std::size_t inSize, PurgeUrgency inUrgency)
{
    qelcore::threads::RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::Purge");
    qelcore::utility::MemoryRecycler::PurgeBytes(inSize);
    return PurgeInternal(inSize, inUrgency);
}

std::uint64_t MediaManager::PurgeInternal(std::uint64_t inSize, PurgeUrgency inUrgency)
{
    if (mPurging)
        return 0;
    const std::uint64_t before = mCurrentSpace;
    // No guard resets this on an exception: a map that throws out of Flush ends all later purging.
    mPurging = true;
    ProcessQueue();
    const std::uint64_t space = mCurrentSpace;
    std::uint64_t target = std::min(space, inSize);
    if (inUrgency == kPurgeUrgency_Background)
    {
        const std::uint64_t half = GetReserveAdjustedMaxSize() / 2;
        if (space <= half && mHandleCount <= kHandleLimit)
        {
            mPurging = false;
            return 0;
        }
        target = std::min(target, space - std::min(space, half));
    }
    const std::uint64_t purged = PurgeTo(space - target);
    qelcore::utility::MemoryRecycler::SetPoolLimit(GetFixedMaxCacheSize() / kRecyclerShare);
    mPurging = false;
    if (mCurrentSpace != before)
        QueueUpdateMemoryBalance();
    return purged;
}

std::uint64_t MediaManager::PurgeTo(std::uint64_t inFloor)
{
    const Walk walk(mWalking);
    std::uint64_t purged = CheckLastPurgeTime();
    const double now = Now();
    const std::uint32_t nowTick = MediaTick(now);
    if (mPriorityZeroSpace > kPriorityZeroSpaceToKeep)
        PurgeForTimeout(mPriorityZeroWeightMap, mPriorityZeroIDMap, kPriorityZeroTimeout, now,
                        mPriorityZeroSpace - kPriorityZeroSpaceToKeep, purged);
    const double timeout = mTimeout;
    if (timeout != 0)
        PurgeForTimeout(mWeightMap, mIDMap, timeout, now, std::numeric_limits<std::uint64_t>::max(),
                        purged);
    const auto zeroStart =
        PurgeOldWeightMapEntries(mPriorityZeroWeightMap, mPriorityZeroIDMap, nowTick, purged);
    const auto mainStart = PurgeOldWeightMapEntries(mWeightMap, mIDMap, nowTick, purged);
    PurgeForSize(mWeightMap, mainStart, mIDMap, inFloor, purged);
    PurgeForSize(mPriorityZeroWeightMap, zeroStart, mPriorityZeroIDMap, inFloor, purged);
    return purged;
}

// The repeated purge comes every 4 hours, so a gap of 8 means that the machine slept or the process
// stalled: media held across it may be stale, and the ticks of all items may have lost their meaning.
std::uint64_t MediaManager::CheckLastPurgeTime()
{
    const double now = Now();
    const double gap = now - mLastPurgeCheckTime;
    mLastPurgeCheckTime = now;
    if (!(gap > kStaleGapSeconds))
        return 0;
    for (const WeightMap* weights : {&mWeightMap, &mPriorityZeroWeightMap})
    {
        for (const auto& entry : *weights)
            entry.second.map->Flush(entry.first.mediaID);
    }
    // Taken out first, so that the end of a map, at the end of this function, finds the books in order.
    WeightMap weights, zeroWeights;
    IDMap ids, zeroIDs;
    weights.swap(mWeightMap);
    ids.swap(mIDMap);
    zeroWeights.swap(mPriorityZeroWeightMap);
    zeroIDs.swap(mPriorityZeroIDMap);
    const std::uint64_t purged = mCurrentSpace.exchange(0);
    mHandleCount = 0;
    mNumberOfEntries = 0;
    // mPriorityZeroSpace stays as it is, by design.
    return purged;
}

void MediaManager::PurgeForTimeout(WeightMap& ioWeights, IDMap& ioIDs, double inTimeout,
                                   double inNow, std::uint64_t inLimit, std::uint64_t& ioPurged)
{
    const double cutoff = std::max(inNow - inTimeout, 0.0);
    if (cutoff == 0 || ioPurged >= inLimit)
        return;
    const std::int64_t cutoffTick = MediaTick(cutoff);
    const bool priorityZero = IsPriorityZero(ioWeights);
    for (auto entry = ioWeights.begin();
         entry != ioWeights.end() && entry->first.weight < cutoffTick;)
    {
        const Weight& weight = entry->first;
        if (entry->second.map->IsNonPurgeable(weight.mediaID) || !(cutoff > weight.time) ||
            (!priorityZero && weight.priority == 0))
        {
            ++entry;
            continue;
        }
        entry = PurgeEntry(ioWeights, ioIDs, entry, ioPurged);
        if (ioPurged >= inLimit)
            return;
    }
}

// Weights more than the largest priorityOffset above now are left from before the last wrap of the tick,
// and those less than half a circle above would be taken for the youngest until now has passed them.
MediaManager::WeightMap::iterator MediaManager::PurgeOldWeightMapEntries(WeightMap& ioWeights,
                                                                         IDMap& ioIDs,
                                                                         std::uint32_t inNowTick,
                                                                         std::uint64_t& ioPurged)
{
    if (mTimeout != 0)
        return ioWeights.begin();
    // The bounds are 64 bits wide and do not wrap with the tick, so low never lies behind high.
    const std::int64_t now = inNowTick;
    auto low = ioWeights.lower_bound(FirstOfWeight(now + kMaxPriorityOffset));
    const auto high = ioWeights.lower_bound(FirstOfWeight(now + kHalfTickCircle));
    while (low != high)
        low = PurgeEntry(ioWeights, ioIDs, low, ioPurged);
    return high;
}

// Oldest first, from where the circle of ticks begins and once around.
void MediaManager::PurgeForSize(WeightMap& ioWeights, WeightMap::iterator inStart, IDMap& ioIDs,
                                std::uint64_t inFloor, std::uint64_t& ioPurged)
{
    const bool priorityZero = IsPriorityZero(ioWeights);
    const std::uint64_t zeroLimit =
        priorityZero && !ioWeights.empty() ? GetMaxPriorityZeroCacheSize() : 0;
    auto entry = inStart;
    for (std::size_t remaining = ioWeights.size(); remaining != 0 && !ioWeights.empty();
         --remaining)
    {
        const bool overSize = mCurrentSpace.load(std::memory_order_relaxed) > inFloor;
        const bool overHandles = mHandleCount > kHandleLimit;
        const bool overZeroLimit = priorityZero && mPriorityZeroSpace > zeroLimit;
        if (!overSize && !overHandles && !overZeroLimit)
            return;
        if (entry == ioWeights.end())
            entry = ioWeights.begin();
        const bool spared = !overSize && !overZeroLimit && entry->first.handleCount == 0;
        if (spared || entry->second.map->IsNonPurgeable(entry->first.mediaID))
            ++entry;
        else
            entry = PurgeEntry(ioWeights, ioIDs, entry, ioPurged);
    }
}

MediaManager::WeightMap::iterator MediaManager::PurgeEntry(WeightMap& ioWeights, IDMap& ioIDs,
                                                           WeightMap::iterator inEntry,
                                                           std::uint64_t& ioPurged)
{
    ioPurged += inEntry->first.size;
    ioIDs.erase(inEntry->second);
    SubtractFromSums(inEntry->first, IsPriorityZero(ioWeights));
    inEntry->second.map->Flush(inEntry->first.mediaID);
    const auto next = std::next(inEntry);
    const auto gone = ioWeights.extract(inEntry); // it may hold its map's last reference
    return next;
}

void MediaManager::DoThreadedPurge(bool inPurgeStrings)
{
    qelcore::utility::MemoryRecycler::ReconcileStaleEntries();
    RunMemoryControlLoop();
    FlushTo(100);
    // What the purge released lies in the pool, which keeps no limit by itself while the manager runs.
    qelcore::utility::MemoryRecycler::ReconcileSize();
    static constinit std::atomic<std::uint64_t> sCreationCount{0};
    if (++sCreationCount % kPurgesBetweenStringPurges == 0 || inPurgeStrings)
        qelcore::utility::ImmutableString::PurgeUnusedStrings();
}

void MediaManager::QueueThreadedPurge()
{
    mPurgeQueue.load(std::memory_order_acquire)->Queue();
}

} // namespace RK
