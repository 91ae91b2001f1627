// The three maps under the real media manager.
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "RiverKit/MediaManager/MediaCache.h"
#include "RiverKit/MediaManager/MediaMap.h"
#include "RiverKit/MediaManager/MediaVector.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKMediaManager.h"
#include "qelcore/ErrorManager.h"
#include "qelcore/RecycledMemory.h"

namespace
{

using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

constexpr std::size_t kEverything = std::numeric_limits<std::size_t>::max();

class MapsInManager : public ::testing::Test
{
protected:
    const RK::Initializer mInitializer;
    const RK::IMediaManagerRef mManager = RK::GetMediaManager();

    std::uint32_t Entries()
    {
        mManager->FlushAsyncEvents();
        return mManager->GetNumberOfEntries();
    }
    static void PurgeEverything() { RK::MM::Purge(kEverything, RK::kPurgeUrgency_Immediate); }
};

using Cache = RK::MediaCache<int, RecycledMemoryPtr>;

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

using Map = RK::MediaMap<Key, Block, void>;
using MapRef = ZOR::InterfaceRef<Map, RK::IMediaMap>;

struct Element
{
    std::atomic<int> value{0};
};

using Vector = RK::MediaVector<Element>;
using VectorRef = ZOR::InterfaceRef<Vector, RK::IMediaMap>;

bool Write(const VectorRef& inVector, RK::MediaID inIndex)
{
    return inVector->Write(inIndex, 3, [](Element&) { return RK::Size(100000); });
}

TEST_F(MapsInManager, ACachedItemIsCountedUntilItIsPurgedAndThenMissed)
{
    Cache cache(u"Test", 4);
    const std::uint32_t before = Entries();

    cache.Add(1, RecycledMemory::Create(100), 100, 4, 0);
    cache.Add(1, RecycledMemory::Create(100), 100, 4, 0); // a use, not an item
    EXPECT_EQ(before + 1, Entries());
    EXPECT_EQ(100u, mManager->GetCurrentSpace());

    PurgeEverything();
    RecycledMemoryPtr value;
    EXPECT_FALSE(cache.Get(value, 1));
    EXPECT_EQ(0u, Entries());
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
}

TEST_F(MapsInManager, ACacheThatHasDiedBeforeItsEventsWereReadIsNotReached)
{
    {
        Cache cache(u"Test", 4);
        for (int i = 0; i < 100; ++i)
            cache.Add(i, RecycledMemory::Create(100), 100, 4, 0);
    }

    EXPECT_EQ(0u, Entries());
    PurgeEverything();
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
}

TEST_F(MapsInManager, ACacheThatHasDiedWithItsItemsRegisteredIsNotReached)
{
    {
        Cache cache(u"Test", 4);
        for (int i = 0; i < 100; ++i)
            cache.Add(i, RecycledMemory::Create(100), 100, 4, 0);
        EXPECT_EQ(100u, Entries());
    }

    PurgeEverything();
    EXPECT_EQ(0u, Entries());
}

TEST_F(MapsInManager, AProtectedBlockSurvivesAPurgeBySizeAndGoesOnceItIsNoMore)
{
    const MapRef map(new Map);
    Key kept{1, 0};
    Key lost{2, 0};
    map->Insert(kept, Block{RecycledMemory::Create(100), {}});
    map->Insert(lost, Block{RecycledMemory::Create(100), {}});
    map->MakeNonPurgeable(kept);

    PurgeEverything();
    Block block;
    EXPECT_TRUE(map->Find(kept, block));
    EXPECT_FALSE(map->Find(lost, block));

    map->MakePurgeable(kept);
    PurgeEverything();
    EXPECT_FALSE(map->Find(kept, block));
}

TEST_F(MapsInManager, ABlockWithoutMemoryIsAContractViolationAndStaysUnregistered)
{
    const MapRef map(new Map);
    Key key{1, 0};

    EXPECT_THROW(map->Insert(key, Block()), qelcore::config::Error);

    EXPECT_EQ(0u, Entries());
    PurgeEverything();
    Block block;
    EXPECT_TRUE(map->Find(key, block));
}

TEST_F(MapsInManager, AMapLivesUntilItsLastItemIsPurged)
{
    bool freed = false;
    static char sBytes[100];
    {
        const boost::shared_ptr<void> owner(static_cast<void*>(sBytes),
                                            [&freed](void*) { freed = true; });
        const MapRef map(new Map);
        Key key{1, 0};
        map->Insert(key, Block{RecycledMemory::AdaptAsRecycledMemory(owner, sBytes, 100), {}});
    }
    EXPECT_FALSE(freed);

    PurgeEverything();

    EXPECT_TRUE(freed);
}

TEST_F(MapsInManager, AVectorsSlotIsPurgedUnlessSomebodyReadsIt)
{
    const VectorRef vector(new Vector(2));
    ASSERT_TRUE(Write(vector, 0));
    ASSERT_TRUE(Write(vector, 1));

    EXPECT_TRUE(vector->Read(0, [](Element&) { PurgeEverything(); }));

    EXPECT_TRUE(vector->Read(0, [](Element&) {}));
    EXPECT_FALSE(vector->Read(1, [](Element&) {}));
    EXPECT_EQ(0u, Entries()); // the manager has forgotten both
    EXPECT_TRUE(vector->Clear(0));
    EXPECT_TRUE(Write(vector, 0));
    EXPECT_EQ(1u, Entries());
    vector->Clear(0);
    EXPECT_EQ(0u, Entries());
}

TEST_F(MapsInManager, AProtectedSlotSurvivesAPurgeBySize)
{
    const VectorRef vector(new Vector(1));
    Write(vector, 0);
    vector->MakeNonPurgeable(0);

    PurgeEverything();
    EXPECT_TRUE(vector->Read(0, [](Element&) {}));

    vector->MakePurgeable(0);
    PurgeEverything();
    EXPECT_FALSE(vector->Read(0, [](Element&) {}));
}

TEST_F(MapsInManager, CachesMayDieWhileTheManagerPurges)
{
    std::atomic<bool> stop{false};
    std::thread purging(
        [&]
        {
            while (!stop)
                PurgeEverything();
        });
    std::vector<std::thread> owners;
    for (int owner = 0; owner < 3; ++owner)
    {
        owners.emplace_back(
            []
            {
                for (int i = 0; i < 500; ++i)
                {
                    Cache cache(u"Dying", 4);
                    for (int key = 0; key < 8; ++key)
                        cache.Add(key, RecycledMemory::Create(100), 100, 4, 0);
                    RecycledMemoryPtr value;
                    cache.Get(value, i % 8);
                }
            });
    }
    for (std::thread& owner : owners)
        owner.join();
    stop = true;
    purging.join();

    EXPECT_EQ(0u, Entries());
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
}

} // namespace
