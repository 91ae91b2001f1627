// What watches of directories take, beside inotify alone and beside libuv.
//
// CreationToMessage  from the call that makes a file to the message that the directory has changed, in
//                    microseconds. RK: MonitorDirectory, the main thread's loop, a listener. Inotify: a read that
//                    waits. Uv: uv_fs_event in a loop. The three take turns in each iteration, so that they
//                    meet the same machine; the middle of all (p50) and the value that one in a hundred
//                    exceeds (p99), and the ratios of these.
// RecursiveSetUp     the start of a recursive watch of 10000 directories. RK: MonitorDirectoryRecursively. Walk: a
//                    listing of each directory and one inotify_add_watch. List: inotify_add_watch alone,
//                    the paths being known. The shortest of all iterations, in milliseconds, and ratios.
// Burst              100000 files made one after the other below a stream of folder events: how many were told,
//                    how often the stream said instead that it must be looked at again, and how many were lost
//                    without a word. Beside it inotify, read by nobody meanwhile: what it holds, and whether it
//                    said that there was more.
//
// All in memory (/dev/shm). A loaded machine delays whoever needs a second thread most.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <uv.h>

#include "Platform/FolderEvents.h"
#include "RKDirectoryChangeMonitor.h"
#include "RKInitializer.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/HighPrecisionTime.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace
{

namespace Monitor = RK::DirectoryChangeMonitor;

double Seconds()
{
    using qelcore::utility::HighPrecisionTime;
    return static_cast<double>(
               HighPrecisionTime::ConvertToNanos(HighPrecisionTime::GetCurrentTime())) *
           1e-9;
}

class MemoryFolder
{
public:
    MemoryFolder()
    {
        char pattern[] = "/dev/shm/rk-bench-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            std::abort();
        mPath = pattern;
    }
    ~MemoryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    const std::string& Path() const { return mPath; }
    void Create(int inNumber) const
    {
        close(open((mPath + "/" + std::to_string(inNumber)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC,
                   0600));
    }

private:
    std::string mPath;
};

// Somebody who hears of changes of a directory.
class MonitorWatch : ZOR::Listener
{
public:
    explicit MonitorWatch(const std::string& inPath)
        : mPath(qelcore::utility::FileNameToUTF16(inPath))
    {
        qelcore::threads::RegisterMainThread();
        ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, this);
        Monitor::MonitorDirectory(mPath);
    }
    ~MonitorWatch() override
    {
        Monitor::StopMonitoringDirectory(mPath);
        ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, this);
    }
    void ListenToMessage(const ZOR::Message&) override { mHeard = true; }

    /// The watch begins in a thread of its own.
    void AwaitBegin(const MemoryFolder& inFolder)
    {
        for (int number = -1; !mHeard; --number)
        {
            inFolder.Create(number);
            qelcore::threads::RunMainThreadFor(10);
        }
        qelcore::threads::RunMainThreadFor(50);
    }
    void Forget() { mHeard = false; }
    void AwaitMessage() const
    {
        pollfd loop = {qelcore::threads::GetMainThreadDescriptor(), POLLIN, 0};
        while (!mHeard)
        {
            poll(&loop, 1, -1);
            qelcore::threads::DispatchMainThread();
        }
    }

private:
    const qelcore::UTF16String mPath;
    bool mHeard = false;
};

class InotifyWatch
{
public:
    explicit InotifyWatch(const std::string& inPath)
    {
        inotify_add_watch(mInstance, inPath.c_str(), IN_CREATE);
    }
    ~InotifyWatch() { close(mInstance); }
    void AwaitMessage() const
    {
        alignas(inotify_event) char buffer[4096];
        if (read(mInstance, buffer, sizeof buffer) <= 0)
            std::abort();
    }

private:
    const int mInstance = inotify_init1(IN_CLOEXEC);
};

class UvWatch
{
public:
    explicit UvWatch(const std::string& inPath)
    {
        uv_loop_init(&mLoop);
        uv_fs_event_init(&mLoop, &mWatch);
        mWatch.data = this;
        const auto onEvent = [](uv_fs_event_t* inWatch, const char*, int, int)
        { static_cast<UvWatch*>(inWatch->data)->mHeard = true; };
        uv_fs_event_start(&mWatch, onEvent, inPath.c_str(), 0);
    }
    ~UvWatch()
    {
        uv_close(reinterpret_cast<uv_handle_t*>(&mWatch), nullptr);
        uv_run(&mLoop, UV_RUN_DEFAULT);
        uv_loop_close(&mLoop);
    }
    void AwaitMessage()
    {
        while (!mHeard)
            uv_run(&mLoop, UV_RUN_ONCE);
        mHeard = false;
    }

private:
    uv_loop_t mLoop;
    uv_fs_event_t mWatch;
    bool mHeard = false;
};

double Percentile(std::vector<double> inSeconds, double inPart)
{
    const auto at = static_cast<std::size_t>(inPart * static_cast<double>(inSeconds.size() - 1));
    std::nth_element(inSeconds.begin(), inSeconds.begin() + static_cast<std::ptrdiff_t>(at),
                     inSeconds.end());
    return inSeconds[at];
}

void CreationToMessage(benchmark::State& ioState)
{
    constexpr double kMicrosecond = 1e-6;
    const RK::Initializer library;
    const MemoryFolder ours, theirs, uvs;
    MonitorWatch monitor(ours.Path());
    monitor.AwaitBegin(ours);
    const InotifyWatch inotify(theirs.Path());
    UvWatch uv(uvs.Path());
    std::vector<double> seconds[3];
    int number = 0;
    for (auto _ : ioState)
    {
        ++number;
        monitor.Forget();
        double begin = Seconds();
        ours.Create(number);
        monitor.AwaitMessage();
        seconds[0].push_back(Seconds() - begin);
        ioState.SetIterationTime(seconds[0].back());
        begin = Seconds();
        theirs.Create(number);
        inotify.AwaitMessage();
        seconds[1].push_back(Seconds() - begin);
        begin = Seconds();
        uvs.Create(number);
        uv.AwaitMessage();
        seconds[2].push_back(Seconds() - begin);
    }
    for (const auto& [name, part] : {std::pair("p50", 0.5), std::pair("p99", 0.99)})
    {
        const double rk = Percentile(seconds[0], part);
        const double raw = Percentile(seconds[1], part);
        const double libuv = Percentile(seconds[2], part);
        const std::string end = std::string("_") + name;
        ioState.counters["rk_us" + end] = rk / kMicrosecond;
        ioState.counters["inotify_us" + end] = raw / kMicrosecond;
        ioState.counters["uv_us" + end] = libuv / kMicrosecond;
        ioState.counters["rk/inotify" + end] = rk / raw;
        ioState.counters["rk/uv" + end] = rk / libuv;
    }
}

constexpr int kOuter = 100;
constexpr int kInner = 99; // 100 * (1 + 99) directories

std::vector<std::string> MakeDirectories(const std::string& inRoot)
{
    std::vector<std::string> paths;
    for (int outer = 0; outer < kOuter; ++outer)
    {
        const std::string path = inRoot + "/" + std::to_string(outer);
        paths.push_back(path);
        for (int inner = 0; inner < kInner; ++inner)
            paths.push_back(path + "/" + std::to_string(inner));
    }
    for (const std::string& path : paths)
        std::filesystem::create_directory(path);
    return paths;
}

void WatchBelow(int inInstance, const std::string& inPath, int& ioWatches)
{
    ioWatches += inotify_add_watch(inInstance, inPath.c_str(), IN_CREATE | IN_DELETE) >= 0;
    DIR* const directory = opendir(inPath.c_str());
    while (const dirent* entry = readdir(directory))
        if (entry->d_type == DT_DIR && entry->d_name[0] != '.')
            WatchBelow(inInstance, inPath + "/" + entry->d_name, ioWatches);
    closedir(directory);
}

void RecursiveSetUp(benchmark::State& ioState)
{
    const RK::Initializer library;
    qelcore::threads::RegisterMainThread();
    const MemoryFolder folder;
    const std::vector<std::string> paths = MakeDirectories(folder.Path());
    const auto root = qelcore::utility::FileNameToUTF16(folder.Path());
    double rk = 1e9, walk = 1e9, list = 1e9;
    for (auto _ : ioState)
    {
        double begin = Seconds();
        Monitor::MonitorDirectoryRecursively(root);
        const double time = Seconds() - begin;
        rk = std::min(rk, time);
        ioState.SetIterationTime(time);
        Monitor::StopMonitoringDirectoryRecursively(root);

        int watches = 0;
        int instance = inotify_init1(IN_CLOEXEC);
        begin = Seconds();
        WatchBelow(instance, folder.Path(), watches);
        walk = std::min(walk, Seconds() - begin);
        close(instance);
        if (watches != static_cast<int>(paths.size()) + 1)
            ioState.SkipWithError("this user may not have so many watches");

        instance = inotify_init1(IN_CLOEXEC);
        begin = Seconds();
        for (const std::string& path : paths)
            inotify_add_watch(instance, path.c_str(), IN_CREATE | IN_DELETE);
        list = std::min(list, Seconds() - begin);
        close(instance);
    }
    ioState.counters["rk_ms"] = rk * 1e3;
    ioState.counters["walk_ms"] = walk * 1e3;
    ioState.counters["list_ms"] = list * 1e3;
    ioState.counters["rk/walk"] = rk / walk;
    ioState.counters["rk/list"] = rk / list;
}

constexpr int kBurst = 100000;

// What a stream has told of files that were made.
struct Told
{
    std::unordered_set<std::string> mFiles;
    int mMustScan = 0;
    bool mHasEnd = false;

    void Take(Platform::IFolderEventStream& ioStream, const std::string& inEnd)
    {
        for (const Platform::FolderEvent& event : ioStream.Take())
        {
            mMustScan += (event.flags & Platform::kFolderEvent_MustScanSubDirs) != 0;
            if ((event.flags & Platform::kFolderEvent_ItemIsFile) != 0)
                mFiles.insert(event.path);
            mHasEnd |= event.path == inEnd;
        }
    }
};

struct Held
{
    int mFiles = 0;
    bool mHasOverflown = false;

    explicit Held(int inInstance)
    {
        alignas(inotify_event) static char sBuffer[65536];
        for (ssize_t size; (size = read(inInstance, sBuffer, sizeof sBuffer)) > 0;)
            for (ssize_t at = 0; at < size;)
            {
                const auto* const event = reinterpret_cast<const inotify_event*>(sBuffer + at);
                mFiles += (event->mask & IN_CREATE) != 0;
                mHasOverflown |= (event->mask & IN_Q_OVERFLOW) != 0;
                at += static_cast<ssize_t>(sizeof *event) + event->len;
            }
    }
};

void Burst(benchmark::State& ioState)
{
    double toldCount = 0, mustScans = 0, unsaid = 0, losses = 0, held = 0, overflows = 0;
    for (auto _ : ioState)
    {
        const MemoryFolder folder;
        const auto stream =
            Platform::FolderEvents().Create(folder.Path(), 0.1, Platform::kFolderStream_FileEvents);
        const int instance = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        inotify_add_watch(instance, folder.Path().c_str(), IN_CREATE);
        if (!stream || !stream->Start())
            std::abort();
        const double begin = Seconds();
        Told told;
        const std::string end = folder.Path() + "/" + std::to_string(kBurst);
        std::thread maker(
            [&folder]
            {
                for (int number = 1; number <= kBurst; ++number)
                    folder.Create(number);
            });
        // After a loss the last file may be told by name, or by the word that all must be looked at.
        pollfd readable = {stream->Descriptor(), POLLIN, 0};
        constexpr int kQuietMs = 3000;
        while (!told.mHasEnd && (poll(&readable, 1, kQuietMs) > 0 || told.mMustScan == 0))
            told.Take(*stream, end);
        ioState.SetIterationTime(Seconds() - begin);
        maker.join();
        told.Take(*stream, end);
        const Held raw(instance);
        close(instance);
        toldCount += static_cast<double>(told.mFiles.size());
        mustScans += told.mMustScan;
        losses += static_cast<double>(stream->LossCount());
        unsaid += told.mMustScan != 0 ? 0 : kBurst - static_cast<double>(told.mFiles.size());
        held += raw.mFiles;
        overflows += raw.mHasOverflown;
    }
    const double count = static_cast<double>(ioState.iterations());
    ioState.counters["told"] = toldCount / count;
    ioState.counters["must_scan"] = mustScans / count;
    ioState.counters["losses"] = losses / count;
    ioState.counters["lost_unsaid"] = unsaid / count;
    ioState.counters["inotify_held"] = held / count;
    ioState.counters["inotify_overflows"] = overflows / count;
}

BENCHMARK(CreationToMessage)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(2000);
BENCHMARK(RecursiveSetUp)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(Burst)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
