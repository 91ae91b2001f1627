#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include "Foundation/Platform/Src/LinuxMachineFigures.h"
#include "Support/ChildProcess.h"
#include "Support/FakeClock.h"
#include "Support/TemporaryFolder.h"

namespace
{

using Platform::LinuxMachineFigures;

constexpr std::uint64_t kMiB = 1 << 20;
const std::string kVersion1NoLimit = "9223372036854771712\n";

const std::string kMemoryInfo = "MemTotal:       16777216 kB\n"
                                "MemFree:         2097152 kB\n"
                                "MemAvailable:    8388608 kB\n"
                                "Inactive:        3145728 kB\n"
                                "Active(file):     524288 kB\n"
                                "Inactive(file):  1048576 kB\n"
                                "SwapTotal:       4194304 kB\n"
                                "SwapFree:        3145728 kB\n"
                                "Zswap:              1024 kB\n"
                                "Zswapped:           4096 kB\n";
constexpr std::uint64_t kTotal = 16384 * kMiB;
constexpr std::uint64_t kAvailable = 8192 * kMiB;
constexpr std::uint64_t kActiveFree = 3072 * kMiB;

// A recorded tree of a machine of 16 GiB with 8 GiB available, and no control groups at first.
class MachineFiguresTest : public ::testing::Test
{
protected:
    MachineFiguresTest()
    {
        mTree.Write("proc/meminfo", kMemoryInfo);
        mTree.Write("proc/self/statm", "100000 2560 300 10 0 5000 0\n");
        mTree.Write("proc/self/status", "Name:\tx\nVmRSS:\t  10240 kB\nVmSwap:\t   2048 kB\n");
    }

    void RecordVersion2(const std::string& inGroup)
    {
        mTree.Write("proc/self/cgroup", "0::" + inGroup + "\n");
        mTree.Write("proc/self/mountinfo",
                    "22 1 0:21 / /proc rw - proc proc rw\n"
                    "30 22 0:26 / /sys/fs/cgroup rw,nosuid - cgroup2 cgroup2 rw,nsdelegate\n");
    }
    void RecordVersion1(const std::string& inGroup, const std::string& inMountedGroup = "/")
    {
        mTree.Write("proc/self/cgroup", "9:name=systemd:/\n5:cpu,cpuacct:/elsewhere\n4:memory:" +
                                            inGroup + "\n0::/unified/group\n");
        mTree.Write("proc/self/mountinfo",
                    "35 31 0:31 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n"
                    "36 31 0:32 " +
                        inMountedGroup +
                        " /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
                        "41 31 0:38 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n");
    }
    void Swaps(const std::string& inLines)
    {
        mTree.Write("proc/swaps", "Filename Type Size Used Priority\n" + inLines);
    }
    void Zram(const std::string& inNumber, std::uint64_t inOriginalBytes)
    {
        mTree.Write("sys/block/zram" + inNumber + "/mm_stat",
                    "  " + std::to_string(inOriginalBytes) + "  2211840  3956736 0 0 0 0 0 0\n");
    }
    /// inFile is relative to the folder where control groups are mounted.
    void Group(const std::string& inFile, const std::string& inText)
    {
        mTree.Write("sys/fs/cgroup/" + inFile, inText);
    }

    Testing::FakeClock mClock;
    Testing::TemporaryFolder mTree;
    LinuxMachineFigures mFigures{mTree.Path()};
};

TEST_F(MachineFiguresTest, WithoutGroupsTheFiguresAreTheMachines)
{
    EXPECT_EQ(kTotal, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(kAvailable, mFigures.FreePhysicalMemory());
    EXPECT_EQ(kActiveFree, mFigures.FreeActiveMemory());
}

TEST_F(MachineFiguresTest, TheProcessIsItsResidentPages)
{
    EXPECT_EQ(2560u * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)), mFigures.ProcessMemory());
}

TEST_F(MachineFiguresTest, CompressedIsWhatWasSwappedOut)
{
    EXPECT_EQ(2 * kMiB, mFigures.ProcessCompressedMemory());
    EXPECT_EQ(1024 * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, WhatTheKernelCompressedWithoutSwappingCountsToo)
{
    mTree.Write("proc/meminfo", "SwapTotal: 0 kB\nSwapFree: 0 kB\nZswapped: 4096 kB\n");

    EXPECT_EQ(4 * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, ACompressedDiskThatIsSwappedToIsPartOfTheSwapInUse)
{
    Zram("0", 512 * kMiB);
    Swaps("/dev/zram0\tpartition\t4194300\t\t1048576\t\t100\n");

    EXPECT_EQ(1024 * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, CompressedDisksThatHoldFilesCountInTheirFullSize)
{
    Zram("0", 512 * kMiB);
    Zram("1", 40 * kMiB);
    Zram("10", 2 * kMiB);
    Swaps("/dev/zram0 partition 4194300 1048576 100\n");
    mTree.Write("sys/block/vda/stat", "1 2 3\n");

    EXPECT_EQ((1024 + 40 + 2) * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, ACompressedDiskThatComesIsSeenAfterASecondAndItsGrowthAtOnce)
{
    mFigures.SystemCompressedMemory();
    Zram("0", 8 * kMiB);
    EXPECT_EQ(1024 * kMiB, mFigures.SystemCompressedMemory());

    mClock.AdvanceSeconds(1);
    EXPECT_EQ((1024 + 8) * kMiB, mFigures.SystemCompressedMemory());
    Zram("0", 9 * kMiB);
    EXPECT_EQ((1024 + 9) * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, ADiskBecomesSwapAndIsNotCountedTwice)
{
    Zram("0", 8 * kMiB);
    EXPECT_EQ((1024 + 8) * kMiB, mFigures.SystemCompressedMemory());

    Swaps("/dev/zram0 partition 4194300 1048576 100\n");
    mClock.AdvanceSeconds(1);
    EXPECT_EQ(1024 * kMiB, mFigures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, AGroupsLimitIsTheTotal)
{
    RecordVersion2("/app");
    Group("app/memory.max", "1073741824\n");

    EXPECT_EQ(1024 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, ALimitAboveTheMachineIsNone)
{
    RecordVersion2("/app");
    Group("app/memory.max", "68719476736\n");

    EXPECT_EQ(kTotal, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, TheNarrowestOfAllAncestorsCounts)
{
    RecordVersion2("/slice/app/worker");
    Group("slice/memory.max", "2147483648\n");
    Group("slice/app/memory.max", "536870912\n");
    Group("slice/app/worker/memory.max", "1073741824\n");

    EXPECT_EQ(512 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, TheLimitThatSlowsDownCountsToo)
{
    RecordVersion2("/app");
    Group("app/memory.max", "2147483648\n");
    Group("app/memory.high", "1073741824\n");

    EXPECT_EQ(1024 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, TheWordMaxIsNoLimit)
{
    RecordVersion2("/app");
    Group("app/memory.max", "max\n");
    Group("app/memory.high", "max\n");
    Group("app/memory.current", "1000\n");

    EXPECT_EQ(kTotal, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(kAvailable, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, TheGreatestNumberOfVersion1IsNoLimit)
{
    RecordVersion1("/app");
    Group("memory/app/memory.limit_in_bytes", kVersion1NoLimit);
    Group("memory/app/memory.usage_in_bytes", "1000\n");

    EXPECT_EQ(kTotal, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(kAvailable, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, OnAMixedMachineTheMemoryGroupOfVersion1Counts)
{
    RecordVersion1("/jobs/7");
    Group("memory/memory.limit_in_bytes", kVersion1NoLimit);
    Group("memory/jobs/memory.limit_in_bytes", "805306368\n");
    Group("memory/jobs/7/memory.limit_in_bytes", kVersion1NoLimit);

    EXPECT_EQ(768 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, OnAMixedMachineALimitOfVersion2CountsToo)
{
    RecordVersion1("/app");
    Group("memory/app/memory.limit_in_bytes", kVersion1NoLimit);
    Group("unified/unified/group/memory.max", "268435456\n");

    EXPECT_EQ(256 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, AGroupThatIsMountedAloneIsFoundBelowItsMountPoint)
{
    RecordVersion1("/docker/abc/inner", "/docker/abc");
    Group("memory/inner/memory.limit_in_bytes", "134217728\n");

    EXPECT_EQ(128 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, AGroupOutsideOfTheViewCountsAsTheHighestThatIsSeen)
{
    RecordVersion2("/../../other");
    Group("memory.max", "134217728\n");

    EXPECT_EQ(128 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, FreeIsWhatTheGroupLeavesWithItsReclaimableFiles)
{
    RecordVersion2("/app");
    Group("app/memory.max", "1073741824\n");
    Group("app/memory.current", "943718400\n"); // 900 MiB
    Group("app/memory.stat", "anon 5\nfile 6\nactive_file 7\ninactive_file 104857600\n");

    EXPECT_EQ((1024 - 900 + 100) * kMiB, mFigures.FreePhysicalMemory());
    EXPECT_EQ((1024 - 900 + 100) * kMiB, mFigures.FreeActiveMemory());
}

TEST_F(MachineFiguresTest, FreeIsTheLeastThatAnyAncestorLeaves)
{
    RecordVersion2("/slice/app");
    Group("slice/memory.max", "2147483648\n");
    Group("slice/memory.current", "2136997888\n"); // 10 MiB are left
    Group("slice/app/memory.max", "1073741824\n");
    Group("slice/app/memory.current", "104857600\n");

    EXPECT_EQ(10 * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, AGroupOfVersion1CountsTheFilesOfThoseBelowIt)
{
    RecordVersion1("/app");
    Group("memory/app/memory.limit_in_bytes", "1073741824\n");
    Group("memory/app/memory.usage_in_bytes", "1073741824\n");
    Group("memory/app/memory.stat", "inactive_file 1048576\ntotal_inactive_file 20971520\n");

    EXPECT_EQ(20 * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, ALimitOfVersion1AboveWhatIsSeenCounts)
{
    RecordVersion1("/docker/abc", "/docker/abc");
    Group("memory/memory.limit_in_bytes", kVersion1NoLimit);
    Group("memory/memory.usage_in_bytes", "104857600\n");
    Group("memory/memory.stat", "total_inactive_file 0\nhierarchical_memory_limit 268435456\n"
                                "hierarchical_memsw_limit 9223372036854771712\n");

    EXPECT_EQ(256 * kMiB, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(156 * kMiB, mFigures.FreePhysicalMemory()) << "and perhaps less: others use it too";
}

TEST_F(MachineFiguresTest, WhereMemoryAndSwapShareALimitWhatWasSwappedOutIsNotFree)
{
    RecordVersion1("/app");
    Group("memory/app/memory.limit_in_bytes", "1073741824\n");
    Group("memory/app/memory.usage_in_bytes", "209715200\n");        // 200 MiB
    Group("memory/app/memory.memsw.limit_in_bytes", "1073741824\n"); // both together
    Group("memory/app/memory.memsw.usage_in_bytes", "943718400\n");  // 900 MiB
    Group("memory/app/memory.stat", "total_inactive_file 10485760\n");

    EXPECT_EQ((1024 - 900 + 10) * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, AnAllowanceOfSwapAloneBoundsNoMemory)
{
    RecordVersion2("/app");
    Group("app/memory.max", "max\n");
    Group("app/memory.swap.max", "0\n");
    Group("app/memory.swap.current", "0\n");

    EXPECT_EQ(kTotal, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(kAvailable, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, InANamespaceOfGroupsTheTopIsTheProcesssOwn)
{
    mTree.Write("proc/self/cgroup", "0::/\n");
    mTree.Write("proc/self/mountinfo",
                "30 22 0:26 / /sys/fs/cgroup ro,nosuid - cgroup2 cgroup rw,nsdelegate\n");
    Group("memory.max", "402653184\n");
    Group("memory.current", "134217728\n");

    EXPECT_EQ(384 * kMiB, mFigures.TotalPhysicalMemory());
    EXPECT_EQ(256 * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, OfSeveralMountsTheOneThatShowsTheMostLevelsCounts)
{
    mTree.Write("proc/self/cgroup", "0::/slice/app\n");
    mTree.Write("proc/self/mountinfo", "30 22 0:26 /elsewhere /mnt/other rw - cgroup2 cgroup2 rw\n"
                                       "31 22 0:26 /slice/app /mnt/own rw - cgroup2 cgroup2 rw\n"
                                       "32 22 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n"
                                       "33 22 0:26 /slice /mnt/slice rw - cgroup2 cgroup2 rw\n");
    mTree.Write("mnt/other/memory.max", "1048576\n");
    Group("slice/memory.max", "1073741824\n");

    EXPECT_EQ(1024 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, NothingIsFreeInAGroupAboveItsLimit)
{
    RecordVersion2("/app");
    Group("app/memory.max", "1073741824\n");
    Group("app/memory.current", "1073741825\n");

    EXPECT_EQ(0u, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, AnOldKernelsFreeIsTheUnusedAndTheIdleFiles)
{
    mTree.Write("proc/meminfo",
                "MemTotal: 1048576 kB\nMemFree: 1024 kB\nInactive(file): 2048 kB\n");

    EXPECT_EQ(3 * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, AChangedLimitIsSeenAfterASecondAndNotBefore)
{
    RecordVersion2("/app");
    Group("app/memory.max", "1073741824\n");
    mFigures.TotalPhysicalMemory();
    Group("app/memory.max", "536870912\n");

    mClock.AdvanceSeconds(0.999);
    EXPECT_EQ(1024 * kMiB, mFigures.TotalPhysicalMemory());
    mClock.AdvanceSeconds(0.002);
    EXPECT_EQ(512 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, AMoveToAnotherGroupIsSeenAfterASecond)
{
    RecordVersion2("/narrow");
    Group("narrow/memory.max", "1073741824\n");
    Group("wide/memory.max", "2147483648\n");
    EXPECT_EQ(1024 * kMiB, mFigures.TotalPhysicalMemory());

    RecordVersion2("/wide");
    mClock.AdvanceSeconds(1);
    EXPECT_EQ(2048 * kMiB, mFigures.TotalPhysicalMemory());
}

TEST_F(MachineFiguresTest, TheUseOfAGroupIsNeverOutOfDate)
{
    RecordVersion2("/app");
    Group("app/memory.max", "1073741824\n");
    Group("app/memory.current", "1048576\n");
    EXPECT_EQ(1023 * kMiB, mFigures.FreePhysicalMemory());

    Group("app/memory.current", "2097152\n");
    EXPECT_EQ(1022 * kMiB, mFigures.FreePhysicalMemory());
}

TEST_F(MachineFiguresTest, WhereNothingCanBeReadTheTotalIsTheCLibrarys)
{
    LinuxMachineFigures figures(mTree.Path("nowhere"));
    const auto machine = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                         static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));

    EXPECT_EQ(machine, figures.TotalPhysicalMemory());
    EXPECT_LT(0u, figures.FreePhysicalMemory());
    EXPECT_EQ(0u, figures.ProcessMemory());
    EXPECT_EQ(0u, figures.ProcessCompressedMemory());
    EXPECT_EQ(0u, figures.SystemCompressedMemory());
}

TEST_F(MachineFiguresTest, GarbageIsAsGoodAsNothing)
{
    const std::vector<std::string> garbage = {
        "",   "\n\n\n", "abc", std::string("\0\xff\n", 3), "-5\n", "99999999999999999999999999\n",
        "0\n"};
    for (const std::string& text : garbage)
    {
        Testing::TemporaryFolder tree;
        for (const char* file :
             {"proc/self/statm", "proc/self/status", "sys/fs/cgroup/app/memory.max",
              "sys/fs/cgroup/app/memory.high", "sys/fs/cgroup/app/memory.current",
              "sys/fs/cgroup/app/memory.stat"})
            tree.Write(file, text);
        tree.Write("proc/meminfo", kMemoryInfo + text);
        tree.Write("proc/self/cgroup", text + "\n:\n0:\n0::/app\n");
        tree.Write("proc/self/mountinfo",
                   text + "\n1 2 3\n30 1 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n");
        LinuxMachineFigures figures(tree.Path());

        EXPECT_EQ(kTotal, figures.TotalPhysicalMemory()) << text;
        EXPECT_EQ(kAvailable, figures.FreePhysicalMemory()) << text;
        EXPECT_EQ(0u, figures.ProcessMemory()) << text;
    }
}

TEST_F(MachineFiguresTest, TheAddressSpaceOfTheProcessIsLimitedByItsResourceLimit)
{
    const std::uint64_t limit = (std::uint64_t{1} << 47) - 4096;
    rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_AS, &before));
    if (before.rlim_max != RLIM_INFINITY)
        GTEST_SKIP() << "needs an address space without a hard limit (ulimit -v)";
    EXPECT_LT(limit, mFigures.TotalVirtualMemory());

    const rlimit lowered = {limit, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_AS, &lowered));
    mClock.AdvanceSeconds(1);
    const std::uint64_t total = mFigures.TotalVirtualMemory();
    ASSERT_EQ(0, setrlimit(RLIMIT_AS, &before));

    EXPECT_EQ(limit, total);
}

// Touches that much memory and keeps it until it is destroyed.
struct TouchedMemory
{
    explicit TouchedMemory(std::size_t inBytes)
        : bytes(inBytes, 'x')
    {
    }
    std::vector<char> bytes;
};

TEST(RealMachineFigures, TheProcessGrowsByWhatItTouches)
{
    Platform::IMachineFigures& figures = Platform::MachineFigures();
    const std::uint64_t before = figures.ProcessMemory();
    const TouchedMemory touched(64 * kMiB);

    EXPECT_LE(before + 60 * kMiB, figures.ProcessMemory());
    EXPECT_EQ('x', touched.bytes[12345]);
}

TEST(RealMachineFigures, AChildIsMeasuredAndNotItsParent)
{
    Platform::IMachineFigures& figures = Platform::MachineFigures();
    const std::uint64_t parents = figures.ProcessMemory(); // opens what a child would inherit

    const int answer = Testing::RunInChild(
        [&]
        {
            const TouchedMemory touched(256 * kMiB);
            const bool grown = figures.ProcessMemory() >= parents + 150 * kMiB;
            const bool kept = touched.bytes.back() == 'x';
            return grown && kept && figures.TotalPhysicalMemory() > 0 ? 0 : 1;
        });
    EXPECT_EQ(0, answer);
}

TEST(RealMachineFigures, WhatIsFreeIsPartOfTheTotal)
{
    Platform::IMachineFigures& figures = Platform::MachineFigures();

    EXPECT_LT(0u, figures.FreePhysicalMemory());
    EXPECT_LT(figures.FreePhysicalMemory(), figures.TotalPhysicalMemory());
    EXPECT_LT(figures.FreeActiveMemory(), figures.TotalPhysicalMemory());
    EXPECT_LT(figures.ProcessMemory(), figures.TotalPhysicalMemory());
}

} // namespace
