#include "DataCacheItemIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"

namespace
{

using namespace Testing;
using RK::DataCacheIndex::ItemIndex;
using RK::DataCacheIndex::KeyToSubKeysMap;

/// What is known of a key, in its order.
std::vector<std::string> SubKeys(const ItemIndex& inIndex, const Name& inKey)
{
    std::vector<std::string> subKeys;
    const auto range = inIndex.Map().equal_range(inKey);
    for (auto entry = range.first; entry != range.second; ++entry)
    {
        const qelcore::UTF16String text = entry->second.ToString();
        subKeys.emplace_back(text.begin(), text.end());
    }
    return subKeys;
}

TEST(ItemIndex, ListsTheSubKeysOfAKeyLatestFirst)
{
    ItemIndex index;
    for (const char* subKey : {"1", "2", "3"})
        index.Insert(N("a"), N(subKey));
    index.Insert(N("b"), N("1"));
    EXPECT_THAT(SubKeys(index, N("a")), testing::ElementsAre("3", "2", "1"));
    EXPECT_THAT(SubKeys(index, N("b")), testing::ElementsAre("1"));
}

TEST(ItemIndex, APairThatIsInsertedAgainKeepsItsPlace)
{
    ItemIndex index;
    for (const char* subKey : {"1", "2", "1"})
        index.Insert(N("a"), N(subKey));
    EXPECT_THAT(SubKeys(index, N("a")), testing::ElementsAre("2", "1"));
}

TEST(ItemIndex, AnErasedPairIsGoneAndComesBackInFront)
{
    ItemIndex index;
    for (const char* subKey : {"1", "2", "3"})
        index.Insert(N("a"), N(subKey));
    EXPECT_TRUE(index.Erase(N("a"), N("2")));
    EXPECT_FALSE(index.Erase(N("a"), N("2")));
    EXPECT_FALSE(index.Erase(N("b"), N("1")));
    EXPECT_FALSE(index.Contains(N("a"), N("2")));
    EXPECT_TRUE(index.Contains(N("a"), N("1")));
    index.Insert(N("a"), N("2"));
    EXPECT_THAT(SubKeys(index, N("a")), testing::ElementsAre("2", "3", "1"));
}

TEST(ItemIndex, HasTheOrderOfThePlainWayWhateverIsInsertedAndErased)
{
    ItemIndex index;
    KeyToSubKeysMap plain;
    unsigned random = 1;
    for (int step = 0; step < 5000; ++step)
    {
        random = random * 1664525 + 1013904223;
        const Name key = N("k" + std::to_string(random >> 8 & 3));
        const Name subKey = N(std::to_string(random >> 16 & 31));
        if ((random >> 28) % 3 != 0)
        {
            index.Insert(key, subKey);
            RK::DataCacheIndex::InsertWithoutDuplicatePairs(plain, key, subKey);
            continue;
        }
        index.Erase(key, subKey);
        const auto range = plain.equal_range(key);
        for (auto entry = range.first; entry != range.second; ++entry)
        {
            if (entry->second == subKey)
            {
                plain.erase(entry);
                break;
            }
        }
    }
    EXPECT_TRUE(index.Map() == plain);
    EXPECT_GT(plain.size(), 20u);
}

} // namespace
