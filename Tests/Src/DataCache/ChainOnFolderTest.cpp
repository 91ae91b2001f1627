// A chain whose second link is a store in a folder that is turned by hand.
#include <boost/make_shared.hpp>

#include "FolderStoreFixture.h"
#include "RiverKit/RKDataCacheChain.h"

namespace
{

using namespace Testing;

using ChainOnFolderTest = FolderStoreTest;

TEST_F(ChainOnFolderTest, AChainTellsWhatWaitsInItsStoresThoseOfAnInnerChainToo)
{
    Open();
    const auto inner = boost::make_shared<RK::DataCacheChain>(nullptr, mStore);
    const auto outer = boost::make_shared<RK::DataCacheChain>(inner, nullptr);
    EXPECT_EQ(RK::GetQueuedWrites(outer).count, 0u);
    mStore->PutItem(N("k"), N("s"), BufferOf("data"));
    EXPECT_EQ(RK::GetQueuedWrites(outer).count, 1u);
    EXPECT_GE(RK::GetQueuedWrites(outer).bytes, 4u);
    EXPECT_EQ(RK::GetQueuedWrites(outer).bytes, RK::GetQueuedWrites(mStore).bytes);
    const auto twice = boost::make_shared<RK::DataCacheChain>(mStore, mStore);
    EXPECT_EQ(RK::GetQueuedWrites(twice).count, 2u);
}

} // namespace
