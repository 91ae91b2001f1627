// What a sweep takes to list and order the files of a cache folder, when there is nothing to delete.
//
// Sweep   the library's, asked for by a limit that holds, until its end is told: walk, records, order, and
//         the question how much space is free. The millisecond that it is asked to wait is in it.
// Walk    a bare walk: getdents64, and statx of each entry. Nothing is kept.
// Find    find -printf of time, size and path, piped into sort, as processes: the same result as a text.
//
// All three follow one another in each iteration, so that they meet the same machine, over files that the
// system has in memory. The time is the sweep's. Counters: the times in milliseconds, each the
// shortest of its iterations, since what a loaded machine adds says nothing; and ratios of these. The
// ratio of processor times holds on a loaded machine too.
//
// Memory tells what one sweep, the first in a process of its own, adds to the process's resident memory
// at its peak, for each file, and how much of this is neither the file's name nor its record.
//
// RK_BENCH_FILES tells how many files there are: 50000, or 1000000 for the size that counts. They lie in 1000
// folders, on the volume in memory /dev/shm and in RK_BENCH_DISK (/var/tmp), made for each anew. The large
// size takes some minutes, and more where others work.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "DiskCacheManagerTree.h"
#include "RKDiskCacheManager.h"
#include "RKInitializer.h"
#include "ZORMessaging/Station.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/HighPrecisionTime.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DiskCacheManager;

constexpr int kFolders = 1000;

int FileCount()
{
    constexpr int kUsual = 50000;
    const char* asked = std::getenv("RK_BENCH_FILES");
    return std::max(kFolders, asked != nullptr ? std::atoi(asked) : kUsual);
}

std::string DiskFolder()
{
    const char* asked = std::getenv("RK_BENCH_DISK");
    return asked != nullptr ? asked : "/var/tmp";
}

double Seconds()
{
    using qelcore::utility::HighPrecisionTime;
    return static_cast<double>(
               HighPrecisionTime::ConvertToNanos(HighPrecisionTime::GetCurrentTime())) *
           1e-9;
}

// Files of ages in no order, as a cache that was in use for weeks has them.
class CacheFolder
{
public:
    explicit CacheFolder(const std::string& inParent)
    {
        std::string pattern = inParent + "/rk-bench-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr)
            std::abort();
        mPath = pattern;
        for (int folder = 0; folder < kFolders; ++folder)
            Fill(folder);
        sync();
    }
    ~CacheFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    const std::string& Path() const { return mPath; }
    static constexpr std::size_t kNameBytes = 29;

private:
    void Fill(int inFolder) const
    {
        const std::string path = mPath + "/f" + std::to_string(inFolder);
        mkdir(path.c_str(), 0700);
        const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const std::int64_t now = time(nullptr);
        for (int file = inFolder; file < FileCount(); file += kFolders)
        {
            const auto mixed = static_cast<std::uint32_t>(file) * 2654435761u;
            char name[64];
            std::snprintf(name, sizeof name, "item-%08x-%010d.rkdc", mixed, file);
            const int made = openat(directory, name, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            const timespec used = {now - 86400 - mixed % 2000000, 0};
            const timespec times[2] = {used, used};
            if (made < 0 || futimens(made, times) != 0)
                std::abort();
            close(made);
        }
        close(directory);
    }

    std::string mPath;
};

struct EndOfSweep : ZOR::Listener
{
    void ListenToMessage(const ZOR::Message&) override { qelcore::threads::StopMainThread(); }
};

class Sweeper
{
public:
    explicit Sweeper(const std::string& inPath)
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("RKDiskCacheManager.DiskSweepInterval",
                                                           "1");
        const auto path = qelcore::utility::FileNameToUTF16(inPath);
        mFolder = ManagedDirectory::Create(path, {u".rkdc"}, boost::none);
        mFolder->DisableRepeatDiskSweep();
        qelcore::threads::RegisterMainThread();
        ZOR::StationUtils::AddListener(GetStationID(), &mEnd);
        // The space that is free, or is not, on this machine has no say.
        ManagedVolume::Create(path, {})->SetFreeSpacePercentage(boost::none);
        qelcore::threads::RunMainThreadUntilStopped();
    }
    ~Sweeper()
    {
        ZOR::StationUtils::RemoveListener(GetStationID(), &mEnd);
        qelcore::threads::UnregisterMainThread();
    }
    void Sweep()
    {
        mFolder->SetMaxFileCount(std::numeric_limits<std::uint64_t>::max());
        qelcore::threads::RunMainThreadUntilStopped();
    }

private:
    EndOfSweep mEnd;
    ManagedDirectoryPtr mFolder;
};

struct LinuxEntry // of getdents64
{
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short size;
    unsigned char type;
    char name[1];
};

struct Walked
{
    std::uint64_t mBytes = 0;
    std::uint64_t mFiles = 0;
};

void WalkFolder(int inFolder, Walked& ioWalked)
{
    alignas(LinuxEntry) char entries[32768];
    for (long got; (got = syscall(SYS_getdents64, inFolder, entries, sizeof entries)) > 0;)
    {
        for (long at = 0; at < got;)
        {
            const auto* entry = reinterpret_cast<const LinuxEntry*>(entries + at);
            at += entry->size;
            struct statx status;
            if (entry->name[0] == '.' ||
                statx(inFolder, entry->name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) != 0)
                continue;
            ioWalked.mBytes += status.stx_size;
            if (S_ISREG(status.stx_mode))
                ++ioWalked.mFiles;
            if (!S_ISDIR(status.stx_mode))
                continue;
            const int below = openat(inFolder, entry->name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            WalkFolder(below, ioWalked);
            close(below);
        }
    }
}

void Walk(const std::string& inPath)
{
    Walked walked;
    const int folder = open(inPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    WalkFolder(folder, walked);
    close(folder);
    if (walked.mFiles != static_cast<std::uint64_t>(FileCount()))
        std::abort();
    benchmark::DoNotOptimize(walked.mBytes);
}

void FindAndSort(const std::string& inPath)
{
    const std::string command = "find '" + inPath +
                                "' -type f -name '*.rkdc' -printf '%A@ %T@ %s %p\\n' | "
                                "LC_ALL=C sort -n -r > /dev/null";
    if (std::system(command.c_str()) != 0)
        std::abort();
}

/// Of all threads of this process, which leaves out what others do meanwhile.
double ProcessorSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The shortest of several runs.
class Shortest
{
public:
    template <class Call>
    double Run(const Call& inCall)
    {
        const double start = Seconds();
        const double processorStart = ProcessorSeconds();
        inCall();
        const double took = Seconds() - start;
        mProcessorSeconds = std::min(mProcessorSeconds, ProcessorSeconds() - processorStart);
        mSeconds = std::min(mSeconds, took);
        return took;
    }

    double mSeconds = 1e9;
    double mProcessorSeconds = 1e9;
};

void SweepBesideWalkAndFind(benchmark::State& ioState, const std::string& inParent)
{
    const CacheFolder folder(inParent);
    static const RK::Initializer library; // its stop ends sweeps for good
    Sweeper sweeper(folder.Path());
    Shortest sweep;
    Shortest walk;
    Shortest find;
    for (auto _ : ioState)
    {
        walk.Run([&] { Walk(folder.Path()); });
        ioState.SetIterationTime(sweep.Run([&] { sweeper.Sweep(); }));
        find.Run([&] { FindAndSort(folder.Path()); });
    }
    ioState.counters["files"] = FileCount();
    ioState.counters["sweep_ms"] = sweep.mSeconds * 1e3;
    ioState.counters["walk_ms"] = walk.mSeconds * 1e3;
    ioState.counters["find_ms"] = find.mSeconds * 1e3;
    ioState.counters["sweep/walk"] = sweep.mSeconds / walk.mSeconds;
    ioState.counters["sweep/walk_cpu"] = sweep.mProcessorSeconds / walk.mProcessorSeconds;
    ioState.counters["sweep/find"] = sweep.mSeconds / find.mSeconds;
}

/// In bytes; such as "VmRSS:", what is resident, or "VmHWM:", the most that was.
std::uint64_t OwnMemory(const std::string& inField)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.compare(0, inField.size(), inField) == 0)
            return std::strtoull(line.c_str() + inField.size(), nullptr, 10) * 1024;
    }
    std::abort();
}

/// What the first sweep of this process takes at its peak. In a child process, so that it is the first.
std::uint64_t PeakOfFirstSweep(const std::string& inPath, const std::string& inEmpty)
{
    int answer[2];
    if (pipe(answer) != 0)
        std::abort();
    const pid_t child = fork();
    if (child == 0)
    {
        // A sweep of nothing first: threads and tables are no matter of the files.
        Sweeper(inEmpty).Sweep();
        const std::uint64_t before = OwnMemory("VmRSS:");
        Sweeper sweeper(inPath);
        const std::uint64_t peak = OwnMemory("VmHWM:") - before;
        _exit(write(answer[1], &peak, sizeof peak) == sizeof peak ? 0 : 1);
    }
    std::uint64_t peak = 0;
    if (read(answer[0], &peak, sizeof peak) != sizeof peak)
        std::abort();
    close(answer[0]);
    close(answer[1]);
    waitpid(child, nullptr, 0);
    return peak;
}

// Registered first: later there is a manager, and a child process would have it without its threads.
void Memory(benchmark::State& ioState, const std::string& inParent)
{
    const CacheFolder folder(inParent);
    const std::string empty = folder.Path() + "-empty";
    mkdir(empty.c_str(), 0700);
    std::uint64_t peak = 0;
    for (auto _ : ioState)
        peak = PeakOfFirstSweep(folder.Path(), empty);
    rmdir(empty.c_str());
    const double perFile = static_cast<double>(peak) / FileCount();
    const double name = CacheFolder::kNameBytes + 1; // with its NUL
    ioState.counters["files"] = FileCount();
    ioState.counters["record_bytes"] = sizeof(TreeFile);
    ioState.counters["name_bytes"] = name;
    ioState.counters["peak_per_file"] = perFile;
    ioState.counters["beyond_record_and_name"] = perFile - name - sizeof(TreeFile);
}

BENCHMARK_CAPTURE(Memory, OnVolumeInMemory, "/dev/shm")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SweepBesideWalkAndFind, OnVolumeInMemory, "/dev/shm")
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SweepBesideWalkAndFind, OnDisk, DiskFolder())
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
