// What a sweep tells of itself, what it does on demand, and what it refuses to touch.
#include <cerrno>
#include <string>
#include <vector>

#include "DiskCacheFixture.h"
#include "DiskCacheManagerSweep.h"
#include "qelcore/UTCTime.h"

namespace
{

using namespace RK::DiskCacheManager;
using ::testing::ElementsAre;
using Testing::FileOperation;
using ::testing::IsEmpty;
using Testing::kDay;
using Testing::kHour;
using Testing::kMinute;
using Testing::kNow;

class SweepReportTest : public Testing::DiskCacheTest
{
protected:
    SweepReportPtr SweepOnce(bool inDryRun = false)
    {
        SweepOptions options;
        options.dryRun = inDryRun;
        options.nameFiles = true;
        return mManager.SweepNow(options);
    }
    /// Somebody acts after the listing has looked at a file, and ahead of its deletion.
    void AfterListingOf(const std::string& inPath, const std::function<void()>& inAct)
    {
        mFiles.Before(FileOperation::kStat, inPath,
                      [=, this] { mFiles.Before(FileOperation::kOpenFolder, "/c/sub", inAct); });
    }
    static std::vector<std::string> Paths(const DirectorySweepReport& inReport)
    {
        std::vector<std::string> paths;
        for (const SweptFile& file : inReport.files)
            paths.push_back(qelcore::utility::UTF16ToFileName(file.path));
        return paths;
    }
    static std::uint64_t Deleted(const DirectorySweepReport& inReport, SweepRule inRule)
    {
        return inReport.deleted[static_cast<std::size_t>(inRule)].files;
    }

    const ManagedDirectoryPtr mHandle = Manage(u"/c");
};

TEST_F(SweepReportTest, EachDeletionCountsForItsRule)
{
    Put("/c/aged.rkdc", 40 * kDay, 1);
    Put("/c/fourth.rkdc", 4 * kHour, 10);
    Put("/c/third.rkdc", 3 * kHour, 100);
    Put("/c/second.rkdc", 2 * kHour, 1000);
    Put("/c/first.rkdc", 1 * kHour, 10000);
    mManager.SetDirectoryAutomaticExpiryDuration(*mHandle, OptionalDuration(Testing::hours(720)));
    mManager.SetDirectoryMaxFileCount(*mHandle, 3);
    mManager.SetDirectoryMaxUsedBytes(*mHandle, 11000);
    FreeVolume(u"/c");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 10000);
    const SweepReportPtr report = SweepOnce();

    ASSERT_EQ(1u, report->directories.size());
    const DirectorySweepReport& directory = report->directories[0];
    EXPECT_THAT(Paths(directory),
                ElementsAre("/c/aged.rkdc", "/c/fourth.rkdc", "/c/third.rkdc", "/c/second.rkdc"));
    for (const SweepRule rule :
         {SweepRule::kAge, SweepRule::kCount, SweepRule::kBytes, SweepRule::kVolume})
        EXPECT_EQ(1u, Deleted(directory, rule)) << static_cast<int>(rule);
    EXPECT_EQ(5u, directory.found.files);
    EXPECT_EQ(11111u, directory.found.bytes);
    EXPECT_EQ(1u, directory.left.files);
    EXPECT_EQ(10000u, directory.left.bytes);
    EXPECT_EQ(0u, directory.bytesOverLimit);
    ASSERT_EQ(1u, report->volumes.size());
    EXPECT_EQ(11000u, report->volumes[0].usedBytes);
    EXPECT_EQ(10000u, report->volumes[0].allowedBytes);
    EXPECT_EQ(1000u, report->volumes[0].deleted.bytes);
    EXPECT_EQ(0u, report->volumes[0].bytesOverLimit);
    EXPECT_TRUE(report->complete);
}

TEST_F(SweepReportTest, WhatTheGracePeriodSparesIsToldWithWhatStaysAboveItsLimit)
{
    Put("/c/old.rkdc", kHour, 100);
    Put("/c/a.rkdc", 3 * kMinute, 100);
    Put("/c/b.rkdc", 2 * kMinute, 100);
    Put("/c/c.rkdc", 1 * kMinute, 100);
    mManager.SetDirectoryMaxFileCount(*mHandle, 2);
    mManager.SetDirectoryMaxUsedBytes(*mHandle, 50);
    FreeVolume(u"/c");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 200);
    const SweepReportPtr report = SweepOnce();

    const DirectorySweepReport& directory = report->directories.at(0);
    EXPECT_EQ(3u, directory.spared.files); // all three are too much by bytes, one by count
    EXPECT_EQ(300u, directory.spared.bytes);
    EXPECT_EQ(1u, directory.filesOverLimit);
    EXPECT_EQ(250u, directory.bytesOverLimit);
    EXPECT_EQ(1u, report->volumes.at(0).spared.files);
    EXPECT_EQ(100u, report->volumes.at(0).bytesOverLimit);
}

TEST_F(SweepReportTest, RefusalsAreCountedAllAndNamedInPart)
{
    for (int i = 10; i < 30; ++i)
    {
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour);
        mFiles.Fail(FileOperation::kRemoveFile, "/c/" + std::to_string(i) + ".rkdc",
                    i < 12 ? EROFS : EACCES);
    }
    mManager.SetDirectoryMaxFileCount(*mHandle, 0);
    const SweepReportPtr report = SweepOnce();

    const SweepRefusals& refused = report->directories.at(0).refused;
    EXPECT_EQ(20u, refused.count);
    EXPECT_EQ(18u, refused.countByError.at(EACCES));
    EXPECT_EQ(2u, refused.countByError.at(EROFS));
    ASSERT_EQ(8u, refused.first.size());
    EXPECT_EQ(u"/c/29.rkdc", refused.first[0].path);
    EXPECT_EQ(SweepStep::kDeleteFile, refused.first[0].step);
    EXPECT_EQ("Permission denied", refused.first[0].reason);
    EXPECT_EQ(20u, report->directories[0].left.files);
    EXPECT_EQ(20u, report->directories[0].filesOverLimit);
}

TEST_F(SweepReportTest, WhatCannotBeReadIsTold)
{
    Put("/c/a.rkdc", kHour);
    Put("/c/b.rkdc", kHour);
    Put("/c/closed/c.rkdc", kHour);
    mFiles.Fail(FileOperation::kStat, "/c/a.rkdc", EIO);
    mFiles.Fail(FileOperation::kOpenFolder, "/c/closed", EACCES);
    const ManagedDirectoryPtr unreadable = Manage(u"/u");
    mFiles.Fail(FileOperation::kOpenFolder, "/u", EACCES);
    const SweepReportPtr report = SweepOnce();

    const DirectorySweepReport& directory = report->directories.at(0);
    EXPECT_EQ(SweepOutcome::kDone, directory.outcome);
    EXPECT_EQ(1u, directory.found.files);
    EXPECT_EQ(1u, directory.refused.countByError.at(EIO));
    EXPECT_EQ(1u, directory.refused.countByError.at(EACCES));
    EXPECT_EQ(SweepOutcome::kUnreadable, report->directories.at(1).outcome);
    EXPECT_EQ(u"/u", report->directories[1].refused.first.at(0).path);
}

TEST_F(SweepReportTest, AListingThatFailsInTheMiddleCountsWhatItHas)
{
    Put("/c/sub/a.rkdc", kHour);
    Put("/c/b.rkdc", kHour);
    mFiles.Fail(FileOperation::kNext, "/c/sub", EIO);
    mManager.SetDirectoryMaxFileCount(*mHandle, 0);
    const SweepReportPtr report = SweepOnce();

    EXPECT_THAT(Paths(report->directories.at(0)), ElementsAre("/c/b.rkdc"));
    EXPECT_EQ(SweepStep::kListFolder, report->directories[0].refused.first.at(0).step);
    EXPECT_TRUE(mFiles.Has("/c/sub/a.rkdc"));
}

TEST_F(SweepReportTest, AVolumeWithoutAnswerIsToldOf)
{
    const ManagedDirectoryPtr other = Manage(u"/d");
    Put("/d/a.rkdc", kHour);
    mFiles.AddFile("/c/a.rkdc");
    mVolumes.Fail("/c", ETIMEDOUT);
    mVolumes.Fail("/d", EIO);
    const SweepReportPtr report = SweepOnce();

    EXPECT_EQ(SweepOutcome::kNoAnswer, report->directories.at(0).outcome);
    EXPECT_EQ(SweepOutcome::kDone, report->directories.at(1).outcome);
    EXPECT_EQ(u"/d", report->volumes.at(0).path);
    EXPECT_EQ(SweepOutcome::kNoAnswer, report->volumes[0].outcome);
    EXPECT_EQ(EIO, report->volumes[0].errorNumber);
}

TEST_F(SweepReportTest, WhatTheVolumePhaseMayNotDeleteIsRefusedWithoutAnError)
{
    Put("/c/a.rkdc", kHour);
    VolumeRecords volumes = Inside().Volumes();
    volumes.at(u"/c").mFreeSpacePercentage = boost::none;
    volumes.at(u"/c").mMaxUsedBytes = 0;
    const DirectoryRecords directories = Inside().Directories();
    SweepSettings settings;
    settings.extensions = Extensions{u".other"};
    settings.now = qelcore::utility::ToUTCTime(kNow);
    const SweepReportPtr report =
        Sweep(volumes, directories, settings, std::make_shared<qelcore::threads::AtomicInt>(0))
            .Run();

    EXPECT_EQ(1u, report->directories.at(0).refused.countByError.at(0));
    EXPECT_EQ("its extension is not claimed", report->directories[0].refused.first.at(0).reason);
    EXPECT_TRUE(mFiles.Has("/c/a.rkdc"));
}

TEST_F(SweepReportTest, ADryRunNamesWhatTheSweepThenDeletes)
{
    for (int i = 1; i < 9; ++i)
        Put("/c/" + std::to_string(i) + ".rkdc", i * kHour, 100);
    mFiles.AddDirectory("/c/empty/inner");
    mFiles.AddFile("/c/foreign/a.txt");
    mManager.SetDirectoryMaxFileCount(*mHandle, 5);
    mManager.SetDirectoryDeleteEmptySubDirectories(*mHandle, true);
    FreeVolume(u"/c");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 200);

    const SweepReportPtr dry = SweepOnce(true);
    EXPECT_THAT(mFiles.Done(), IsEmpty());
    EXPECT_TRUE(dry->dryRun);
    EXPECT_FALSE(mManager.GetLastSweepReport());
    const SweepReportPtr real = SweepOnce();
    EXPECT_THAT(Paths(dry->directories.at(0)), ElementsAre("/c/8.rkdc", "/c/7.rkdc", "/c/6.rkdc",
                                                           "/c/5.rkdc", "/c/4.rkdc", "/c/3.rkdc"));
    EXPECT_EQ(Paths(dry->directories.at(0)), Paths(real->directories.at(0)));
    EXPECT_EQ(std::vector<Path>{u"/c/empty"}, dry->directories[0].folders);
    EXPECT_EQ(dry->directories[0].folders, real->directories[0].folders);
    EXPECT_EQ(dry->directories[0].left.bytes, real->directories[0].left.bytes);
    EXPECT_EQ(1u, dry->directories[0].refused.countByError.at(ENOTEMPTY));
    EXPECT_EQ(mManager.GetLastSweepReport(), real);
}

TEST_F(SweepReportTest, ASweepOnDemandTakesBothKindsOfFoldersAndTellsItsEnd)
{
    const ManagedDirectoryPtr single = Manage(u"/s");
    mManager.DisableRepeatDiskSweep(*single);
    for (const ManagedDirectoryPtr& handle : {mHandle, single})
        mManager.SetDirectoryMaxFileCount(*handle, 0);
    Put("/c/a.rkdc", kHour);
    Put("/s/a.rkdc", kHour);
    const SweepReportPtr report = SweepOnce();
    HearMessages();

    EXPECT_THAT(Left("/c"), IsEmpty());
    EXPECT_THAT(Left("/s"), IsEmpty());
    EXPECT_EQ(SweepReport::Kind::kOnDemand, report->kind);
    EXPECT_EQ(1u, mSweeps);
    EXPECT_EQ(2u, PassInterval()); // those that were asked for come all the same
    EXPECT_NE(mManager.GetLastSweepReport(), report);
}

TEST_F(SweepReportTest, AfterTheStopThereIsNoSweepAndTheLastReportStays)
{
    const SweepReportPtr report = SweepOnce();
    mManager.Shutdown();

    EXPECT_FALSE(SweepOnce());
    EXPECT_EQ(report, mManager.GetLastSweepReport());
}

TEST_F(SweepReportTest, AReportSaysThatTheStopCutItShort)
{
    const ManagedDirectoryPtr next = Manage(u"/d");
    Put("/c/sub/a.rkdc", kHour);
    AfterListingOf("/c/sub/a.rkdc", [&] { mManager.Shutdown(); });
    mManager.SetDirectoryMaxFileCount(*mHandle, 0);
    PassInterval();
    const SweepReportPtr report = mManager.GetLastSweepReport();

    EXPECT_FALSE(report->complete);
    EXPECT_EQ(1u, report->directories.size());
    EXPECT_EQ(SweepOutcome::kStopped, report->directories.at(0).outcome);
}

TEST_F(SweepReportTest, AReportWithoutNamesHoldsNone)
{
    Put("/c/a.rkdc", kHour);
    mManager.SetDirectoryMaxFileCount(*mHandle, 0);
    PassInterval();
    const SweepReportPtr report = mManager.GetLastSweepReport();

    EXPECT_EQ(1u, Deleted(report->directories.at(0), SweepRule::kCount));
    EXPECT_THAT(report->directories[0].files, IsEmpty());
}

// Between the listing and the deletion of a file in a folder below.
class SweepMeanwhile : public SweepReportTest
{
protected:
    SweepMeanwhile()
    {
        Put("/c/sub/a.rkdc", kHour, 100);
        Put("/elsewhere/a.rkdc", kHour, 100);
        mManager.SetDirectoryMaxFileCount(*mHandle, 0);
    }
    const DirectorySweepReport& SweptWhile(const std::function<void()>& inAct)
    {
        AfterListingOf("/c/sub/a.rkdc", inAct);
        mReport = SweepOnce();
        EXPECT_TRUE(mFiles.Has("/elsewhere/a.rkdc"));
        return mReport->directories.at(0);
    }
    int OnlyError() const { return mReport->directories.at(0).refused.first.at(0).errorNumber; }

    SweepReportPtr mReport;
};

TEST_F(SweepMeanwhile, AFolderThatBecameALinkIsNotEntered)
{
    const DirectorySweepReport& report = SweptWhile(
        [&]
        {
            mFiles.Vanish("/c/sub");
            mFiles.AddLink("/c/sub", "/elsewhere");
        });
    EXPECT_EQ(0u, Deleted(report, SweepRule::kCount));
    EXPECT_EQ(ENOTDIR, OnlyError());
}

TEST_F(SweepMeanwhile, AnotherFolderInItsPlaceIsNotTouched)
{
    const DirectorySweepReport& report = SweptWhile(
        [&]
        {
            mFiles.Vanish("/c/sub");
            Put("/c/sub/a.rkdc", kHour);
        });
    EXPECT_EQ(0u, Deleted(report, SweepRule::kCount));
    EXPECT_EQ(ESTALE, OnlyError());
    EXPECT_TRUE(mFiles.Has("/c/sub/a.rkdc"));
}

TEST_F(SweepMeanwhile, ALinkInTheFilesPlaceStays)
{
    SweptWhile(
        [&]
        {
            mFiles.Vanish("/c/sub/a.rkdc");
            mFiles.AddLink("/c/sub/a.rkdc", "/elsewhere/a.rkdc");
        });
    EXPECT_EQ(ELOOP, OnlyError());
    EXPECT_TRUE(mFiles.Has("/c/sub/a.rkdc"));
}

TEST_F(SweepMeanwhile, AFileThatWasUsedIsSpared)
{
    const DirectorySweepReport& report = SweptWhile([&] { Put("/c/sub/a.rkdc", 0, 100); });
    EXPECT_TRUE(mFiles.Has("/c/sub/a.rkdc"));
    EXPECT_EQ(1u, report.spared.files);
    EXPECT_EQ(100u, report.left.bytes);
    EXPECT_EQ(0u, report.refused.count);
}

TEST_F(SweepMeanwhile, AFileThatSomebodyElseDeletedIsGoneAndNotDeleted)
{
    const DirectorySweepReport& report = SweptWhile([&] { mFiles.Vanish("/c/sub"); });
    EXPECT_EQ(1u, report.gone.files);
    EXPECT_EQ(0u, Deleted(report, SweepRule::kCount));
    EXPECT_EQ(0u, report.left.files);
    EXPECT_EQ(0u, report.refused.count);
}

TEST_F(SweepMeanwhile, AVolumeMountedBelowIsNotEntered)
{
    mFiles.AddMountPoint("/c/disk");
    Put("/c/disk/a.rkdc", kHour);
    SweptWhile([] {});
    EXPECT_EQ(EXDEV, OnlyError());
    EXPECT_TRUE(mFiles.Has("/c/disk/a.rkdc"));
}

TEST_F(SweepMeanwhile, ATopThatWasExchangedAheadOfTheVolumePhaseIsNotTouched)
{
    mManager.SetDirectoryMaxFileCount(*mHandle, boost::none);
    FreeVolume(u"/c");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/c"), 0);
    // It is opened anew for that phase.
    mFiles.Before(FileOperation::kStat, "/c/sub/a.rkdc",
                  [&]
                  {
                      mFiles.Before(FileOperation::kOpenFolder, "/c",
                                    [&]
                                    {
                                        mFiles.Vanish("/c");
                                        mFiles.AddLink("/c", "/other");
                                        Put("/other/sub/a.rkdc", kHour);
                                    });
                  });
    mReport = SweepOnce();

    EXPECT_EQ(ENOTDIR, OnlyError());
    EXPECT_TRUE(mFiles.Has("/other/sub/a.rkdc"));
}

TEST_F(SweepMeanwhile, ALinkInThePlaceOfTheTopIsNotFollowedByLaterSweepsEither)
{
    mFiles.Vanish("/c");
    mFiles.AddLink("/c", "/elsewhere");
    mReport = SweepOnce();

    EXPECT_EQ(SweepOutcome::kUnreadable, mReport->directories.at(0).outcome);
    EXPECT_TRUE(mFiles.Has("/elsewhere/a.rkdc"));
}

TEST_F(SweepMeanwhile, ALinkThatWasPutUnderManagementLeadsToOneFolderWithinASweep)
{
    mFiles.AddLink("/l", "/elsewhere");
    Put("/third/a.rkdc", kHour);
    const ManagedDirectoryPtr link =
        mManager.GetOrInitializeManagedDirectory(u"/l", {u".rkdc"}, boost::none);
    FreeVolume(u"/l");
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/l"), 0);
    mFiles.Before(FileOperation::kStat, "/elsewhere/a.rkdc",
                  [&]
                  {
                      mFiles.Before(FileOperation::kOpenFolder, "/l",
                                    [&]
                                    {
                                        mFiles.Vanish("/l");
                                        mFiles.AddLink("/l", "/third");
                                    });
                  });
    mReport = SweepOnce();

    EXPECT_EQ(ESTALE, mReport->directories.at(1).refused.first.at(0).errorNumber);
    EXPECT_TRUE(mFiles.Has("/third/a.rkdc"));
    mReport = SweepOnce(); // what it leads to now is the folder
    EXPECT_FALSE(mFiles.Has("/third/a.rkdc"));
    EXPECT_TRUE(mFiles.Has("/elsewhere/a.rkdc"));
}

} // namespace
