#include "RiverKit/RKDataCache.h"

#include <map>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;

/// Answers each sub key as the test says, and writes down what it was asked.
class ScriptedCache : public DataCache
{
public:
    std::map<Name, qelcore::Result> answers;
    mutable std::vector<Name> asked;

    void GetAvailableItems(const CacheKey&, AvailableCachedItemList& outList) const override
    {
        outList.clear();
    }
    bool IsItemAvailable(const CacheKey&, const CacheSubKey&) const override { return false; }
    qelcore::Result GetItem(const CacheKey&, const CacheSubKey& inSubKey,
                            const GetItemCompletionFunction&, CacheBuffer& outBuffer) const override
    {
        asked.push_back(inSubKey);
        const auto answer = answers.find(inSubKey);
        if (answer == answers.end())
            return RK::kDataCacheResultItemNotFound;
        if (answer->second == RK::kDataCacheResultItemReturned)
            outBuffer = BufferOf("found");
        return answer->second;
    }
    void PutItem(const CacheKey&, const CacheSubKey&, const CacheBuffer&) override {}
    void TouchItem(const CacheKey&, const CacheSubKey&) const override {}
    void RemoveItem(const CacheKey&, const CacheSubKey&) const override {}
};

class GetAnyItemTest : public testing::Test
{
protected:
    qelcore::Result GetAny(const std::vector<Name>& inSubKeys)
    {
        return mCache.GetAnyItem(N("key"), inSubKeys, {}, mBuffer);
    }

    ScriptedCache mCache;
    DataCache::CacheBuffer mBuffer;
    const Name mA = N("a"), mB = N("b"), mC = N("c");
};

TEST(DataCacheResults, HaveTheirValues)
{
    EXPECT_EQ(RK::kDataCacheResultItemReturned, 0x20330001);
    EXPECT_EQ(RK::kDataCacheResultReadQueued, 0x20330002);
    EXPECT_EQ(static_cast<std::uint32_t>(RK::kDataCacheResultItemNotFound), 0xA0330001u);
    EXPECT_EQ(static_cast<std::uint32_t>(RK::kDataCacheResultReadNeedsCompletion), 0xA0330002u);
    EXPECT_EQ(static_cast<std::uint32_t>(RK::kResultFailed), 0xA00F0001u);
}

TEST(ItemsRemovedMessage, HasTheIDOfItsTypesName)
{
    EXPECT_EQ(DataCache::ItemsRemovedMessage::GetClassMessageID(),
              ZOR::HashMessageTypeNameToMessageID("N2RK9DataCache19ItemsRemovedMessageE"));
    EXPECT_EQ(DataCache::ItemsRemovedMessage().GetMessageID(),
              DataCache::ItemsRemovedMessage::GetClassMessageID());
}

TEST_F(GetAnyItemTest, OfNoSubKeysFindsNothingWithoutAsking)
{
    EXPECT_EQ(GetAny({}), RK::kDataCacheResultItemNotFound);
    EXPECT_THAT(mCache.asked, IsEmpty());
}

TEST_F(GetAnyItemTest, StopsAtTheFirstThatSucceeds)
{
    mCache.answers = {{mB, RK::kDataCacheResultItemReturned},
                      {mC, RK::kDataCacheResultItemReturned}};
    EXPECT_EQ(GetAny({mA, mB, mC}), RK::kDataCacheResultItemReturned);
    EXPECT_THAT(mCache.asked, ElementsAre(mA, mB));
    EXPECT_EQ(TextOf(mBuffer), "found");
}

TEST_F(GetAnyItemTest, AQueuedReadIsASuccessToo)
{
    mCache.answers = {{mA, RK::kDataCacheResultReadQueued}};
    EXPECT_EQ(GetAny({mA, mB}), RK::kDataCacheResultReadQueued);
    EXPECT_THAT(mCache.asked, ElementsAre(mA));
    EXPECT_EQ(mBuffer, nullptr);
}

TEST_F(GetAnyItemTest, OfOnlyFailuresReturnsTheLast)
{
    mCache.answers = {{mC, RK::kDataCacheResultReadNeedsCompletion}};
    EXPECT_EQ(GetAny({mA, mB, mC}), RK::kDataCacheResultReadNeedsCompletion);
    EXPECT_EQ(GetAny({mC, mA}), RK::kDataCacheResultItemNotFound);
}

TEST(DataCache, OneThatTellsNothingHasNoStation)
{
    EXPECT_TRUE(ScriptedCache().GetStationID().IsNull());
}

} // namespace
