#include "DataCacheIndex.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"

namespace
{

using Testing::N;
using Testing::Name;

std::vector<Name> SubKeys(const RK::DataCacheIndex::KeyToSubKeysMap& inMap, const Name& inKey)
{
    std::vector<Name> names;
    const auto range = inMap.equal_range(inKey);
    for (auto entry = range.first; entry != range.second; ++entry)
        names.push_back(entry->second);
    return names;
}

TEST(DataCacheIndex, ANewSubKeyGoesAheadOfTheOthersOfItsKey)
{
    RK::DataCacheIndex::KeyToSubKeysMap map;
    const Name keys[] = {N("key 1"), N("key 2"), N("key 3")};
    for (const char* subKey : {"a", "b", "c"})
        for (const Name& key : keys)
            RK::DataCacheIndex::InsertWithoutDuplicatePairs(map, key, N(subKey));
    for (const Name& key : keys)
        EXPECT_THAT(SubKeys(map, key), testing::ElementsAre(N("c"), N("b"), N("a")));
}

TEST(DataCacheIndex, APairThatIsThereStaysInItsPlace)
{
    RK::DataCacheIndex::KeyToSubKeysMap map;
    for (const char* subKey : {"a", "b", "a", "", "b", ""})
        RK::DataCacheIndex::InsertWithoutDuplicatePairs(map, N("key"), N(subKey));
    EXPECT_THAT(SubKeys(map, N("key")), testing::ElementsAre(N(""), N("b"), N("a")));
}

} // namespace
