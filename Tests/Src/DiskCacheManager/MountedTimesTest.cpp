// What the ways to mount a volume make of the times of files, and what sweeps make of these. Each test
// runs in a child process with mounts and a manager of its own.
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "RealSweepFixture.h"
#include "Support/ChildProcess.h"
#include "qelcore/FileUtils.h"

namespace
{

using namespace RK::DiskCacheManager;
using qelcore::utility::FileNameToUTF16;
using Testing::kDay;

constexpr std::int64_t kHour = 3600;

class MountedTimes : public Testing::RealSweep
{
protected:
    /// Runs inWork over a new tmpfs in the place of the folder. @return 0 if it told no failure.
    int OnVolume(unsigned long inFlags, const std::function<void()>& inWork) const
    {
        return Testing::RunInChild(
            [&]
            {
                if (!Testing::EnterPrivateMounts())
                    return 98;
                if (mount("times", mFolder.Path().c_str(), "tmpfs", inFlags, "size=16m") != 0)
                    return 97;
                inWork();
                return HasFailure() ? 1 : 0;
            });
    }
    /// @param inAccessedAgo, inModifiedAgo  seconds.
    void PutUsed(const std::string& inName, std::int64_t inAccessedAgo,
                 std::int64_t inModifiedAgo) const
    {
        const std::string path = mFolder.Write(inName, "contents");
        const std::int64_t now = ::time(nullptr);
        SetTimes(path, now - inAccessedAgo, now - inModifiedAgo);
    }
    static void SetTimes(const std::string& inPath, std::int64_t inAccessed,
                         std::int64_t inModified)
    {
        const timespec times[2] = {{inAccessed, 0}, {inModified, 0}};
        EXPECT_EQ(0, utimensat(AT_FDCWD, inPath.c_str(), times, 0));
    }
    std::int64_t AccessedAgo(const std::string& inName) const
    {
        struct stat status = {};
        EXPECT_EQ(0, lstat(mFolder.Path(inName).c_str(), &status));
        return ::time(nullptr) - status.st_atim.tv_sec;
    }
    void ReadIt(const std::string& inName) const { EXPECT_EQ("contents", mFolder.Read(inName)); }
    void TouchIt(const std::string& inName) const
    {
        qelcore::utility::FileUtils::UpdateFileAccessedTime(FileNameToUTF16(mFolder.Path(inName)));
    }
    bool IsThere(const std::string& inName) const
    {
        return access(mFolder.Path(inName).c_str(), F_OK) == 0;
    }
    /// Deletes whatever is not in its grace period.
    void SweepAll() const
    {
        const ManagedDirectoryPtr handle = Manage();
        handle->SetMaxFileCount(std::uint64_t{0});
        WaitForSweep();
    }
};

TEST_F(MountedTimes, WithRelativeTimesTheFirstReadOfADaySavesAFile)
{
    RK_NEEDS_MOUNTS();
    const int answer = OnVolume(MS_RELATIME,
                                [&]
                                {
                                    PutUsed("read.rkdc", 2 * kDay, 3 * kDay);
                                    PutUsed("new.rkdc", 2 * kHour, kHour);
                                    PutUsed("unread.rkdc", 2 * kDay, 3 * kDay);
                                    ReadIt("read.rkdc"); // for the first time in a day
                                    ReadIt("new.rkdc");  // for the first time since it was written
                                    EXPECT_GE(1000, AccessedAgo("read.rkdc"));
                                    EXPECT_GE(1000, AccessedAgo("new.rkdc"));
                                    SweepAll();
                                    EXPECT_TRUE(IsThere("read.rkdc"));
                                    EXPECT_TRUE(IsThere("new.rkdc"));
                                    EXPECT_FALSE(IsThere("unread.rkdc"));
                                });
    EXPECT_EQ(0, answer);
}

// The system keeps quiet about it, so a sweep cannot know, and whoever reads has to touch the file. The time
// of the last change of status cannot be set, and must lie before that of the access: hence the future.
TEST_F(MountedTimes, WithRelativeTimesAFurtherReadWithinADayLeavesNoTraceButATouchDoes)
{
    RK_NEEDS_MOUNTS();
    const int answer = OnVolume(MS_RELATIME,
                                [&]
                                {
                                    PutUsed("read.rkdc", -kHour, 3 * kHour);
                                    ReadIt("read.rkdc");
                                    EXPECT_GE(-kHour + 1000, AccessedAgo("read.rkdc"));
                                    TouchIt("read.rkdc");
                                    EXPECT_LE(0, AccessedAgo("read.rkdc"));
                                });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedTimes, WithoutAccessTimesNoReadSavesAFileButATouchDoes)
{
    RK_NEEDS_MOUNTS();
    const int answer = OnVolume(MS_NOATIME,
                                [&]
                                {
                                    for (const char* name : {"read.rkdc", "touched.rkdc"})
                                    {
                                        PutUsed(name, 2 * kDay, 3 * kDay);
                                        ReadIt(name);
                                        EXPECT_LE(2 * kDay, AccessedAgo(name));
                                    }
                                    TouchIt("touched.rkdc");
                                    EXPECT_GE(1000, AccessedAgo("touched.rkdc"));
                                    SweepAll();
                                    EXPECT_FALSE(IsThere("read.rkdc"));
                                    EXPECT_TRUE(IsThere("touched.rkdc"));
                                });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedTimes, WithoutAccessTimesAWriteSavesAFile)
{
    RK_NEEDS_MOUNTS();
    const int answer = OnVolume(MS_NOATIME,
                                [&]
                                {
                                    PutUsed("written.rkdc", 2 * kDay, 3 * kDay);
                                    mFolder.Write("written.rkdc", "more");
                                    SweepAll();
                                    EXPECT_TRUE(IsThere("written.rkdc"));
                                });
    EXPECT_EQ(0, answer);
}

// This volume keeps any second of 64 bits, where that of a disk keeps those up to some century.
TEST_F(MountedTimes, TheWildestTimesOfAVolumeAreTheOldestAndTheNewest)
{
    RK_NEEDS_MOUNTS();
    const int answer = OnVolume(
        0,
        [&]
        {
            constexpr std::int64_t kFirst = std::numeric_limits<std::int64_t>::min();
            constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
            for (const auto& [name, second] : std::vector<std::pair<std::string, std::int64_t>>{
                     {"first.rkdc", kFirst}, {"1969.rkdc", -1}, {"last.rkdc", kLast}})
                SetTimes(mFolder.Write(name, "contents"), second, second);
            PutUsed("plain.rkdc", kDay, kDay);
            struct stat status = {};
            lstat(mFolder.Path("last.rkdc").c_str(), &status);
            EXPECT_EQ(kLast, status.st_atim.tv_sec) << "the volume has cut it";
            const ManagedDirectoryPtr handle = Manage();
            handle->SetMaxFileCount(std::uint64_t{2});
            WaitForSweep();
            EXPECT_FALSE(IsThere("first.rkdc"));
            EXPECT_FALSE(IsThere("1969.rkdc"));
            EXPECT_TRUE(IsThere("plain.rkdc"));
            EXPECT_TRUE(IsThere("last.rkdc"));
        });
    EXPECT_EQ(0, answer);
}

// Whatever today is, summer time has begun or ended since one of these days.
TEST_F(MountedTimes, AZoneWithDaylightSavingMovesNoAge)
{
    RK_NEEDS_MOUNTS();
    const int answer =
        OnVolume(0,
                 [&]
                 {
                     setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
                     tzset();
                     const ManagedDirectoryPtr handle = Manage();
                     for (const std::int64_t days : {270, 180, 90})
                     {
                         const std::int64_t age = days * kDay + 900; // with the grace period
                         PutUsed("older.rkdc", age + kHour / 2, age + kDay);
                         PutUsed("younger.rkdc", age - kHour / 2, age + kDay);
                         handle->SetAutomaticExpiryDuration(
                             boost::posix_time::time_duration(boost::posix_time::hours(days * 24)));
                         WaitForSweep();
                         EXPECT_FALSE(IsThere("older.rkdc")) << days;
                         EXPECT_TRUE(IsThere("younger.rkdc")) << days;
                     }
                 });
    EXPECT_EQ(0, answer);
}

} // namespace
