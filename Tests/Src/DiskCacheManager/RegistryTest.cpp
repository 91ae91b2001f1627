#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "DiskCacheFixture.h"
#include "Support/ContractWatch.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using namespace RK::DiskCacheManager;
using boost::posix_time::time_duration;
using qelcore::debug::DebugDatabase;
using ::testing::ElementsAre;
using Testing::hours;
using Testing::kGiB;

class DiskCacheRegistry : public Testing::DiskCacheTest
{
};

TEST_F(DiskCacheRegistry, APathIsManagedOnceAsLongAsItsHandleLives)
{
    const ManagedDirectoryPtr first = Manage(u"/c", hours(1));
    const ManagedDirectoryPtr second =
        mManager.GetOrInitializeManagedDirectory(u"/c", {u".other"}, OptionalDuration(hours(2)));

    EXPECT_EQ(first, second);
    EXPECT_EQ(OptionalDuration(hours(1)), mManager.GetDirectoryPriorityBoost(*second));
    EXPECT_EQ(Extensions{u".rkdc"},
              Inside().DirectoryRecordOf(u"/c").mFileExtensionsAllowedToDelete);
}

TEST_F(DiskCacheRegistry, AFolderWhoseHandleWasReleasedBeginsWithoutLimits)
{
    ManagedDirectoryPtr handle = Manage(u"/c", hours(1));
    mManager.SetDirectoryMaxUsedBytes(*handle, 5);
    mManager.SetDirectoryMaxFileCount(*handle, 6);
    mManager.SetDirectoryAutomaticExpiryDuration(*handle, OptionalDuration(hours(7)));
    mManager.SetDirectoryDeleteEmptySubDirectories(*handle, true);
    mManager.DisableRepeatDiskSweep(*handle);
    handle.reset();

    handle = Manage(u"/c");
    EXPECT_EQ(boost::none, mManager.GetDirectoryMaxUsedBytes(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryMaxFileCount(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryPriorityBoost(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryAutomaticExpiryDuration(*handle));
    EXPECT_FALSE(mManager.GetDirectoryDeleteEmptySubDirectories(*handle));
    EXPECT_FALSE(Inside().DirectoryRecordOf(u"/c").mDisableRepeatDiskSweep);
}

TEST_F(DiskCacheRegistry, AVolumeKeepsItsLimitsAndItsExtensionsForEver)
{
    {
        const ManagedVolumePtr volume = mManager.GetOrInitializeManagedVolume(u"/c", {u".a"});
        mManager.SetVolumeMaxUsedBytes(*volume, 5);
    }
    const ManagedVolumePtr again = mManager.GetOrInitializeManagedVolume(u"/c", {u".b"});

    EXPECT_EQ(again, Inside().VolumeRecordOf(u"/c").mVolume);
    EXPECT_EQ(OptionalBytes(5), mManager.GetVolumeMaxUsedBytes(*again));
}

TEST_F(DiskCacheRegistry, ANewVolumeKeepsTenPercentFreeAndHasNoOtherLimit)
{
    const ManagedVolumePtr volume = VolumeOf(u"/c");

    EXPECT_EQ(boost::optional<float>(10.0f), mManager.GetVolumeFreeSpacePercentage(*volume));
    EXPECT_EQ(boost::none, mManager.GetVolumeFreeSpaceBytes(*volume));
    EXPECT_EQ(boost::none, mManager.GetVolumeMaxUsedBytes(*volume));
}

TEST_F(DiskCacheRegistry, TheDefaultPercentageIsADebugSetting)
{
    const char* const key = "RKDiskCacheManager.DefaultFreeSpacePercentagePerVolume";
    DebugDatabase::Instance().SetEntry(key, "2.5");
    const ManagedVolumePtr volume = VolumeOf(u"/c");
    DebugDatabase::Instance().RemoveEntry(key);

    EXPECT_EQ(boost::optional<float>(2.5f), mManager.GetVolumeFreeSpacePercentage(*volume));
}

TEST_F(DiskCacheRegistry, EachFolderHasAVolumeOfItsOwnPath)
{
    const ManagedDirectoryPtr a = Manage(u"/c/a");
    const ManagedDirectoryPtr b = Manage(u"/c/b");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c/a"), 5);

    EXPECT_EQ(2u, Inside().Volumes().size());
    EXPECT_EQ(u"/c/a", *Inside().DirectoryRecordOf(u"/c/a").mVolumePath);
    EXPECT_EQ(boost::none, mManager.GetVolumeMaxUsedBytes(*VolumeOf(u"/c/b")));
}

TEST_F(DiskCacheRegistry, WhatIsSetIsGotAndAnEmptyValueClearsIt)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    const ManagedVolumePtr volume = VolumeOf(u"/c");

    mManager.SetVolumeFreeSpaceBytes(*volume, 1);
    mManager.SetVolumeFreeSpacePercentage(*volume, 2.0f);
    mManager.SetVolumeMaxUsedBytes(*volume, 3);
    mManager.SetDirectoryMaxUsedBytes(*handle, 4);
    mManager.SetDirectoryMaxFileCount(*handle, 5);
    mManager.SetDirectoryPriorityBoost(*handle, OptionalDuration(hours(6)));
    mManager.SetDirectoryAutomaticExpiryDuration(*handle, OptionalDuration(hours(7)));
    EXPECT_EQ(OptionalBytes(1), mManager.GetVolumeFreeSpaceBytes(*volume));
    EXPECT_EQ(boost::optional<float>(2.0f), mManager.GetVolumeFreeSpacePercentage(*volume));
    EXPECT_EQ(OptionalBytes(3), mManager.GetVolumeMaxUsedBytes(*volume));
    EXPECT_EQ(OptionalBytes(4), mManager.GetDirectoryMaxUsedBytes(*handle));
    EXPECT_EQ(OptionalBytes(5), mManager.GetDirectoryMaxFileCount(*handle));
    EXPECT_EQ(OptionalDuration(hours(6)), mManager.GetDirectoryPriorityBoost(*handle));
    EXPECT_EQ(OptionalDuration(hours(7)), mManager.GetDirectoryAutomaticExpiryDuration(*handle));

    mManager.SetVolumeFreeSpaceBytes(*volume, boost::none);
    mManager.SetVolumeFreeSpacePercentage(*volume, boost::none);
    mManager.SetVolumeMaxUsedBytes(*volume, boost::none);
    mManager.SetDirectoryMaxUsedBytes(*handle, boost::none);
    mManager.SetDirectoryMaxFileCount(*handle, boost::none);
    mManager.SetDirectoryPriorityBoost(*handle, boost::none);
    mManager.SetDirectoryAutomaticExpiryDuration(*handle, boost::none);
    EXPECT_EQ(boost::none, mManager.GetVolumeFreeSpaceBytes(*volume));
    EXPECT_EQ(boost::none, mManager.GetVolumeFreeSpacePercentage(*volume));
    EXPECT_EQ(boost::none, mManager.GetVolumeMaxUsedBytes(*volume));
    EXPECT_EQ(boost::none, mManager.GetDirectoryMaxUsedBytes(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryMaxFileCount(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryPriorityBoost(*handle));
    EXPECT_EQ(boost::none, mManager.GetDirectoryAutomaticExpiryDuration(*handle));
}

TEST_F(DiskCacheRegistry, EmptySubDirectoriesStayUntilTheyAreAskedFor)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    EXPECT_FALSE(mManager.GetDirectoryDeleteEmptySubDirectories(*handle));
    mManager.SetDirectoryDeleteEmptySubDirectories(*handle, true);
    EXPECT_TRUE(mManager.GetDirectoryDeleteEmptySubDirectories(*handle));
    mManager.SetDirectoryDeleteEmptySubDirectories(*handle, false);
    EXPECT_FALSE(mManager.GetDirectoryDeleteEmptySubDirectories(*handle));
}

TEST_F(DiskCacheRegistry, AHandleThatTheManagerDoesNotKnowIsSilent)
{
    Manager other;
    const ManagedVolumePtr volume = other.GetOrInitializeManagedVolume(u"/c", {});
    const ManagedDirectoryPtr handle =
        other.GetOrInitializeManagedDirectory(u"/c", {u".rkdc"}, boost::none);

    mManager.SetVolumeMaxUsedBytes(*volume, 5);
    mManager.SetDirectoryMaxUsedBytes(*handle, 5);
    mManager.SetDirectoryDeleteEmptySubDirectories(*handle, true);
    mManager.DisableRepeatDiskSweep(*handle);
    EXPECT_EQ(boost::none, mManager.GetVolumeMaxUsedBytes(*volume));
    EXPECT_EQ(boost::none, mManager.GetDirectoryMaxUsedBytes(*handle));
    EXPECT_FALSE(mManager.GetDirectoryDeleteEmptySubDirectories(*handle));
    EXPECT_FALSE(mManager.IsCloseToFull(*volume));
}

TEST_F(DiskCacheRegistry, AnEmptyListOfExtensionsIsReportedAndGoesOn)
{
    const Testing::ContractWatch watch;
    const ManagedDirectoryPtr handle =
        mManager.GetOrInitializeManagedDirectory(u"/c", {}, boost::none);

    EXPECT_TRUE(handle);
    ASSERT_EQ(watch.reported.size(), 1u);
    EXPECT_EQ(watch.reported[0].condition, "!inFileExtensionsAllowedToDelete.empty()");
}

TEST_F(DiskCacheRegistry, AVolumeWithoutASizeIsNotMadeAndTheNextTryWorks)
{
    mVolumes.Fail("/c", ETIMEDOUT);
    EXPECT_THROW(Manage(u"/c"), qelcore::filesupport::file_exception);
    EXPECT_TRUE(Inside().LockIsFree());
    EXPECT_TRUE(Inside().Volumes().empty());
    EXPECT_TRUE(Inside().Directories().empty());

    mVolumes.Fail("/c", 0);
    EXPECT_TRUE(Manage(u"/c"));
}

TEST_F(DiskCacheRegistry, TheSizeOfAVolumeIsReadOnce)
{
    const ManagedVolumePtr volume = VolumeOf(u"/c"); // 100 GiB: 10 % are 10 GiB
    mVolumes.Add("/c", "ext4", "/dev/sdb1", {9 * kGiB, 9 * kGiB});

    EXPECT_TRUE(mManager.IsCloseToFull(*volume)); // of 9 GiB, 10 % would be free
}

TEST_F(DiskCacheRegistry, AddedExtensionsJoinTheRecordWithWhatIsThere)
{
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.AddFileExtensionsAllowedToDelete(*handle, {u".tmp", u".rkdc"});

    EXPECT_THAT(Inside().DirectoryRecordOf(u"/c").mFileExtensionsAllowedToDelete,
                ElementsAre(u".rkdc", u".tmp", u".rkdc"));
}

TEST_F(DiskCacheRegistry, AVolumeIsCloseToFullIfAnotherHundredKiBPassItsLimits)
{
    const ManagedVolumePtr volume = VolumeOf(u"/c");
    EXPECT_FALSE(mManager.IsCloseToFull(*volume));

    mManager.SetVolumeMaxUsedBytes(*volume, 1000);
    EXPECT_TRUE(mManager.IsCloseToFull(*volume)); // however much is free
    mManager.SetVolumeMaxUsedBytes(*volume, 102400);
    EXPECT_FALSE(mManager.IsCloseToFull(*volume));

    mManager.SetVolumeFreeSpacePercentage(*volume, 60.0f); // 50 are free
    EXPECT_TRUE(mManager.IsCloseToFull(*volume));
    mManager.SetVolumeFreeSpacePercentage(*volume, boost::none);
    mManager.SetVolumeFreeSpaceBytes(*volume, 51 * kGiB);
    EXPECT_TRUE(mManager.IsCloseToFull(*volume));
}

TEST_F(DiskCacheRegistry, WithoutLimitsAVolumeIsCloseToFullBelowAHundredKiB)
{
    mVolumes.Add("/c", "ext4", "/dev/sdb1", {102400, kGiB});
    mVolumes.Add("/d", "ext4", "/dev/sdc1", {102399, kGiB});
    FreeVolume(u"/c");
    FreeVolume(u"/d");

    EXPECT_FALSE(mManager.IsCloseToFull(*VolumeOf(u"/c")));
    EXPECT_TRUE(mManager.IsCloseToFull(*VolumeOf(u"/d")));
}

TEST_F(DiskCacheRegistry, AVolumeThatDoesNotAnswerIsNotCloseToFull)
{
    const ManagedVolumePtr volume = VolumeOf(u"/c");
    mManager.SetVolumeMaxUsedBytes(*volume, 0);
    mVolumes.Fail("/c", ETIMEDOUT);

    EXPECT_FALSE(mManager.IsCloseToFull(*volume));
}

/// A volume that tries the manager's lock, from a thread of its own, whenever it is asked.
class LookingVolume : public Platform::IVolumeTable
{
public:
    explicit LookingVolume(ManagerProbe inManager)
        : mManager(inManager)
    {
    }
    int Mounts(std::vector<Platform::Mount>&) override { return ENOSYS; }
    int MountOfPath(const std::string&, Platform::Mount&) override { return ENOSYS; }
    int Space(const std::string&, Platform::VolumeSpace& outSpace) override
    {
        std::thread([this] { (mManager.LockIsFree() ? free : held) += 1; }).join();
        outSpace = {kGiB, kGiB};
        return 0;
    }
    int free = 0;
    int held = 0;

private:
    ManagerProbe mManager;
    Platform::ScopedVolumeTable mScope{*this};
};

TEST_F(DiskCacheRegistry, AVolumeIsAskedWithTheLockFree)
{
    LookingVolume looking{Inside()};
    const ManagedDirectoryPtr handle = Manage(u"/c");
    mManager.IsCloseToFull(*VolumeOf(u"/c"));

    EXPECT_EQ(3, looking.free); // two sizes, one of them for nothing, and the free space
    EXPECT_EQ(0, looking.held);
}

TEST_F(DiskCacheRegistry, EveryOperationLocksUnderItsTag)
{
    const ManagedDirectoryPtr d = Manage(u"/c");
    const ManagedVolumePtr v = VolumeOf(u"/c");
    const auto expectTag = [&](const std::string& inTag, const std::function<void()>& inCall)
    { EXPECT_EQ(inTag, Inside().TagOf(inCall)); };
    const auto expect = [&](const std::string& inName, const std::function<void()>& inCall)
    { expectTag("RK::DiskCacheManager::" + inName, inCall); };

    expect("SetVolumeFreeSpaceBytes", [&] { mManager.SetVolumeFreeSpaceBytes(*v, 1); });
    expect("GetVolumeFreeSpaceBytes", [&] { mManager.GetVolumeFreeSpaceBytes(*v); });
    expect("SetVolumeFreeSpacePercentage",
           [&] { mManager.SetVolumeFreeSpacePercentage(*v, 1.0f); });
    expect("GetVolumeFreeSpacePercentage", [&] { mManager.GetVolumeFreeSpacePercentage(*v); });
    expect("SetVolumeMaxUsedBytes", [&] { mManager.SetVolumeMaxUsedBytes(*v, 1); });
    expect("GetVolumeMaxUsedBytes", [&] { mManager.GetVolumeMaxUsedBytes(*v); });
    expect("GetOrInitializeManagedVolume", [&] { VolumeOf(u"/other"); });
    expect("SetDirectoryMaxUsedBytes", [&] { mManager.SetDirectoryMaxUsedBytes(*d, 1); });
    expect("GetDirectoryMaxUsedBytes", [&] { mManager.GetDirectoryMaxUsedBytes(*d); });
    expect("SetDirectoryMaxFileCount", [&] { mManager.SetDirectoryMaxFileCount(*d, 1); });
    expect("GetDirectoryMaxFileCount", [&] { mManager.GetDirectoryMaxFileCount(*d); });
    expect("SetDirectoryPriorityBoost",
           [&] { mManager.SetDirectoryPriorityBoost(*d, boost::none); });
    expect("GetDirectoryPriorityBoost", [&] { mManager.GetDirectoryPriorityBoost(*d); });
    expect("SetDirectoryAutomaticExpiryDuration",
           [&] { mManager.SetDirectoryAutomaticExpiryDuration(*d, boost::none); });
    expect("GetDirectoryAutomaticExpiryDuration",
           [&] { mManager.GetDirectoryAutomaticExpiryDuration(*d); });
    expect("SetDirectoryDeleteEmptySubDirectories",
           [&] { mManager.SetDirectoryDeleteEmptySubDirectories(*d, true); });
    expect("GetDirectoryDeleteEmptySubDirectories",
           [&] { mManager.GetDirectoryDeleteEmptySubDirectories(*d); });
    expect("DisableRepeatDiskSweep", [&] { mManager.DisableRepeatDiskSweep(*d); });
    expect("GetOrInitializeManagedDirectory", [&] { Manage(u"/other"); });
    expect("GetVolumeMaxUsedBytes", [&] { mManager.IsCloseToFull(*v); });
    expect("Cleanup", [&] { Background().Advance(kIntervalMs); });
    expectTag("void RK::DiskCacheManager::(anonymous namespace)::Manager::"
              "AddFileExtensionsAllowedToDelete(const "
              "qelcore::utility::FileUtils::PathSpecifier &, const "
              "qelcore::vector<qelcore::UTF16String> &)",
              [&] { mManager.AddFileExtensionsAllowedToDelete(*d, {u".x"}); });
}

} // namespace
