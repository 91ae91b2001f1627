// What a look-up costs in each of the three maps, beside the plainest thing that does the same job.
//
// 4096 items of 64 KiB each are registered, and nothing is purged. One item of the measure is one
// look-up of a present key, drawn from a fixed random order of all keys (seed 1), so that no two in a
// row are the same; all threads draw from their own place in it. Items per second is wall-clock, all
// threads together. The manager's events are part of it, its bookkeeping on another thread as well.
// The peer: a mutex, a std::map and a list in order of use, to the front of which a look-up moves.
#include <algorithm>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/make_shared.hpp>

#include "MediaManager/MediaCache.h"
#include "MediaManager/MediaMap.h"
#include "MediaManager/MediaVector.h"
#include "RKInitializer.h"
#include "qelcore/RecycledMemory.h"

namespace
{

constexpr std::uint32_t kItems = 4096;
constexpr std::size_t kItemSize = 65536; // bytes registered; 16 are allocated

using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

RecycledMemoryPtr SomeMemory()
{
    return RecycledMemory::Create(16);
}

const std::vector<std::uint32_t>& Order()
{
    static const std::vector<std::uint32_t> sOrder = []
    {
        std::vector<std::uint32_t> order(kItems);
        for (std::uint32_t i = 0; i < kItems; ++i)
            order[i] = i;
        std::shuffle(order.begin(), order.end(), std::mt19937(1));
        return order;
    }();
    return sOrder;
}

// Goes through Order() from a place of its own for each thread.
class Draw
{
public:
    explicit Draw(const benchmark::State& inState)
        : mNext(static_cast<std::uint32_t>(inState.thread_index()) * 1009)
    {
    }
    std::uint32_t Next() { return Order()[mNext++ % kItems]; }

private:
    std::uint32_t mNext;
};

struct ManagerUser
{
    RK::Initializer mInitializer;
};

struct CacheUser : ManagerUser
{
    RK::MediaCache<std::uint32_t, RecycledMemoryPtr> mCache{u"Bench", 4};
    CacheUser()
    {
        for (std::uint32_t i = 0; i < kItems; ++i)
            mCache.Add(i, SomeMemory(), kItemSize, mCache.defaultPriority, 0);
    }
    bool LookUp(std::uint32_t inKey)
    {
        RecycledMemoryPtr value;
        return mCache.Get(value, inKey);
    }
};

struct Key
{
    std::uint32_t number = 0;
    RK::MediaID mediaID = 0;
    friend bool operator<(const Key& a, const Key& b) { return a.number < b.number; }
};

struct Block
{
    RecycledMemoryPtr memory;
    RK::PurgeLockCount purgeLock;
};

struct MapUser : ManagerUser
{
    using Map = RK::MediaMap<Key, Block, void>;
    ZOR::InterfaceRef<Map, RK::IMediaMap> mMap{new Map};
    MapUser()
    {
        for (std::uint32_t i = 0; i < kItems; ++i)
        {
            Key key{i, 0};
            mMap->Insert(key, Block{SomeMemory(), {}});
        }
    }
    bool LookUp(std::uint32_t inKey)
    {
        Key key{inKey, 0};
        Block block;
        return mMap->Find(key, block);
    }
};

struct Element
{
    std::atomic<std::uint32_t> mValue{0};
};

struct VectorUser : ManagerUser
{
    using Vector = RK::MediaVector<Element>;
    ZOR::InterfaceRef<Vector, RK::IMediaMap> mVector{new Vector(kItems)};
    VectorUser()
    {
        for (std::uint32_t i = 0; i < kItems; ++i)
        {
            mVector->Write(i, 3,
                           [&](Element& outElement)
                           {
                               outElement.mValue = i;
                               return kItemSize;
                           });
        }
    }
    bool LookUp(std::uint32_t inKey)
    {
        std::uint32_t value = 0;
        return mVector->Read(inKey, [&](Element& inElement) { value = inElement.mValue; }) &&
               value == inKey;
    }
};

struct PlainUser
{
    struct Entry
    {
        RecycledMemoryPtr mValue;
        std::list<std::uint32_t>::iterator mUse;
    };
    std::mutex mMutex;
    std::map<std::uint32_t, Entry> mEntries;
    std::list<std::uint32_t> mUses; // front: last used
    PlainUser()
    {
        for (std::uint32_t i = 0; i < kItems; ++i)
            mEntries.emplace(i, Entry{SomeMemory(), mUses.insert(mUses.begin(), i)});
    }
    bool LookUp(std::uint32_t inKey)
    {
        RecycledMemoryPtr value;
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto entry = mEntries.find(inKey);
        if (entry == mEntries.end())
            return false;
        mUses.splice(mUses.begin(), mUses, entry->second.mUse);
        value = entry->second.mValue;
        return true;
    }
};

template <class User>
void LookUp(benchmark::State& ioState)
{
    static std::unique_ptr<User> sUser;
    if (ioState.thread_index() == 0)
        sUser = std::make_unique<User>();
    Draw draw(ioState);
    std::int64_t misses = 0;
    for (auto _ : ioState) // begins and ends with a barrier of all threads
        misses += sUser->LookUp(draw.Next()) ? 0 : 1;
    if (misses != 0)
        ioState.SkipWithError("a present key was missed");
    ioState.SetItemsProcessed(ioState.iterations());
    if (ioState.thread_index() == 0)
        sUser.reset();
}

BENCHMARK_TEMPLATE(LookUp, CacheUser)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(LookUp, MapUser)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(LookUp, VectorUser)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK_TEMPLATE(LookUp, PlainUser)->ThreadRange(1, 2)->UseRealTime();

} // namespace
