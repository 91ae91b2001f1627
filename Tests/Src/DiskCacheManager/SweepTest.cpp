// What a sweep deletes, in which order, and where it ends.
#include <cerrno>
#include <limits>
#include <string>
#include <vector>

#include "DiskCacheFixture.h"
#include "DiskCacheManagerSweep.h"
#include "qelcore/UTCTime.h"

namespace
{

using namespace RK::DiskCacheManager;
using boost::posix_time::time_duration;
using ::testing::ElementsAre;
using Testing::FileOperation;
using Testing::hours;
using ::testing::IsEmpty;
using Testing::kDay;
using Testing::kGiB;
using Testing::kHour;
using Testing::kMinute;
using Testing::kNow;

class SweepTest : public Testing::DiskCacheTest
{
protected:
    void SetExpiry(const time_duration& inDuration)
    {
        mManager.SetDirectoryAutomaticExpiryDuration(*mHandle, inDuration);
    }
    void SetCount(std::uint64_t inCount) { mManager.SetDirectoryMaxFileCount(*mHandle, inCount); }
    void SetBytes(std::uint64_t inBytes) { mManager.SetDirectoryMaxUsedBytes(*mHandle, inBytes); }
    /// The volume may hold that much, and no other limit of it holds.
    void SetVolumeBytes(std::uint64_t inBytes)
    {
        FreeVolume(u"/c");
        mManager.SetVolumeMaxUsedBytes(*Inside().VolumeRecordOf(u"/c").mVolume, inBytes);
    }
    std::vector<std::string> LeftAfterSweep()
    {
        EXPECT_EQ(1u, PassInterval());
        return Left("/c");
    }

    const ManagedDirectoryPtr mHandle = Manage(u"/c");
};

TEST_F(SweepTest, WhatWasUsedWithinFifteenMinutesStaysWhateverTheLimits)
{
    Put("/c/a.rkdc", 14 * kMinute);
    Put("/c/b.rkdc", 15 * kMinute);
    Put("/c/c.rkdc", 15 * kMinute + 1);
    SetExpiry(hours(0));
    SetCount(0);
    SetBytes(0);
    SetVolumeBytes(0);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "b.rkdc"));
}

TEST_F(SweepTest, TheLaterOfAccessAndModificationCounts)
{
    mFiles.AddSizedFile("/c/a.rkdc", 1, {kNow - 60, 0}, {kNow - kDay, 0});
    mFiles.AddSizedFile("/c/b.rkdc", 1, {kNow - kDay, 0}, {kNow - 60, 0});
    mFiles.AddSizedFile("/c/c.rkdc", 1, {kNow - kDay, 0}, {kNow - kDay, 0});
    SetBytes(0);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "b.rkdc"));
}

TEST_F(SweepTest, ExpiryCountsFromTheEndOfTheGracePeriod)
{
    Put("/c/a.rkdc", kHour + 10 * kMinute);
    Put("/c/b.rkdc", kHour + 15 * kMinute);
    Put("/c/c.rkdc", kHour + 16 * kMinute);
    SetExpiry(hours(1));

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "b.rkdc"));
}

TEST_F(SweepTest, NoDurationOfExpiryReachesIntoTheGracePeriod)
{
    for (const time_duration& duration :
         {time_duration(hours(-5)), time_duration(boost::posix_time::neg_infin),
          time_duration(boost::posix_time::not_a_date_time),
          time_duration(0, 0, 0, -(std::numeric_limits<std::int64_t>::max)() + 2)})
    {
        Put("/c/new.rkdc", 14 * kMinute);
        Put("/c/old.rkdc", 16 * kMinute);
        SetExpiry(duration);
        EXPECT_THAT(LeftAfterSweep(), ElementsAre("new.rkdc")) << duration.is_special();
    }
}

TEST_F(SweepTest, AnEndlessExpiryDeletesNothing)
{
    Put("/c/a.rkdc", 3000 * kDay);
    SetExpiry(boost::posix_time::pos_infin);
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));

    SetExpiry(time_duration(0, 0, 0, (std::numeric_limits<std::int64_t>::max)() - 3));
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));
}

TEST_F(SweepTest, OfFiveOldFilesTheThreeOldestGoWhereTwoMayBe)
{
    for (int i = 1; i <= 5; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour);
    SetCount(2);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc"));
    EXPECT_THAT(mFiles.Done(),
                ElementsAre("unlink /c/5.rkdc", "unlink /c/4.rkdc", "unlink /c/3.rkdc"));
}

TEST_F(SweepTest, TheCountStaysAboveItsLimitForFilesInTheirGracePeriod)
{
    for (int i = 1; i <= 3; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kMinute);
    Put("/c/4.rkdc", 4 * kHour);
    Put("/c/5.rkdc", 5 * kHour);
    SetCount(2);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc", "3.rkdc"));
}

TEST_F(SweepTest, TheOldestGoUntilTheBytesFit)
{
    for (int i = 1; i <= 5; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, 100);
    SetBytes(250);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc"));
}

TEST_F(SweepTest, ALimitThatIsJustMetDeletesNothing)
{
    for (int i = 1; i <= 3; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, 100);
    SetBytes(300);
    SetCount(3);

    LeftAfterSweep();
    EXPECT_THAT(mFiles.Done(), IsEmpty());
}

TEST_F(SweepTest, AFileThatCannotBeDeletedStaysUsedAndDoesNotKeepTheNextOnes)
{
    for (int i = 1; i <= 5; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, 100);
    mFiles.Fail(FileOperation::kRemoveFile, "/c/5.rkdc", EACCES);
    SetBytes(300);

    // Without the refusal 5 and 4 would go.
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc", "5.rkdc"));
}

TEST_F(SweepTest, ForTheCountAFileThatCannotBeDeletedHasGone)
{
    for (int i = 1; i <= 4; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour);
    mFiles.Fail(FileOperation::kRemoveFile, "/c/4.rkdc", EACCES);
    SetCount(2);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc", "4.rkdc"));
}

TEST_F(SweepTest, AFileThatVanishedSinceTheListingCountsAsDeleted)
{
    for (int i = 1; i <= 3; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, 100);
    mFiles.Before(FileOperation::kRemoveFile, "/c/3.rkdc", [&] { mFiles.Vanish("/c/2.rkdc"); });
    SetBytes(100);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc"));
}

TEST_F(SweepTest, AgeComesBeforeCountAndCountBeforeBytes)
{
    Put("/c/1.rkdc", 1 * kHour, 10);
    Put("/c/2.rkdc", 2 * kHour, 10);
    Put("/c/3.rkdc", 3 * kHour, 1000);
    Put("/c/4.rkdc", 9 * kHour, 1000);
    SetExpiry(hours(5)); // takes 4
    SetCount(2);         // takes 3, and with it all that is too much
    SetBytes(20);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc"));
}

TEST_F(SweepTest, ForeignFilesAreNeitherCountedNorDeleted)
{
    Put("/c/a.rkdc", kHour, 100);
    Put("/c/b.mov", kDay, 100000);
    SetBytes(100);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "b.mov"));
}

TEST_F(SweepTest, AnExtensionThatWasAddedIsDeletedInTheFolderFromTheNextSweep)
{
    Put("/c/a.tmp", kHour);
    SetBytes(0);
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.tmp"));

    mManager.AddFileExtensionsAllowedToDelete(*mHandle, {u".tmp"});
    EXPECT_THAT(LeftAfterSweep(), IsEmpty());
}

TEST_F(SweepTest, TheVolumePhaseDeletesOnlyWhatItsSweepWasAllowed)
{
    mManager.AddFileExtensionsAllowedToDelete(*mHandle, {u".tmp"});
    Put("/c/a.rkdc", 1 * kHour, 100);
    Put("/c/b.rkdc", 2 * kHour, 100);
    Put("/c/c.tmp", 3 * kHour, 100);
    SetVolumeBytes(200); // by the volume's list, which has .rkdc alone

    // The oldest stays, its bytes stay used, and the next one goes in its stead.
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "c.tmp"));
}

TEST_F(SweepTest, AVolumeWhoseLimitsAreMetIsTrimmedToItsFreeSpace)
{
    mVolumes.Add("/c", "ext4", "/dev/sdb1", {4 * kGiB, 100 * kGiB});
    FreeVolume(u"/c");
    for (int i = 1; i <= 9; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, kGiB);
    Put("/c/new.rkdc", kMinute, kGiB);
    mManager.SetDirectoryMaxFileCount(*mHandle, 1000);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("1.rkdc", "2.rkdc", "3.rkdc", "new.rkdc"));
}

TEST_F(SweepTest, TheDefaultShareOfTheVolumeIsKeptFree)
{
    mVolumes.Add("/d", "ext4", "/dev/sdb1", {8 * kGiB, 100 * kGiB});
    const ManagedDirectoryPtr handle = Manage(u"/d");
    for (int i = 1; i <= 5; ++i)
        Put("/d/" + std::to_string(i) + ".rkdc", i * kHour, kGiB);
    mManager.SetDirectoryMaxFileCount(*handle, 1000);
    PassInterval();

    EXPECT_THAT(Left("/d"), ElementsAre("1.rkdc", "2.rkdc", "3.rkdc")); // two of ten were missing
}

TEST_F(SweepTest, WithoutAnAnswerAboutFreeSpaceTheFoldersOwnLimitsHold)
{
    Put("/c/a.rkdc", 1 * kHour, 100);
    Put("/c/b.rkdc", 2 * kHour, 100);
    SetVolumeBytes(0);
    SetCount(1);
    mVolumes.Fail("/c", EIO);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));
}

TEST_F(SweepTest, AVolumeThatDoesNotAnswerIsPassedOverAndTheRestIsSwept)
{
    const ManagedDirectoryPtr rest = Manage(u"/d");
    Put("/c/a.rkdc", kHour);
    Put("/d/a.rkdc", kHour);
    SetCount(0);
    mManager.SetDirectoryMaxFileCount(*rest, 0);
    mVolumes.Fail("/c", ETIMEDOUT);
    bool listed = false;
    mFiles.Before(FileOperation::kOpenFolder, "/c", [&] { listed = true; });

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));
    EXPECT_FALSE(listed); // that would not come back on a real one
    EXPECT_THAT(Left("/d"), IsEmpty());
}

TEST_F(SweepTest, AnUnreadableFolderCountsAsEmptyAndTheRestIsSwept)
{
    const ManagedDirectoryPtr rest = Manage(u"/d");
    Put("/c/a.rkdc", kHour);
    Put("/d/a.rkdc", kHour);
    SetCount(0);
    mManager.SetDirectoryMaxFileCount(*rest, 0);
    mFiles.Fail(FileOperation::kOpenFolder, "/c", EACCES);

    EXPECT_EQ(1u, PassInterval());
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
    EXPECT_FALSE(mFiles.Has("/d/a.rkdc"));
}

TEST_F(SweepTest, ABoostedFileIsYoungerForTheVolumeAlone)
{
    mManager.SetDirectoryPriorityBoost(*mHandle, OptionalDuration(hours(24)));
    Put("/c/a.rkdc", 12 * kHour, 100); // boosted into the future
    Put("/c/b.rkdc", 2 * kDay, 100);
    SetVolumeBytes(0);
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));

    SetBytes(0);
    EXPECT_THAT(LeftAfterSweep(), IsEmpty());
}

TEST_F(SweepTest, ABoostToTheCutoffSparesTheFileAndAllNewerOnes)
{
    mManager.SetDirectoryPriorityBoost(*mHandle, OptionalDuration(hours(1)));
    Put("/c/a.rkdc", 20 * kMinute);
    Put("/c/b.rkdc", kHour + 15 * kMinute); // just at the cutoff
    Put("/c/c.rkdc", kHour + 15 * kMinute + 1);
    SetVolumeBytes(0);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc", "b.rkdc"));
}

TEST_F(SweepTest, ABoostBackInTimeTakesNothingOutOfItsGracePeriod)
{
    Put("/c/a.rkdc", 5 * kMinute);
    Put("/c/b.rkdc", 20 * kMinute);
    mManager.SetDirectoryPriorityBoost(*mHandle, OptionalDuration(hours(-24)));
    SetVolumeBytes(0);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));
}

TEST_F(SweepTest, AnEndlessBoostSparesEverything)
{
    Put("/c/a.rkdc", 3000 * kDay);
    SetVolumeBytes(0);
    for (const time_duration& boost :
         {time_duration(boost::posix_time::pos_infin),
          time_duration(boost::posix_time::not_a_date_time),
          time_duration(0, 0, 0, (std::numeric_limits<std::int64_t>::max)() - 3)})
    {
        mManager.SetDirectoryPriorityBoost(*mHandle, OptionalDuration(boost));
        EXPECT_THAT(LeftAfterSweep(), ElementsAre("a.rkdc"));
    }
}

TEST_F(SweepTest, FoldersOfOneVolumeCompeteByBoostedTime)
{
    const ManagedDirectoryPtr second = Manage(u"/d");
    Put("/c/boosted.rkdc", kDay + 12 * kHour, 100);
    Put("/d/plain.rkdc", kDay, 100);
    VolumeRecords volumes = Inside().Volumes();
    DirectoryRecords directories = Inside().Directories();
    volumes.at(u"/c").mFreeSpacePercentage = boost::none;
    volumes.at(u"/c").mMaxUsedBytes = 100;
    directories.at(u"/c").mPriorityBoost = hours(24);
    directories.at(u"/d").mVolumePath = directories.at(u"/c").mVolumePath;
    SweepSettings settings;
    settings.extensions = Extensions{u".rkdc"};
    settings.now = qelcore::utility::ToUTCTime(kNow);

    Sweep(volumes, directories, settings, std::make_shared<qelcore::threads::AtomicInt>(0)).Run();
    EXPECT_THAT(Left("/c"), ElementsAre("boosted.rkdc"));
    EXPECT_THAT(Left("/d"), IsEmpty());
}

TEST_F(SweepTest, AFolderManagedByItselfIsNoPartOfTheOneAboveIt)
{
    const ManagedDirectoryPtr nested = Manage(u"/c/own");
    mManager.DisableRepeatDiskSweep(*nested); // excluded also where this sweep passes over it
    Put("/c/a.rkdc", kHour, 100);
    Put("/c/own/b.rkdc", kDay, 100000);
    Put("/c/sub/c.rkdc", 2 * kHour, 100);
    SetBytes(150);

    EXPECT_EQ(2u, PassInterval()); // one of each kind
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
    EXPECT_FALSE(mFiles.Has("/c/sub/c.rkdc"));
    EXPECT_TRUE(mFiles.Has("/c/own/b.rkdc"));
}

TEST_F(SweepTest, AFolderIsManagedByItselfWithASlashAtItsEndToo)
{
    const ManagedDirectoryPtr nested =
        mManager.GetOrInitializeManagedDirectory(u"/c/own/", {u".rkdc"}, boost::none);
    Put("/c/own/b.rkdc", kDay);
    SetBytes(0);

    EXPECT_EQ(1u, PassInterval());
    EXPECT_TRUE(mFiles.Has("/c/own/b.rkdc"));
}

TEST_F(SweepTest, EmptyFoldersGoIfAskedForAndThoseWithForeignFilesStay)
{
    mFiles.AddDirectory("/c/empty/inner");
    mFiles.AddFile("/c/foreign/file.txt");
    mFiles.AddFile("/c/hidden/.file.rkdc");
    SetCount(100);
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("empty", "foreign", "hidden"));

    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);
    EXPECT_THAT(LeftAfterSweep(), ElementsAre("foreign", "hidden"));
    EXPECT_TRUE(mFiles.Has("/c/hidden/.file.rkdc"));
}

TEST_F(SweepTest, EmptyFoldersGoTheNewestFirstWhateverTheirAge)
{
    for (const char* folder : {"/c/1", "/c/2", "/c/3"})
        mFiles.AddDirectory(folder);
    mFiles.SetModified("/c/1", {kNow - 20, 0});
    mFiles.SetModified("/c/2", {kNow, 0});
    mFiles.SetModified("/c/3", {kNow - 10, 0});
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);
    LeftAfterSweep();

    EXPECT_THAT(mFiles.Done(), ElementsAre("rmdir /c/2", "rmdir /c/3", "rmdir /c/1"));
}

TEST_F(SweepTest, AFolderThatASweepHasEmptiedGoesInTheNext)
{
    Put("/c/sub/a.rkdc", kHour);
    SetCount(0);
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("sub"));
    EXPECT_THAT(LeftAfterSweep(), IsEmpty());
}

TEST_F(SweepTest, AnEmptyFolderThatCannotGoDoesNotKeepTheOthers)
{
    for (const char* folder : {"/c/1", "/c/2", "/c/3"})
        mFiles.AddDirectory(folder);
    mFiles.Fail(FileOperation::kRemoveDirectory, "/c/2", EACCES);
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("2"));
}

TEST_F(SweepTest, FilesOfWildTimesAreTheOldestAndTheNewest)
{
    const std::int64_t wild = std::int64_t{1} << 60;
    mFiles.AddSizedFile("/c/future.rkdc", 100, {wild, 0}, {wild, 0});
    mFiles.AddSizedFile("/c/past.rkdc", 100, {-wild, 0}, {-wild, 0});
    Put("/c/plain.rkdc", kHour, 100);
    SetBytes(200);

    EXPECT_THAT(LeftAfterSweep(), ElementsAre("future.rkdc", "plain.rkdc"));
}

TEST_F(SweepTest, AClockBeyondTheCalendarDeletesNothingAndTheNextSweepComes)
{
    Put("/c/a.rkdc", kHour);
    SetCount(0);
    mFiles.SetNow({std::int64_t{1} << 60, 0});
    EXPECT_EQ(0u, PassInterval()); // what the sweep raised has ended in the executor
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));

    mFiles.SetNow({kNow, 0});
    EXPECT_THAT(LeftAfterSweep(), IsEmpty());
}

TEST_F(SweepTest, TheStopEndsASweepBeforeTheNextDeletionAndTellsNothing)
{
    for (int i = 1; i <= 3; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour);
    SetCount(0);
    SetVolumeBytes(0);
    mFiles.Before(FileOperation::kRemoveFile, "/c/2.rkdc", [&] { mManager.Shutdown(); });

    EXPECT_EQ(0u, PassInterval());
    EXPECT_THAT(Left("/c"), ElementsAre("1.rkdc"));
}

TEST_F(SweepTest, TheStopEndsAListingAndDeletesNothingOfIt)
{
    const ManagedDirectoryPtr next = Manage(u"/d");
    Put("/c/a.rkdc", kHour);
    Put("/c/b.rkdc", kHour);
    Put("/d/c.rkdc", kHour);
    mFiles.AddDirectory("/c/empty");
    SetCount(0);
    mManager.SetDirectoryMaxFileCount(*next, 0);
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);
    mFiles.Before(FileOperation::kStat, "/c/a.rkdc", [&] { mManager.Shutdown(); });

    EXPECT_EQ(0u, PassInterval());
    EXPECT_THAT(mFiles.Done(), IsEmpty());
}

TEST_F(SweepTest, TheStopEndsTheRemovalOfFolders)
{
    for (const char* folder : {"/c/1", "/c/2", "/c/3"})
        mFiles.AddDirectory(folder);
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);
    mFiles.Before(FileOperation::kRemoveDirectory, "/c/2", [&] { mManager.Shutdown(); });
    PassInterval();

    EXPECT_GE(Left("/c").size(), 1u);
    EXPECT_FALSE(mFiles.Has("/c/2")); // the one that was under way
}

TEST_F(SweepTest, ASweepWithNothingToDoStillTellsItsEnd)
{
    SetCount(1);
    EXPECT_EQ(1u, PassInterval());
}

TEST(CleanComplete, IsIdentifiedByItsTypesName)
{
    EXPECT_STREQ("N2RK16DiskCacheManager20CleanCompleteMessageE",
                 typeid(CleanCompleteMessage).name());
    EXPECT_EQ(ZOR::HashMessageTypeNameToMessageID("N2RK16DiskCacheManager20CleanCompleteMessageE"),
              CleanCompleteMessage(true).GetMessageID());
    const boost::shared_ptr<ZOR::Message> copy = CleanCompleteMessage(true).Clone();
    EXPECT_TRUE(static_cast<const CleanCompleteMessage&>(*copy).IsRepeating());
}

} // namespace
