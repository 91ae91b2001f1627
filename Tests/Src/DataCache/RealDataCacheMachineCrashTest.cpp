// A crash of the whole machine right after items were written.
#include "RealStoreSupport.h"
#include "Support/CrashingVolume.h"
#include "Support/FaultyMount.h"

namespace
{

using namespace Testing;

const auto* const sMounts = UsePrivateMounts();

constexpr std::uint32_t kItems = 48;

class RealDataCacheMachineCrash : public ::testing::TestWithParam<const char*>
{
};

TEST_P(RealDataCacheMachineCrash, LeavesWholeItemsOrNone)
{
    RK_NEEDS_CRASHING_VOLUME(GetParam());
    const CrashingVolume volume(GetParam());
    const RK::Initializer library;
    {
        const RealStore store(volume.Path() + "/cache");
        for (std::uint32_t item = 0; item < kItems; ++item)
            store.Put(item);
        store.WaitForWrites();
    }
    volume.Crash();

    const FolderContents contents(volume.Path() + "/cache");
    EXPECT_EQ(std::vector<std::string>(), contents.torn);
    EXPECT_FALSE(contents.whole.empty()) << "nothing was tried";
    const RealStore store(volume.Path() + "/cache");
    for (std::uint32_t item = 0; item < kItems; ++item)
    {
        if (contents.whole.count(item) == 0)
            store.Put(item); // an empty file would stand in its way
    }
    store.WaitForWrites();
    for (std::uint32_t item = 0; item < kItems; ++item)
        EXPECT_TRUE(store.Get(item).whole) << item;
}

INSTANTIATE_TEST_SUITE_P(Volumes, RealDataCacheMachineCrash, ::testing::Values("ext4", "xfs"));

} // namespace
