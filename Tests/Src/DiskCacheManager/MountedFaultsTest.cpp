// Sweeps over volumes that fail, fill up, turn read-only or fall silent. Those whose manager must not be this
// process's come first, in child processes.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include "RiverKit/RKDiskCacheManager.h"
#include "RiverKit/RKDiskCacheSweepReport.h"
#include "RiverKit/RKInitializer.h"
#include "Support/FaultyMount.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DiskCacheManager;
using qelcore::debug::DebugDatabase;
using qelcore::utility::FileNameToUTF16;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

const auto* const sMounts = Testing::UsePrivateMounts();

using Extensions = std::vector<qelcore::UTF16String>;

constexpr std::int64_t kHour = 3600;
constexpr char kSilenceLimit[] = "RKDiskCacheManager.VolumeSilenceLimit";

void Put(const std::string& inPath, std::int64_t inAgeSeconds, std::size_t inBytes = 100)
{
    std::filesystem::create_directories(std::filesystem::path(inPath).parent_path());
    std::ofstream(inPath, std::ios::binary) << std::string(inBytes, 'x');
    const timespec time = {::time(nullptr) - inAgeSeconds, 0};
    const timespec times[2] = {time, time};
    ASSERT_EQ(0, utimensat(AT_FDCWD, inPath.c_str(), times, 0));
}

std::vector<std::string> Left(const std::string& inFolder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(inFolder))
        names.push_back(entry.path().filename().string());
    return names;
}

/// Without any limit but those that a test sets.
ManagedDirectoryPtr Manage(const std::string& inPath)
{
    const Extensions extensions = {u".rkdc"};
    ManagedVolume::Create(FileNameToUTF16(inPath), extensions)->SetFreeSpacePercentage(boost::none);
    return ManagedDirectory::Create(FileNameToUTF16(inPath), extensions, boost::none);
}

const DirectorySweepReport& ReportOf(const SweepReportPtr& inReport, const std::string& inPath)
{
    for (const DirectorySweepReport& directory : inReport->directories)
    {
        if (directory.path == FileNameToUTF16(inPath))
            return directory;
    }
    throw std::runtime_error("no such folder in the report");
}

// The manager of the process, over one folder that fails and one that does not.
class MountedFaultsOfSweeps : public ::testing::Test
{
protected:
    void SetUp() override
    {
        RK_NEEDS_FAULTY_MOUNT();
        mMount = std::make_unique<Testing::FaultyMount>();
        for (const char* name : {"a", "b", "c"})
            Put(mMount->Behind(std::string(name) + ".rkdc"), kHour);
        Put(mOther.Path("o.rkdc"), kHour);
    }
    ~MountedFaultsOfSweeps() override { DebugDatabase::Instance().RemoveEntry(kSilenceLimit); }

    /// Both folders are to become empty.
    void ManageBoth()
    {
        for (const std::string& path : {mMount->Path(), mOther.Path()})
        {
            mHandles.push_back(Manage(path));
            mHandles.back()->SetMaxFileCount(std::uint64_t{0});
        }
    }
    DirectorySweepReport Sweep()
    {
        const SweepReportPtr report = SweepNow();
        return ReportOf(report, mMount->Path());
    }
    void SetSilenceLimit(const char* inMilliseconds)
    {
        DebugDatabase::Instance().SetEntry(kSilenceLimit, inMilliseconds);
    }
    /// Whether sweeps come to an end in the folder that fails, after a while.
    bool IsSweptAgain()
    {
        const auto end = Clock::now() + seconds(20);
        while (Clock::now() < end)
        {
            if (Sweep().outcome == SweepOutcome::kDone)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    std::unique_ptr<Testing::FaultyMount> mMount;
    Testing::TemporaryFolder mOther;
    std::vector<ManagedDirectoryPtr> mHandles;
};

TEST_F(MountedFaultsOfSweeps, TheStopOfTheLibraryWaitsForNoSilentVolume)
{
    // Ahead of the other tests, since a child inherits a manager without its threads.
    const int answer = Testing::RunInChild(
        [&]
        {
            Clock::time_point stop;
            std::thread sweep;
            {
                const RK::Initializer library;
                ManageBoth();
                mMount->Inject({.operation = "readdir", .hangs = true});
                sweep = std::thread([] { SweepNow(); });
                if (!mMount->WaitUntilHanging(1))
                    return 1;
                stop = Clock::now();
            }
            const bool inTime = Clock::now() - stop < seconds(10);
            sweep.join();
            mMount->Clear();
            return inTime ? 0 : 2;
        });
    EXPECT_EQ(0, answer);
    EXPECT_EQ(3u, Left(mMount->Behind()).size());
}

TEST_F(MountedFaultsOfSweeps, AFileThatCannotBeDeletedKeepsNoOther)
{
    for (const int error : {EIO, EACCES, EROFS, EPERM})
    {
        Put(mMount->Behind("a.rkdc"), kHour);
        Put(mMount->Behind("b.rkdc"), 2 * kHour);
        ManageBoth();
        mMount->Inject({.operation = "unlink", .name = "b.rkdc", .error = error});
        const DirectorySweepReport report = Sweep();

        EXPECT_THAT(Left(mMount->Behind()), ElementsAre("b.rkdc"));
        EXPECT_EQ(1u, report.refused.countByError.at(error));
        EXPECT_EQ(FileNameToUTF16(mMount->Path("b.rkdc")), report.refused.first.at(0).path);
        EXPECT_EQ(1u, report.filesOverLimit);
        mMount->Clear();
    }
}

TEST_F(MountedFaultsOfSweeps, AFileThatCannotBeLookedAtStays)
{
    ManageBoth();
    mMount->Inject({.operation = "getattr", .name = "b.rkdc", .error = EIO});
    const DirectorySweepReport report = Sweep();

    EXPECT_THAT(Left(mMount->Behind()), ElementsAre("b.rkdc"));
    EXPECT_EQ(SweepStep::kLookAtEntry, report.refused.first.at(0).step);
    EXPECT_EQ(EIO, report.refused.first[0].errorNumber);
}

TEST_F(MountedFaultsOfSweeps, AFileThatCannotBeLookedAtAgainStays)
{
    ManageBoth();
    // The listing looks up the name, and asks for the attributes.
    mMount->Inject({.operation = "getattr", .name = "b.rkdc", .error = EIO, .after = 2});
    const DirectorySweepReport report = Sweep();

    EXPECT_THAT(Left(mMount->Behind()), ElementsAre("b.rkdc"));
    EXPECT_EQ(SweepStep::kDeleteFile, report.refused.first.at(0).step);
}

TEST_F(MountedFaultsOfSweeps, AListingThatFailsInTheMiddleIsCutShortAndTheRestIsSwept)
{
    Put(mMount->Behind("sub/s.rkdc"), kHour);
    ManageBoth();
    mMount->Inject({.operation = "readdir", .name = "sub", .error = EIO});
    const DirectorySweepReport report = Sweep();

    EXPECT_THAT(Left(mMount->Behind()), ElementsAre("sub"));
    EXPECT_THAT(Left(mMount->Behind("sub")), ElementsAre("s.rkdc"));
    EXPECT_EQ(SweepStep::kListFolder, report.refused.first.at(0).step);
    EXPECT_EQ(SweepOutcome::kDone, report.outcome);
    EXPECT_THAT(Left(mOther.Path()), IsEmpty());
}

TEST_F(MountedFaultsOfSweeps, AFolderThatCannotBeOpenedCountsAsEmptyAndStays)
{
    Put(mMount->Behind("sub/s.rkdc"), kHour);
    ManageBoth();
    mHandles[0]->SetDeleteEmptySubDirectories(true);
    mMount->Inject({.operation = "opendir", .name = "sub", .error = EACCES});
    const DirectorySweepReport report = Sweep();

    EXPECT_THAT(Left(mMount->Behind("sub")), ElementsAre("s.rkdc"));
    EXPECT_EQ(2u, report.refused.countByError.at(EACCES)); // not listed, and not removed
}

TEST_F(MountedFaultsOfSweeps, AFolderThatIsRemovedInMidListingEndsItsListing)
{
    for (int i = 0; i < 20; ++i)
        Put(mMount->Behind("sub/" + std::to_string(i) + ".rkdc"), kHour);
    ManageBoth();
    mMount->Inject({.operation = "readdir", .name = "sub", .most = 5, .times = 1});
    mMount->Inject({.operation = "readdir", .name = "sub", .hangs = true, .times = 1});
    SweepReportPtr report;
    std::thread sweep([&] { report = SweepNow(); });
    EXPECT_TRUE(mMount->WaitUntilHanging(1));
    std::filesystem::remove_all(mMount->Behind("sub"));
    mMount->Clear();
    sweep.join();

    const DirectorySweepReport& swept = ReportOf(report, mMount->Path());
    EXPECT_EQ(SweepOutcome::kDone, swept.outcome);
    EXPECT_EQ(3u, swept.deleted[static_cast<std::size_t>(SweepRule::kCount)].files);
    EXPECT_EQ(0u, swept.left.files);
    EXPECT_THAT(Left(mMount->Behind()), IsEmpty());
}

TEST_F(MountedFaultsOfSweeps, WithoutAnAnswerAboutFreeSpaceTheFoldersOwnLimitsHold)
{
    ManageBoth();
    mHandles[0]->SetMaxFileCount(std::uint64_t{1});
    ManagedVolume::Create(FileNameToUTF16(mMount->Path()), {})->SetMaxUsedBytes(std::uint64_t{0});
    mMount->Inject({.operation = "statfs", .error = EIO});
    const SweepReportPtr report = SweepNow();

    EXPECT_EQ(1u, Left(mMount->Behind()).size());
    std::size_t failed = 0;
    for (const VolumeSweepReport& volume : report->volumes)
        failed += volume.errorNumber == EIO ? 1 : 0;
    EXPECT_EQ(1u, failed);
    mMount->Clear();
    ManagedVolume::Create(FileNameToUTF16(mMount->Path()), {})->SetMaxUsedBytes(boost::none);
}

TEST_F(MountedFaultsOfSweeps, AVolumeThatFallsSilentInTheListingIsLeftBehind)
{
    SetSilenceLimit("300");
    ManageBoth();
    mMount->Inject({.operation = "readdir", .hangs = true});
    EXPECT_EQ(SweepOutcome::kNoAnswer, Sweep().outcome);
    EXPECT_THAT(Left(mOther.Path()), IsEmpty()); // the others have been swept

    const auto begin = Clock::now();
    EXPECT_EQ(SweepOutcome::kNoAnswer, Sweep().outcome); // it is not asked again
    EXPECT_LT(Clock::now() - begin, seconds(5));
    EXPECT_EQ(1, mMount->HangingCount());

    mMount->Clear();
    EXPECT_TRUE(IsSweptAgain());
    EXPECT_THAT(Left(mMount->Behind()), IsEmpty());
}

TEST_F(MountedFaultsOfSweeps, WhatWasLeftBehindDeletesNothingMoreWhenItComesBack)
{
    SetSilenceLimit("300");
    ManageBoth();
    mMount->Inject({.operation = "unlink", .error = EIO, .hangs = true, .times = 1});
    EXPECT_EQ(SweepOutcome::kNoAnswer, Sweep().outcome);
    EXPECT_EQ(3u, Left(mMount->Behind()).size());
    mHandles[0]->SetMaxFileCount(boost::none);
    mMount->Clear(); // answers the one that hung with an error

    EXPECT_TRUE(IsSweptAgain());
    EXPECT_EQ(3u, Left(mMount->Behind()).size());
    EXPECT_EQ(1, mMount->CallCount("unlink"));
}

TEST_F(MountedFaultsOfSweeps, AVolumeThatIsSlowAndNotSilentIsWaitedFor)
{
    SetSilenceLimit("500");
    for (int i = 0; i < 120; ++i) // several go with each pulse
        Put(mMount->Behind(std::to_string(i) + ".rkdc"), kHour);
    ManageBoth();
    std::atomic<bool> done{false};
    // Each look at a file hangs for a moment: all together far beyond the limit.
    mMount->Inject({.operation = "getattr", .name = "*.rkdc", .hangs = true});
    std::thread pulse(
        [&]
        {
            while (!done)
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                mMount->Clear();
                if (!done)
                    mMount->Inject({.operation = "getattr", .name = "*.rkdc", .hangs = true});
            }
        });
    const auto begin = Clock::now();
    const DirectorySweepReport report = Sweep();
    const auto took = Clock::now() - begin;
    done = true;
    pulse.join();
    mMount->Clear();

    EXPECT_EQ(SweepOutcome::kDone, report.outcome);
    EXPECT_GT(took, std::chrono::milliseconds(500));
    EXPECT_THAT(Left(mMount->Behind()), IsEmpty());
}

TEST_F(MountedFaultsOfSweeps, AMountPointBelowIsNotCrossed)
{
    const std::string below = mOther.MakeFolder("below");
    ASSERT_EQ(0, mount(mMount->Behind().c_str(), below.c_str(), nullptr, MS_BIND, nullptr));
    ManageBoth();
    mMount->Inject({.operation = "unlink", .error = EROFS});
    const SweepReportPtr report = SweepNow();
    umount2(below.c_str(), MNT_DETACH);

    EXPECT_EQ(3u, Left(mMount->Behind()).size());
    const DirectorySweepReport& other = ReportOf(report, mOther.Path());
    EXPECT_EQ(1u, other.found.files);
    EXPECT_EQ(1u, other.refused.countByError.at(EXDEV));
}

// A small volume in memory.
class MountedSmallVolume : public ::testing::Test
{
protected:
    void SetUp() override
    {
        RK_NEEDS_MOUNTS();
        ASSERT_EQ(0, mount("none", mFolder.Path().c_str(), "tmpfs", 0, "size=4m"));
    }
    void TearDown() override { umount2(mFolder.Path().c_str(), MNT_DETACH); }
    double FreeShare() const
    {
        struct statvfs space;
        statvfs(mFolder.Path().c_str(), &space);
        return static_cast<double>(space.f_bavail) / static_cast<double>(space.f_blocks);
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(MountedSmallVolume, AFullOneIsFreedFromItsOldestFiles)
{
    for (int i = 0; FreeShare() > 0 && i < 100; ++i)
        Put(mFolder.Path("f" + std::to_string(i) + ".rkdc"), (i + 1) * kHour, 65536);
    ASSERT_EQ(0.0, FreeShare());
    const std::size_t before = Left(mFolder.Path()).size();
    const ManagedDirectoryPtr handle = Manage(mFolder.Path());
    const ManagedVolumePtr volume = ManagedVolume::Create(FileNameToUTF16(mFolder.Path()), {});
    volume->SetFreeSpacePercentage(10.0f);
    const SweepReportPtr report = SweepNow();

    EXPECT_GE(FreeShare(), 0.09);
    EXPECT_TRUE(std::filesystem::exists(mFolder.Path("f1.rkdc")));
    EXPECT_FALSE(std::filesystem::exists(mFolder.Path("f" + std::to_string(before - 1) + ".rkdc")));
    EXPECT_GT(ReportOf(report, mFolder.Path())
                  .deleted[static_cast<std::size_t>(SweepRule::kVolume)]
                  .files,
              0u);
}

TEST_F(MountedSmallVolume, OneThatTurnsReadOnlyKeepsItsFilesUntilItIsWritableAgain)
{
    Put(mFolder.Path("a.rkdc"), kHour);
    Put(mFolder.Path("sub/b.rkdc"), kHour);
    std::filesystem::create_directory(mFolder.Path("empty"));
    const ManagedDirectoryPtr handle = Manage(mFolder.Path());
    handle->SetMaxFileCount(std::uint64_t{0});
    handle->SetDeleteEmptySubDirectories(true);
    ASSERT_EQ(0, mount("none", mFolder.Path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr));
    const SweepReportPtr refused = SweepNow();
    EXPECT_THAT(Left(mFolder.Path()), UnorderedElementsAre("a.rkdc", "sub", "empty"));
    EXPECT_EQ(3u, ReportOf(refused, mFolder.Path()).refused.countByError.at(EROFS));

    ASSERT_EQ(0, mount("none", mFolder.Path().c_str(), "tmpfs", MS_REMOUNT, nullptr));
    SweepNow();
    EXPECT_THAT(Left(mFolder.Path()), ElementsAre("sub"));
    EXPECT_THAT(Left(mFolder.Path("sub")), IsEmpty());
}

TEST_F(MountedSmallVolume, NamesOfAnyBytesAndOfFullLengthGoOnlyByTheirExtension)
{
    const std::vector<std::string> stay = {std::string(255, 'n'), "\xff\xfe.mov",
                                           std::string(251, '\xfe') + ".mov", "\xc3(.rkdc\xff"};
    const std::vector<std::string> go = {std::string(250, 'n') + ".rkdc", "\xff\xfe.rkdc",
                                         std::string(250, '\xfe') + ".RKDC", "\xc3(.rkdc"};
    for (const std::string& name : stay)
        Put(mFolder.Path(name), kHour);
    for (const std::string& name : go)
        Put(mFolder.Path(name), kHour);
    const ManagedDirectoryPtr handle = Manage(mFolder.Path());
    handle->SetMaxFileCount(std::uint64_t{0});
    const SweepReportPtr report = SweepNow();

    EXPECT_THAT(Left(mFolder.Path()), ::testing::UnorderedElementsAreArray(stay));
    EXPECT_EQ(4u, ReportOf(report, mFolder.Path()).found.files);
}

} // namespace
