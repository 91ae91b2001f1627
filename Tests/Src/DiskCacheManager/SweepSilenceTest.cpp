// Volumes that fall silent under a sweep, and sweeps that get no thread to look at them with.
#include <cerrno>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include "DiskCacheFixture.h"
#include "Support/ChildProcess.h"
#include "Support/Gate.h"
#include "Support/Sanitizers.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using namespace RK::DiskCacheManager;
using Testing::FileOperation;
using Testing::kHour;

constexpr char kSilenceLimit[] = "RKDiskCacheManager.VolumeSilenceLimit";

// "/net" is on a server, so that the work on it has a thread of its own.
class SweepSilence : public Testing::DiskCacheTest
{
protected:
    SweepSilence()
    {
        mVolumes.Add("/net", "nfs4", "server:/", {50ull << 30, 100ull << 30});
        qelcore::debug::DebugDatabase::Instance().SetEntry(kSilenceLimit, "100");
        mFolder = Manage(u"/net/c");
        FreeVolume(u"/net/c");
        Put("/net/c/old.rkdc", 3 * kHour);
        Put("/net/c/new.rkdc", 2 * kHour);
    }
    ~SweepSilence() override
    {
        qelcore::debug::DebugDatabase::Instance().RemoveEntry(kSilenceLimit);
    }
    /// Once what was left behind has come to its end.
    SweepReportPtr SweepWhenItAnswers()
    {
        for (;;)
        {
            const SweepReportPtr report = mManager.SweepNow({});
            if (report->directories.at(0).outcome != SweepOutcome::kNoAnswer)
                return report;
            std::this_thread::yield();
        }
    }

    ManagedDirectoryPtr mFolder;
};

TEST_F(SweepSilence, AVolumeThatFallsSilentInItsOwnPhaseKeepsWhatItsFoldersTold)
{
    Testing::Gate answer;
    mFiles.Before(FileOperation::kRemoveFile, "/net/c/old.rkdc", [&] { answer.Pass(); });
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/net/c"), std::uint64_t{0});

    const SweepReportPtr report = mManager.SweepNow({});
    ASSERT_EQ(1u, report->volumes.size());
    EXPECT_EQ(SweepOutcome::kNoAnswer, report->volumes[0].outcome);
    EXPECT_EQ(ETIMEDOUT, report->volumes[0].errorNumber);
    ASSERT_EQ(1u, report->directories.size()); // which has answered, in its phase
    EXPECT_EQ(SweepOutcome::kDone, report->directories[0].outcome);
    EXPECT_EQ(2u, report->directories[0].left.files);
    EXPECT_EQ(SweepOutcome::kNoAnswer, mManager.SweepNow({})->directories.at(0).outcome)
        << "it was asked again";

    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/net/c"), boost::none);
    answer.Open();
    SweepWhenItAnswers();
    EXPECT_THAT(Left("/net/c"), ::testing::ElementsAre("new.rkdc"))
        << "what was left behind went on when it came back";
}

TEST_F(SweepSilence, WithoutAThreadToBeHadTheSweepDoesTheWorkItself)
{
    if (RK_TEST_THREAD_SANITIZER)
        GTEST_SKIP() << "ThreadSanitizer ends a child that tries to make threads";
    const int answer = Testing::RunWithoutRights(
        [this]
        {
            const rlimit none = {0, 0};
            if (setrlimit(RLIMIT_NPROC, &none) != 0)
                return 1;
            try
            {
                std::thread([] {}).join();
                return 2; // there are threads all the same
            }
            catch (const std::system_error&)
            {
            }
            std::thread::id swept;
            mFiles.Before(FileOperation::kRemoveFile, "/net/c/old.rkdc",
                          [&] { swept = std::this_thread::get_id(); });
            mManager.SetDirectoryMaxFileCount(*mFolder, std::uint64_t{1});
            mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/net/c"), std::uint64_t{0});
            const SweepReportPtr report = mManager.SweepNow({});
            if (swept != std::this_thread::get_id())
                return 3;
            if (report->volumes.at(0).outcome != SweepOutcome::kDone)
                return 4;
            return Left("/net/c").empty() ? 0 : 5;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
