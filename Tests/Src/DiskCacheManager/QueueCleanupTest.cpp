// When sweeps run.
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "DiskCacheFixture.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using namespace RK::DiskCacheManager;
using qelcore::debug::DebugDatabase;
using ::testing::ElementsAre;
using Testing::FileOperation;
using Testing::hours;
using ::testing::IsEmpty;
using Testing::kHour;

class QueueCleanupTest : public Testing::DiskCacheTest
{
};

TEST_F(QueueCleanupTest, CreateAloneAsksForNoSweep)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    EXPECT_EQ(0u, PassInterval());
}

TEST_F(QueueCleanupTest, AChangedLimitSweepsEveryIntervalAndNotAtOnce)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    Put("/c/a.rkdc", kHour);
    mManager.SetDirectoryMaxUsedBytes(*handle, 0);

    Background().Advance(kIntervalMs - 1);
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
    Background().Advance(1);
    EXPECT_FALSE(mFiles.Has("/c/a.rkdc"));
    HearMessages();
    EXPECT_EQ(1u, PassInterval());
    EXPECT_THAT(mRepeatings, ElementsAre(true, true));
}

TEST_F(QueueCleanupTest, EverySetterAsksAlsoWithAnEmptyValue)
{
    const std::vector<std::function<void(Manager&, ManagedDirectory&, ManagedVolume&)>> setters = {
        [](Manager& m, ManagedDirectory&, ManagedVolume& v)
        { m.SetVolumeFreeSpaceBytes(v, boost::none); },
        [](Manager& m, ManagedDirectory&, ManagedVolume& v)
        { m.SetVolumeFreeSpacePercentage(v, boost::none); },
        [](Manager& m, ManagedDirectory&, ManagedVolume& v)
        { m.SetVolumeMaxUsedBytes(v, boost::none); },
        [](Manager& m, ManagedDirectory& d, ManagedVolume&)
        { m.SetDirectoryMaxUsedBytes(d, boost::none); },
        [](Manager& m, ManagedDirectory& d, ManagedVolume&)
        { m.SetDirectoryMaxFileCount(d, boost::none); },
        [](Manager& m, ManagedDirectory& d, ManagedVolume&)
        { m.SetDirectoryPriorityBoost(d, boost::none); },
        [](Manager& m, ManagedDirectory& d, ManagedVolume&)
        { m.SetDirectoryAutomaticExpiryDuration(d, boost::none); },
        [](Manager& m, ManagedDirectory& d, ManagedVolume&)
        { m.SetDirectoryDeleteEmptySubDirectories(d, false); }};
    for (std::size_t i = 0; i < setters.size(); ++i)
    {
        Manager manager;
        const ManagedDirectoryPtr directory =
            manager.GetOrInitializeManagedDirectory(u"/c", {u".rkdc"}, boost::none);
        const ManagedVolumePtr volume = manager.GetOrInitializeManagedVolume(u"/c", {});
        setters[i](manager, *directory, *volume);
        EXPECT_EQ(1u, Background().Advance(kIntervalMs) > 0 ? 1u : 0u) << "setter " << i;
    }
}

TEST_F(QueueCleanupTest, TheOtherTwoChangesAskForNone)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.AddFileExtensionsAllowedToDelete(*handle, {u".x"});
    mManager.DisableRepeatDiskSweep(*handle);

    EXPECT_EQ(0u, PassInterval());
}

TEST_F(QueueCleanupTest, WithoutRepetitionManyChangesMakeOneSweepAnIntervalLater)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.DisableRepeatDiskSweep(*handle);
    for (std::uint64_t i = 0; i < 5; ++i)
        mManager.SetDirectoryMaxFileCount(*handle, i);

    EXPECT_EQ(1u, PassInterval());
    EXPECT_EQ(0u, PassInterval());
    mManager.SetDirectoryMaxFileCount(*handle, 9);
    EXPECT_EQ(1u, PassInterval());
    EXPECT_THAT(mRepeatings, ElementsAre(false, false));
}

TEST_F(QueueCleanupTest, AChangeDuringASingleSweepAsksForTheNext)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.DisableRepeatDiskSweep(*handle);
    Put("/c/a.rkdc", kHour);
    mFiles.Before(FileOperation::kList, "/c",
                  [&] { mManager.SetDirectoryMaxFileCount(*handle, 0); });
    mManager.SetDirectoryMaxFileCount(*handle, 5);

    EXPECT_EQ(1u, PassInterval());
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc")); // the sweep worked on copies
    EXPECT_EQ(1u, PassInterval());
    EXPECT_FALSE(mFiles.Has("/c/a.rkdc"));
}

TEST_F(QueueCleanupTest, EachKindOfSweepTakesItsFoldersOnly)
{
    const ManagedDirectoryPtr repeated = Manage(u"/r");
    const ManagedDirectoryPtr single = Manage(u"/s");
    mManager.DisableRepeatDiskSweep(*single);
    mManager.SetDirectoryMaxFileCount(*single, 0);
    mManager.SetDirectoryMaxFileCount(*repeated, 0);
    Put("/r/a.rkdc", kHour);
    Put("/s/a.rkdc", kHour);

    EXPECT_EQ(2u, PassInterval());
    EXPECT_THAT(Left("/r"), IsEmpty());
    EXPECT_THAT(Left("/s"), IsEmpty());

    Put("/r/b.rkdc", kHour);
    Put("/s/b.rkdc", kHour);
    EXPECT_EQ(1u, PassInterval());
    EXPECT_THAT(Left("/r"), IsEmpty());
    EXPECT_THAT(Left("/s"), ElementsAre("b.rkdc"));
}

TEST_F(QueueCleanupTest, TheChangeOfModeWaitsForTheNextAsking)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.SetDirectoryMaxFileCount(*handle, 5);
    mManager.DisableRepeatDiskSweep(*handle);
    EXPECT_EQ(1u, PassInterval()); // the repetition goes on, and finds nothing of its kind

    mManager.SetDirectoryMaxFileCount(*handle, 6);
    EXPECT_EQ(1u, PassInterval());
    EXPECT_EQ(0u, PassInterval());
    EXPECT_THAT(mRepeatings, ElementsAre(true, false));
}

TEST_F(QueueCleanupTest, TheRepetitionEndsOnceNobodyWantsItAndASetterIsCalled)
{
    ManagedDirectoryPtr gone = Manage(u"/c");
    mManager.SetDirectoryMaxFileCount(*gone, 5);
    gone.reset();
    EXPECT_EQ(1u, PassInterval()); // by itself it goes on
    EXPECT_EQ(1u, PassInterval());

    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 5);
    EXPECT_EQ(0u, PassInterval());
}

TEST_F(QueueCleanupTest, ADeadRecordIsDroppedByTheNextSweepOfEitherKind)
{
    const ManagedDirectoryPtr kept = Manage(u"/c");
    mManager.DisableRepeatDiskSweep(*kept);
    {
        const ManagedDirectoryPtr repeated = Manage(u"/d");
    }
    EXPECT_EQ(2u, Inside().DirectoryRecordCount());
    mManager.SetDirectoryMaxFileCount(*kept, 5);
    PassInterval();

    EXPECT_EQ(1u, Inside().DirectoryRecordCount());
}

TEST_F(QueueCleanupTest, ARepetitionKeepsTheExtensionsThatItWasMadeWith)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    const ManagedVolumePtr other = mManager.GetOrInitializeManagedVolume(u"/other", {u".x"});
    Put("/c/a.rkdc", kHour);
    mManager.SetVolumeMaxUsedBytes(*other, 5); // makes the repetition, with ".x"
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 0);

    PassInterval();
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
}

TEST_F(QueueCleanupTest, TheIntervalIsADebugSettingReadWhenASweepIsAskedFor)
{
    const char* const key = "RKDiskCacheManager.DiskSweepInterval";
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.DisableRepeatDiskSweep(*handle);
    DebugDatabase::Instance().SetEntry(key, "1000");
    mManager.SetDirectoryMaxFileCount(*handle, 5);
    Background().Advance(999);
    HearMessages();
    EXPECT_EQ(0u, mSweeps);
    Background().Advance(1);
    HearMessages();
    EXPECT_EQ(1u, mSweeps);

    DebugDatabase::Instance().SetEntry(key, "3000");
    mManager.SetDirectoryMaxFileCount(*handle, 6);
    DebugDatabase::Instance().RemoveEntry(key);
    Background().Advance(2999);
    HearMessages();
    EXPECT_EQ(1u, mSweeps);
    Background().Advance(1);
    HearMessages();
    EXPECT_EQ(2u, mSweeps);
}

TEST_F(QueueCleanupTest, TheDiskIsTouchedWithTheLockFree)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    Put("/c/a.rkdc", kHour);
    bool freeAtListing = false;
    bool freeAtRemoval = false;
    // Seen from another thread: the lock is recursive.
    const auto look = [&](bool& outFree)
    { std::thread([&] { outFree = Inside().LockIsFree(); }).join(); };
    mFiles.Before(FileOperation::kList, "/c", [&] { look(freeAtListing); });
    mFiles.Before(FileOperation::kRemoveFile, "/c/a.rkdc", [&] { look(freeAtRemoval); });
    mManager.SetDirectoryMaxFileCount(*handle, 0);
    PassInterval();

    EXPECT_TRUE(freeAtListing);
    EXPECT_TRUE(freeAtRemoval);
}

TEST_F(QueueCleanupTest, AfterTheStopLimitsCanBeSetAndNothingIsSwept)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    Put("/c/a.rkdc", kHour);
    mManager.SetDirectoryMaxFileCount(*handle, 0);
    mManager.Shutdown();
    mManager.SetDirectoryMaxUsedBytes(*handle, 0);

    EXPECT_EQ(0u, PassInterval());
    EXPECT_EQ(OptionalBytes(0), mManager.GetDirectoryMaxUsedBytes(*handle));
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
    mManager.Shutdown(); // and again is nothing
}

} // namespace
