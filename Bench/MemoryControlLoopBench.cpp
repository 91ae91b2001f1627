// The memory control loop, and FlushTo that acts by it.
//
// Sample      the loop's ten figures of this machine; BareReads reads the same files of the system as often,
//             from descriptors that stay open, and looks at nothing in them.
// Policies    all six, by figures that make each ask for something.
// FlushAll    FlushTo(0) of items that are on the books. One item is one of these. The manager keeps each in
//             two maps; AgeMap is one std::multimap by time of use, walked and erased from its oldest end.
//             The time is that which the thread had a processor.
// FlushNone   FlushTo(100) over 600 items of 1 MiB that are within the budget, with the policies and, the loop
//             turned off, by the fixed rule.
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <thread>

#include <benchmark/benchmark.h>

#include "MediaManager/MemoryControlLoop.h"
#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"
#include "qelcore/DebugDatabase.h"

namespace
{

constexpr RK::Size kMiB = 1048576;
constexpr RK::Size kItemBytes = 100; // a million of these are below the smallest allowed size

class BenchMap : public ZOR::CountedObject<RK::IMediaMap>
{
public:
    void Flush(RK::MediaID inID) override { benchmark::DoNotOptimize(inID); }
    qelcore::utility::Guid GetUniqueID() const override { return mID; }

private:
    const qelcore::utility::Guid mID = qelcore::utility::Guid::CreateUnique();
};

void Sample(benchmark::State& ioState)
{
    RK::MemoryControlLoopStatistics statistics;
    for (auto _ : ioState)
        statistics.Update({kMiB, kMiB, kMiB});
    benchmark::DoNotOptimize(statistics);
}
BENCHMARK(Sample);

void BareReads(benchmark::State& ioState)
{
    constexpr const char* kFiles[] = {"/proc/self/statm", "/proc/self/status", "/proc/meminfo",
                                      "/proc/meminfo", "/proc/meminfo"};
    std::array<int, std::size(kFiles)> files;
    for (std::size_t i = 0; i < files.size(); ++i)
        files[i] = open(kFiles[i], O_RDONLY | O_CLOEXEC);
    std::array<char, 4096> text;
    for (auto _ : ioState)
    {
        for (const int file : files)
        {
            if (pread(file, text.data(), text.size(), 0) <= 0)
                ioState.SkipWithError("a file of the system cannot be read");
        }
    }
    for (const int file : files)
        close(file);
}
BENCHMARK(BareReads);

void Policies(benchmark::State& ioState)
{
    constexpr RK::MemoryPolicyFunction kPolicies[] = {
        RK::CacheLimitPolicy, RK::MemoryLimitPolicy,      RK::CacheGrowthPolicy,
        RK::FreeMemoryPolicy, RK::CompressedMemoryPolicy, RK::ActiveMemoryPolicy};
    RK::MemoryControlLoopStatistics statistics;
    statistics.Update({kMiB, 0, 0});
    statistics.Update({1024 * kMiB, 0, 0});
    const RK::MemoryLimits limits{512 * kMiB, 512 * kMiB, true};
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(statistics);
        for (const RK::MemoryPolicyFunction policy : kPolicies)
            benchmark::DoNotOptimize(policy(limits, 10, statistics));
    }
}
BENCHMARK(Policies);

class Manager
{
public:
    void Add(std::uint64_t inID, RK::Size inBytes)
    {
        mManager->AddMedia(inID, inBytes, 1, 0, mMap);
        if (inID % 16384 == 0)
            Apply();
    }
    void Apply() { mManager->FlushAsyncEvents(); }
    void FlushAll() { mManager->FlushTo(0); }
    RK::IMediaManagerRef& Interface() { return mManager; }

private:
    RK::Initializer mInitializer;
    RK::IMediaManagerRef mManager = RK::GetMediaManager();
    RK::IMediaMapRef mMap{new BenchMap};
};

class AgeMap
{
public:
    void Add(std::uint64_t inID, RK::Size inBytes)
    {
        mItems.emplace(std::chrono::steady_clock::now(), Item{inID, inBytes, mMap});
    }
    void Apply() {}
    void FlushAll()
    {
        while (!mItems.empty())
        {
            const Item& oldest = mItems.begin()->second;
            oldest.map->Flush(oldest.id);
            mItems.erase(mItems.begin());
        }
    }

private:
    struct Item
    {
        std::uint64_t id;
        RK::Size size;
        RK::IMediaMapRef map;
    };
    RK::IMediaMapRef mMap{new BenchMap};
    std::multimap<std::chrono::steady_clock::time_point, Item> mItems;
};

double ThreadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <class Books>
void FlushAll(benchmark::State& ioState)
{
    Books books;
    const auto count = static_cast<std::uint64_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        for (std::uint64_t id = 1; id <= count; ++id)
            books.Add(id, kItemBytes);
        books.Apply();
        const double start = ThreadSeconds();
        books.FlushAll();
        ioState.SetIterationTime(ThreadSeconds() - start);
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}
BENCHMARK_TEMPLATE(FlushAll, Manager)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();
BENCHMARK_TEMPLATE(FlushAll, AgeMap)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();

void FlushNone(benchmark::State& ioState)
{
    const bool loop = ioState.range(0) != 0;
    qelcore::debug::DebugDatabase::Instance().SetEntry("RK.MemoryControlLoopActive",
                                                       loop ? "true" : "false");
    Manager books;
    for (std::uint64_t id = 1; id <= 600; ++id)
        books.Add(id, kMiB);
    books.Apply();
    while (loop && RK::MM::GetPolicyReport().empty()) // the purge that this asked for
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (auto _ : ioState)
        books.Interface()->FlushTo(100);
    if (books.Interface()->GetCurrentSpace() != 600 * kMiB)
        ioState.SkipWithError("this machine is short of memory: something was flushed");
}
BENCHMARK(FlushNone)->ArgName("loop")->Arg(1)->Arg(0);

} // namespace
