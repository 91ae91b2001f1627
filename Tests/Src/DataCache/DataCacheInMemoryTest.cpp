#include "RiverKit/RKDataCache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKMediaManager.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;

class DataCacheInMemoryTest : public testing::Test
{
protected:
    qelcore::Result Get(const Name& inKey, const Name& inSubKey)
    {
        return mCache->GetItem(inKey, inSubKey, {}, mBuffer);
    }
    static void PurgeEverything()
    {
        RK::GetMediaManager()->FlushAsyncEvents();
        RK::MM::Purge(~std::size_t{0}, RK::kPurgeUrgency_Immediate);
    }

    const RK::Initializer mLibrary;
    const RK::DataCachePtr mCache = RK::CreateDataCacheInMemory();
    const Name mKey = N("clip"), mSubKey = N("frame 1");
    DataCache::CacheBuffer mBuffer;
};

TEST_F(DataCacheInMemoryTest, AFreshStoreFindsNothingAndLeavesTheBufferAsItWas)
{
    const DataCache::CacheBuffer before = mBuffer = BufferOf("mine");
    EXPECT_EQ(Get(mKey, mSubKey), RK::kDataCacheResultItemNotFound);
    EXPECT_EQ(mBuffer, before);
    EXPECT_FALSE(mCache->IsItemAvailable(mKey, mSubKey));
    EXPECT_THAT(Listed(*mCache, mKey), IsEmpty());
}

TEST_F(DataCacheInMemoryTest, HandsOverTheVeryBufferAtOnceAndNeverCallsTheCompletion)
{
    const DataCache::CacheBuffer put = BufferOf("data");
    mCache->PutItem(mKey, mSubKey, put);
    bool called = false;
    const auto completion = [&](qelcore::Result, const Name&, const Name&,
                                const DataCache::CacheBuffer&) { called = true; };
    EXPECT_EQ(mCache->GetItem(mKey, mSubKey, completion, mBuffer),
              RK::kDataCacheResultItemReturned);
    EXPECT_EQ(mBuffer, put);
    EXPECT_EQ(mCache->GetItem(mKey, N("other"), completion, mBuffer),
              RK::kDataCacheResultItemNotFound);
    EXPECT_FALSE(called);
    EXPECT_TRUE(mCache->IsItemAvailable(mKey, mSubKey));
}

TEST_F(DataCacheInMemoryTest, IgnoresANullBuffer)
{
    mCache->PutItem(mKey, mSubKey, nullptr);
    EXPECT_THAT(Listed(*mCache, mKey), IsEmpty());
    EXPECT_FALSE(mCache->IsItemAvailable(mKey, mSubKey));
}

TEST_F(DataCacheInMemoryTest, KeepsAndListsABufferWithoutData)
{
    const auto empty = boost::make_shared<qelcore::utility::RecycledMemory>();
    mCache->PutItem(mKey, mSubKey, empty);
    EXPECT_THAT(Listed(*mCache, mKey), ElementsAre("frame 1"));
    EXPECT_EQ(Get(mKey, mSubKey), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(mBuffer, empty);
    EXPECT_EQ(mBuffer->Size(), 0u);
}

TEST_F(DataCacheInMemoryTest, ASecondPutReplacesNothingAndIsListedOnce)
{
    mCache->PutItem(mKey, mSubKey, BufferOf("first"));
    mCache->PutItem(mKey, mSubKey, BufferOf("second"));
    Get(mKey, mSubKey);
    EXPECT_EQ(TextOf(mBuffer), "first");
    EXPECT_THAT(Listed(*mCache, mKey), ElementsAre("frame 1"));
}

TEST_F(DataCacheInMemoryTest, ARemoveForgetsNothing)
{
    mCache->PutItem(mKey, mSubKey, BufferOf("data"));
    mCache->RemoveItem(mKey, mSubKey);
    EXPECT_EQ(Get(mKey, mSubKey), RK::kDataCacheResultItemReturned);
    EXPECT_THAT(Listed(*mCache, mKey), ElementsAre("frame 1"));
}

TEST_F(DataCacheInMemoryTest, WhatWasPurgedIsNotAvailableButStillListedAndCanBePutAgain)
{
    mCache->PutItem(mKey, mSubKey, BufferOf("old"));
    PurgeEverything();
    EXPECT_FALSE(mCache->IsItemAvailable(mKey, mSubKey));
    EXPECT_THAT(Listed(*mCache, mKey), ElementsAre("frame 1"));
    mCache->PutItem(mKey, mSubKey, BufferOf("new"));
    Get(mKey, mSubKey);
    EXPECT_EQ(TextOf(mBuffer), "new");
    EXPECT_THAT(Listed(*mCache, mKey), ElementsAre("frame 1"));
}

TEST_F(DataCacheInMemoryTest, CountsAgainstTheBudgetWithItsSizeAndNotAfterItsEnd)
{
    RK::GetMediaManager()->FlushAsyncEvents();
    const std::uint64_t before = RK::GetMediaManager()->GetCurrentSpace();
    {
        const RK::DataCachePtr cache = RK::CreateDataCacheInMemory();
        cache->PutItem(mKey, mSubKey, BufferOf(std::string(1000, 'x')));
        RK::GetMediaManager()->FlushAsyncEvents();
        EXPECT_EQ(RK::GetMediaManager()->GetCurrentSpace(), before + 1000);
    }
    RK::GetMediaManager()->FlushAsyncEvents();
    EXPECT_EQ(RK::GetMediaManager()->GetCurrentSpace(), before);
}

TEST_F(DataCacheInMemoryTest, ListsTheSubKeysOfOneKeyLatestFirstInPlaceOfWhatTheListHeld)
{
    for (const char* subKey : {"1", "2", "3", "2"})
        mCache->PutItem(mKey, N(subKey), BufferOf(subKey));
    mCache->PutItem(N("other clip"), N("4"), BufferOf("4"));
    mCache->PutItem(mKey, N(""), BufferOf("no sub key"));
    DataCache::AvailableCachedItemList list(5, N("left over"));
    mCache->GetAvailableItems(mKey, list);
    EXPECT_THAT(list, ElementsAre(N(""), N("3"), N("2"), N("1")));
}

TEST_F(DataCacheInMemoryTest, GetAnyItemFindsTheFirstThatIsThere)
{
    mCache->PutItem(mKey, N("b"), BufferOf("b"));
    mCache->PutItem(mKey, N("c"), BufferOf("c"));
    EXPECT_EQ(mCache->GetAnyItem(mKey, {N("a"), N("b"), N("c")}, {}, mBuffer),
              RK::kDataCacheResultItemReturned);
    EXPECT_EQ(TextOf(mBuffer), "b");
}

TEST_F(DataCacheInMemoryTest, HasNoStation)
{
    EXPECT_TRUE(mCache->GetStationID().IsNull());
}

} // namespace
