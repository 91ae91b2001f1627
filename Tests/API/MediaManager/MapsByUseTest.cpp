// A look-up counts as a use: with the clock turned by hand, what was looked up last goes last.
#include <gtest/gtest.h>

#include "RiverKit/MediaManager/MediaCache.h"
#include "RiverKit/MediaManager/MediaMap.h"
#include "RiverKit/MediaManager/MediaVector.h"
#include "RiverKit/RKInitializer.h"
#include "Support/FakeClock.h"
#include "qelcore/RecycledMemory.h"

namespace
{

using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

class MapsByUse : public ::testing::Test
{
protected:
    Testing::FakeClock mClock;
    const RK::Initializer mInitializer;

    void Later() { mClock.AdvanceSeconds(1); }
    /// Purges what makes 100 bytes: the one item that was used longest ago.
    static void PurgeOne() { RK::MM::Purge(100, RK::kPurgeUrgency_Immediate); }
};

TEST_F(MapsByUse, AHitInACacheMakesTheItemYounger)
{
    RK::MediaCache<int, RecycledMemoryPtr> cache(u"Test", 4);
    RecycledMemoryPtr value;
    for (const int key : {1, 2})
    {
        cache.Add(key, RecycledMemory::Create(100), 100, 4, 0);
        Later();
    }
    cache.Get(value, 1);

    PurgeOne();

    EXPECT_TRUE(cache.Get(value, 1));
    EXPECT_FALSE(cache.Get(value, 2));
}

TEST_F(MapsByUse, AddingAnExistingKeyToACacheMakesTheItemYounger)
{
    RK::MediaCache<int, RecycledMemoryPtr> cache(u"Test", 4);
    for (const int key : {1, 2, 1})
    {
        cache.Add(key, RecycledMemory::Create(100), 100, 4, 0);
        Later();
    }

    PurgeOne();

    RecycledMemoryPtr value;
    EXPECT_TRUE(cache.Get(value, 1));
    EXPECT_FALSE(cache.Get(value, 2));
}

struct Key
{
    int number = 0;
    RK::MediaID mediaID = 0;
    friend bool operator<(const Key& a, const Key& b) { return a.number < b.number; }
};

struct Block
{
    RecycledMemoryPtr memory;
    RK::PurgeLockCount purgeLock;
};

TEST_F(MapsByUse, AHitInAMapMakesTheItemYounger)
{
    using Map = RK::MediaMap<Key, Block, void>;
    const ZOR::InterfaceRef<Map, RK::IMediaMap> map(new Map);
    Key first{1, 0};
    Key second{2, 0};
    Block block;
    map->Insert(first, Block{RecycledMemory::Create(100), {}});
    Later();
    map->Insert(second, Block{RecycledMemory::Create(100), {}});
    Later();
    map->Find(first, block);

    PurgeOne();

    EXPECT_TRUE(map->Find(first, block));
    EXPECT_FALSE(map->Find(second, block));
}

TEST_F(MapsByUse, AReadOfAVectorMakesTheSlotYounger)
{
    using Vector = RK::MediaVector<std::atomic<int>>;
    const ZOR::InterfaceRef<Vector, RK::IMediaMap> vector(new Vector(2));
    const auto nothing = [](std::atomic<int>&) {};
    for (const RK::MediaID index : {0, 1})
    {
        vector->Write(index, 3, [](std::atomic<int>&) { return RK::Size(100); });
        Later();
    }
    vector->Read(0, nothing);

    PurgeOne();

    EXPECT_TRUE(vector->Read(0, nothing));
    EXPECT_FALSE(vector->Read(1, nothing));
}

} // namespace
