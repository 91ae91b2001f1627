// The data cache in a folder beside the bare file system, and beside general stores of items.
//
// Put, GetWarm, GetCold   Items of 4 KiB, 64 KiB and 4 MiB that cannot be compressed, asked for by one or two
//          client threads with 64 requests under way: each thread keeps its share going, all of a burst
//          before the next. Those below in turn, round by round, the order turning; the figure is the
//          best of the rounds, microseconds an item, wall-clock. Whatever calls wait (all but the data
//          cache) has the same plain pools: one thread that puts, in order, and 64 that get.
//            store      the data cache in a folder
//            unsynced   the same that does not have the bytes synced before an item gets its name
//            files      temp, write, rename; open, read, close
//            synced     the same, waiting for the bytes before the rename, as the data cache does
//            inline     files without pools: the client threads make the calls, one at a time each
//            sqlite, rocksdb, leveldb  whole items or none after a crash of the machine, like store and
//                       synced. files and inline may leave empty ones, lmdb as it is set here nothing.
//            lmdb       a mapped file; shown for honesty
//          Folders of small items stay until the end: ext4 makes files slowly for minutes after many were
//          deleted. Take the figures on a file system of its own (RK_BENCH_FOLDER).
//          Warm: from the system's pages; nobody has a cache of its own. Cold: those pages were dropped,
//          inodes were not. Every get brings a new buffer with all bytes in it.
//          by_files, by_synced, ...: their time over the store's. Above 1 the store is faster. Wanted: 0.8 of
//          the bare file system, and above 1 for sqlite, rocksdb, leveldb from 64 KiB on.
// StartUp  A store that scans its folder of RK_BENCH_FOLDER_ITEMS files (a list; 10000), until all are in
//          its index, beside a bare readdir of the same folder.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <latch>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "DataCache/Subject.h"
#include "RKDataCache.h"
#include "RKDiskCacheManager.h"
#include "RKInitializer.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/Trace.h"

namespace Bench
{

const std::vector<Kind>& Kinds()
{
    static const std::vector<Kind> sKinds = {
        {"store", &CreateStore},        {"unsynced", &CreateUnsyncedStore}, {"files", &CreateFiles},
        {"synced", &CreateSyncedFiles}, {"inline", &CreateInlineFiles},
#if RK_BENCH_SQLITE
        {"sqlite", &CreateSQLite},
#endif
#if RK_BENCH_ROCKSDB
        {"rocksdb", &CreateRocksDB},
#endif
#if RK_BENCH_LEVELDB
        {"leveldb", &CreateLevelDB},
#endif
#if RK_BENCH_LMDB
        {"lmdb", &CreateLMDB},
#endif
    };
    return sKinds;
}

void Insist(bool inIsSo, const char* inText)
{
    if (inIsSo)
        return;
    std::fprintf(stderr, "does not work: %s\n", inText);
    std::abort();
}

void InsistOn(const Item& inItem, const void* inBytes, std::size_t inSize)
{
    const auto* const wanted = static_cast<const char*>(inItem.bytes);
    const auto* const got = static_cast<const char*>(inBytes);
    Insist(inSize == inItem.size && std::memcmp(wanted, got, 8) == 0 &&
               std::memcmp(wanted + inSize - 8, got + inSize - 8, 8) == 0,
           "the bytes of an item");
}

namespace
{

constexpr int kUnderWay = 64;
constexpr int kRounds = 7;          // 3 of puts of over a megabyte
constexpr int kDifferentItems = 16; // as to their bytes
constexpr std::size_t kLargeItem = std::size_t{1} << 20;

std::string FolderPattern()
{
    const char* const parent = std::getenv("RK_BENCH_FOLDER"); // of the disk to measure
    return std::string(parent != nullptr ? parent : "/var/tmp") + "/rk-bench-XXXXXX";
}

class Folder
{
public:
    Folder() { Insist(mkdtemp(mPath.data()) != nullptr, "a temporary folder"); }
    ~Folder() { std::filesystem::remove_all(mPath); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& Path() const { return mPath; }
    std::string Make(const std::string& inName) const
    {
        std::filesystem::create_directory(mPath + "/" + inName);
        return mPath + "/" + inName;
    }

private:
    std::string mPath = FolderPattern();
};

/// Has the system write what it holds of the disk, and drop its pages of the files if asked to.
void Settle(const std::string& inFolder, bool inDrop)
{
    const int folder = open(inFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    Insist(syncfs(folder) == 0, "syncfs");
    close(folder);
    if (!inDrop)
        return;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(inFolder))
    {
        if (!entry.is_regular_file())
            continue;
        const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
        close(file);
    }
}

// Items of one size; their bytes are made before anything is measured.
class Items
{
public:
    explicit Items(std::size_t inSize)
        : mSize(inSize)
    {
        std::mt19937_64 random(1);
        for (auto& bytes : mBytes)
        {
            bytes.resize(inSize / 8);
            std::generate(bytes.begin(), bytes.end(), std::ref(random));
        }
    }
    Item At(int inIndex) const
    {
        return {"clip." + std::to_string(inIndex / 100), std::to_string(inIndex % 100),
                mBytes[static_cast<std::size_t>(inIndex % kDifferentItems)].data(), mSize};
    }

private:
    const std::size_t mSize;
    std::vector<std::uint64_t> mBytes[kDifferentItems];
};

using Request = void (ISubject::*)(const Item&, const ISubject::Done&);

/// One client's part: bursts of its share of what is under way.
void RunClient(ISubject& ioSubject, Request inRequest, const Items& inItems, int inFirst, int inEnd,
               int inShare)
{
    for (int begin = inFirst; begin < inEnd; begin += inShare)
    {
        const int end = std::min(begin + inShare, inEnd);
        std::latch all(end - begin);
        for (int item = begin; item < end; ++item)
            (ioSubject.*inRequest)(inItems.At(item), [&all] { all.count_down(); });
        all.wait();
        if (inRequest == &ISubject::Put)
            ioSubject.FinishPuts();
    }
}

/// @return microseconds an item.
double TimeOf(ISubject& ioSubject, Request inRequest, const Items& inItems, int inFirst,
              int inCount, int inClients)
{
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> clients;
    for (int client = 0; client < inClients; ++client)
    {
        const int first = inFirst + inCount * client / inClients;
        const int end = inFirst + inCount * (client + 1) / inClients;
        clients.emplace_back(
            [&, first, end]
            { RunClient(ioSubject, inRequest, inItems, first, end, kUnderWay / inClients); });
    }
    for (std::thread& client : clients)
        client.join();
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count() / inCount;
}

/// What others do on the machine meanwhile only ever adds.
double BestOf(const std::vector<double>& inFigures)
{
    return *std::min_element(inFigures.begin(), inFigures.end());
}

void Report(benchmark::State& ioState, const std::map<std::string, std::vector<double>>& inFigures)
{
    const double store = BestOf(inFigures.at("store"));
    ioState.counters["store_us"] = store;
    for (const Kind& kind : Kinds())
    {
        const double peer = BestOf(inFigures.at(kind.name));
        if (kind.create == &CreateStore)
            continue;
        ioState.counters[std::string(kind.name) + "_us"] = peer;
        ioState.counters[std::string("by_") + kind.name] = peer / store;
    }
}

/// Bursts enough, and not more than a disk takes in a few seconds.
int ItemsOfARound(std::size_t inSize)
{
    return inSize >= kLargeItem ? 64 : inSize >= 65536 ? 256 : 512;
}

int RoundsOfPuts(std::size_t inSize)
{
    return inSize >= kLargeItem ? 3 : kRounds;
}

// All that are compared, each in a folder of its own.
class Field
{
public:
    /// @param inBytes  of an item.
    explicit Field(std::size_t inBytes)
    {
        static std::vector<std::unique_ptr<Folder>> sUntilTheEnd;
        std::unique_ptr<Folder>& folder =
            inBytes < kLargeItem ? sUntilTheEnd.emplace_back() : mFolder;
        folder = std::make_unique<Folder>();
        for (const Kind& kind : Kinds())
            mSubjects.push_back({kind.name, folder->Make(kind.name), nullptr});
        for (std::size_t i = 0; i < mSubjects.size(); ++i)
            mSubjects[i].subject = Kinds()[i].create(mSubjects[i].folder);
    }
    struct Entry
    {
        const char* name;
        std::string folder;
        SubjectPtr subject;
    };
    /// Calls inDo with each, beginning with another one in each round.
    template <class Do>
    void Each(int inRound, const Do& inDo)
    {
        for (std::size_t i = 0; i < mSubjects.size(); ++i)
            inDo(mSubjects[(i + static_cast<std::size_t>(inRound)) % mSubjects.size()]);
    }

private:
    std::unique_ptr<Folder> mFolder;
    std::vector<Entry> mSubjects;
};

const RK::Initializer& Library()
{
    static const RK::Initializer sLibrary;
    return sLibrary;
}

void Put(benchmark::State& ioState)
{
    Library();
    const auto size = static_cast<std::size_t>(ioState.range(0));
    const auto clients = static_cast<int>(ioState.range(1));
    const Items items(size);
    const int count = ItemsOfARound(size);
    for (auto _ : ioState)
    {
        Field field(size);
        std::map<std::string, std::vector<double>> figures;
        for (int round = 0; round < RoundsOfPuts(size); ++round)
            field.Each(round,
                       [&](Field::Entry& ioEntry)
                       {
                           figures[ioEntry.name].push_back(TimeOf(*ioEntry.subject, &ISubject::Put,
                                                                  items, round * count, count,
                                                                  clients));
                           Settle(ioEntry.folder, false);
                       });
        Report(ioState, figures);
    }
}

void Get(benchmark::State& ioState, bool inCold)
{
    Library();
    const auto size = static_cast<std::size_t>(ioState.range(0));
    const auto clients = static_cast<int>(ioState.range(1));
    const Items items(size);
    const int count = ItemsOfARound(size);
    for (auto _ : ioState)
    {
        Field field(size);
        std::map<std::string, std::vector<double>> figures;
        field.Each(0, [&](Field::Entry& ioEntry)
                   { TimeOf(*ioEntry.subject, &ISubject::Put, items, 0, count, 1); });
        for (int round = 0; round < kRounds; ++round)
            field.Each(round,
                       [&](Field::Entry& ioEntry)
                       {
                           ioEntry.subject->Reopen();
                           Settle(ioEntry.folder, inCold);
                           if (!inCold)
                               TimeOf(*ioEntry.subject, &ISubject::Get, items, 0, count, clients);
                           figures[ioEntry.name].push_back(
                               TimeOf(*ioEntry.subject, &ISubject::Get, items, 0, count, clients));
                       });
        Report(ioState, figures);
    }
}

void GetWarm(benchmark::State& ioState)
{
    Get(ioState, false);
}

void GetCold(benchmark::State& ioState)
{
    Get(ioState, true);
}

/// @return microseconds, and how many entries.
double TimeOfReadDir(const std::string& inFolder, int& outCount)
{
    const auto start = std::chrono::steady_clock::now();
    DIR* const folder = opendir(inFolder.c_str());
    Insist(folder != nullptr, "opendir");
    outCount = 0;
    while (readdir(folder) != nullptr)
        ++outCount;
    closedir(folder);
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count();
}

/// Notices the line that ends each scan.
class ScanWatch
{
public:
    ScanWatch()
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("Trace.DataCacheInFilesystem", "6");
        qelcore::debug::SetTraceSink(
            [this](const std::string& inLine)
            {
                if (inLine.find("Found ") == std::string::npos)
                    return;
                mScans.fetch_add(1);
                mScans.notify_all();
            });
    }
    ~ScanWatch() { qelcore::debug::SetTraceSink(qelcore::debug::TraceSink()); }
    ScanWatch(const ScanWatch&) = delete;
    ScanWatch& operator=(const ScanWatch&) = delete;
    void WaitAfter(int inScans) const { mScans.wait(inScans); }

private:
    std::atomic<int> mScans{0};
};

double TimeOfScan(const std::string& inFolder, double& outReady)
{
    using Name = qelcore::utility::ImmutableString;
    RK::DiskCacheManager::ManagedDirectoryPtr directory;
    const ScanWatch watch;
    const auto start = std::chrono::steady_clock::now();
    const auto since = [&start]
    {
        const std::chrono::duration<double, std::micro> taken =
            std::chrono::steady_clock::now() - start;
        return taken.count();
    };
    const RK::DataCachePtr store = RK::CreateDataCacheInFilesystemAndManageDirectory(
        Name::CreateDynamic(inFolder.c_str()), directory, true);
    outReady = since();
    watch.WaitAfter(0);
    return since();
}

void StartUp(benchmark::State& ioState)
{
    Library();
    const auto count = static_cast<int>(ioState.range(0));
    const Folder folder;
    for (int i = 0; i < count; ++i)
    {
        const std::string path = folder.Path() + "/clip." + std::to_string(i / 100) + "." +
                                 std::to_string(i % 100) + ".rkdc";
        Insist(close(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)) == 0, "a file");
    }
    std::vector<double> scans;
    std::vector<double> readies;
    std::vector<double> lists;
    for (auto _ : ioState)
    {
        for (int round = 0; round < kRounds; ++round)
        {
            int listed = 0;
            lists.push_back(TimeOfReadDir(folder.Path(), listed));
            Insist(listed == count + 2, "the listing");
            double ready = 0;
            scans.push_back(TimeOfScan(folder.Path(), ready));
            readies.push_back(ready);
        }
    }
    ioState.counters["store_us"] = BestOf(scans);
    ioState.counters["returned_us"] = BestOf(readies); // from then on it can be used
    ioState.counters["readdir_us"] = BestOf(lists);
    ioState.counters["by_readdir"] = BestOf(lists) / BestOf(scans);
}

void FolderItems(benchmark::internal::Benchmark* ioBenchmark)
{
    const char* const wanted = std::getenv("RK_BENCH_FOLDER_ITEMS");
    std::istringstream counts(wanted != nullptr ? wanted : "10000");
    for (std::string count; std::getline(counts, count, ',');)
        ioBenchmark->Arg(std::stol(count));
}

void SizesAndClients(benchmark::internal::Benchmark* ioBenchmark)
{
    ioBenchmark->ArgNames({"bytes", "clients"})->ArgsProduct({{4096, 65536, 4 << 20}, {1, 2}});
    ioBenchmark->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(Put)->Apply(SizesAndClients);
BENCHMARK(GetWarm)->Apply(SizesAndClients);
BENCHMARK(GetCold)->Apply(SizesAndClients);
BENCHMARK(StartUp)->Apply(FolderItems)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace Bench
