// Real threads: look-ups, additions, starts and stops at a time.
#include <atomic>

#include "VolumesFixture.h"

namespace RKTests
{
namespace
{

using namespace RK::VolumeUtilities;

class VolumesStress : public VolumesTest
{
};

TEST_F(VolumesStress, ManyThreadsThatLookStartAndStopLeaveTheListOfTheSystem)
{
    mVolumes.Add("/mnt/a", "ext4", "a", {});
    std::atomic<bool> goOn{true};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back(
            [&]
            {
                while (goOn)
                {
                    InitializeDriveDiscovery();
                    Shutdown();
                }
            });
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&]
            {
                while (goOn)
                {
                    Volume volume;
                    if (GetVolumeInfo(u"/mnt/a/b", volume) &&
                        Narrow(volume.VolumePath) != "/mnt/a/")
                        ++wrong;
                    VolumeChangedOSNotification();
                }
            });
    threads.emplace_back(
        [&]
        {
            for (int i = 0; i < 300; ++i)
            {
                mVolumes.Add("/mnt/b", "nfs4", "nas:/b", {});
                mVolumes.TellChange();
                AddVolume(MakeVolume("/own/"));
                mVolumes.Remove("/mnt/b");
                mVolumes.TellChange();
            }
            goOn = false;
        });
    while (goOn)
        qelcore::threads::RunMainThreadFor(5);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);

    Shutdown();
    Discover();
    EXPECT_THAT(Paths(), testing::ElementsAre("/", "/mnt/a/"));
}

TEST_F(VolumesStress, TheFirstUseByManyThreadsGivesOneList)
{
    std::vector<std::thread> threads;
    std::atomic<int> started{0};
    std::vector<boost::shared_ptr<VolumesHolder>> holders(8);
    for (auto& holder : holders)
        threads.emplace_back(
            [&]
            {
                ++started;
                while (started < 8)
                    std::this_thread::yield();
                holder = VolumesHolder::Instance();
            });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& holder : holders)
        EXPECT_EQ(holders[0], holder);
}

} // namespace
} // namespace RKTests
