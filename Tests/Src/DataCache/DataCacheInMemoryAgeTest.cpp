// What ages in the store in memory, by a clock turned by hand.
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKMediaManager.h"
#include "Support/FakeClock.h"

namespace
{

using namespace Testing;

constexpr std::size_t kSize = 1 << 20;

class DataCacheInMemoryAgeTest : public testing::Test
{
protected:
    DataCacheInMemoryAgeTest()
    {
        for (const char* subKey : {"1", "2", "3"})
        {
            mCache->PutItem(mKey, N(subKey), BufferOf(std::string(kSize, 'x')));
            LetTimePass();
        }
    }

    void LetTimePass()
    {
        RK::GetMediaManager()->FlushAsyncEvents();
        mClock.AdvanceSeconds(1);
    }
    bool Has(const char* inSubKey) { return mCache->IsItemAvailable(mKey, N(inSubKey)); }

    FakeClock mClock;
    const RK::Initializer mLibrary;
    const RK::DataCachePtr mCache = RK::CreateDataCacheInMemory();
    const Name mKey = N("clip");
};

TEST_F(DataCacheInMemoryAgeTest, TheItemThatWasUsedLongestAgoGoesFirst)
{
    RK::MM::Purge(kSize, RK::kPurgeUrgency_Immediate);
    EXPECT_FALSE(Has("1"));
    EXPECT_TRUE(Has("2") && Has("3"));
}

TEST_F(DataCacheInMemoryAgeTest, ATouchKeepsAnItemLonger)
{
    mCache->TouchItem(mKey, N("1"));
    LetTimePass();
    RK::MM::Purge(2 * kSize, RK::kPurgeUrgency_Immediate);
    EXPECT_TRUE(Has("1"));
    EXPECT_FALSE(Has("2") || Has("3"));
}

TEST_F(DataCacheInMemoryAgeTest, ToAskWhetherAnItemIsThereIsAUse)
{
    EXPECT_TRUE(Has("1"));
    LetTimePass();
    RK::MM::Purge(2 * kSize, RK::kPurgeUrgency_Immediate);
    EXPECT_TRUE(Has("1"));
    EXPECT_FALSE(Has("2") || Has("3"));
}

} // namespace
