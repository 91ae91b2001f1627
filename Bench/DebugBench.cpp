// What a setting and a trace site cost while nothing changes, beside the plainest thing that does
// the same: a mutex, and a look-up by name in a map of 20 entries behind it.
//
// One item is one read of a setting, or one run of a trace site that is off. Items per second is
// wall-clock, all threads together.
#include <map>
#include <mutex>
#include <string>

#include <benchmark/benchmark.h>

#include "ZOR/RegistryKey.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/Trace.h"

namespace
{

using qelcore::debug::CachedDatabaseValue;
using qelcore::debug::DebugDatabase;

constexpr int kEntries = 20;

std::string Key(int inNumber)
{
    return "RK.MemoryControlLoop.Config.Setting" + std::to_string(inNumber);
}

// The peer.
class MutexMap
{
public:
    MutexMap()
    {
        for (int number = 0; number < kEntries; ++number)
            mEntries[Key(number)] = "true";
    }
    bool IsTrue(const std::string& inKey)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto entry = mEntries.find(inKey);
        return entry != mEntries.end() && entry->second == "true";
    }

private:
    std::mutex mMutex;
    std::map<std::string, std::string> mEntries;
};

MutexMap& Peer()
{
    static MutexMap sPeer;
    return sPeer;
}

void FillDatabase()
{
    for (int number = 0; number < kEntries; ++number)
        DebugDatabase::Instance().SetEntry(Key(number), "true");
}

constinit CachedDatabaseValue<bool> sSetting{"RK.MemoryControlLoop.Config.Setting7", false};

void Setting_Cached(benchmark::State& ioState)
{
    FillDatabase();
    for (auto _ : ioState)
        benchmark::DoNotOptimize(sSetting.Get());
    ioState.SetItemsProcessed(ioState.iterations());
}

void Setting_Database(benchmark::State& ioState)
{
    FillDatabase();
    const std::string key = Key(7);
    for (auto _ : ioState)
        benchmark::DoNotOptimize(DebugDatabase::Instance().GetEntryAs<bool>(key, false));
    ioState.SetItemsProcessed(ioState.iterations());
}

void Setting_MutexMap(benchmark::State& ioState)
{
    const std::string key = Key(7);
    for (auto _ : ioState)
        benchmark::DoNotOptimize(Peer().IsTrue(key));
    ioState.SetItemsProcessed(ioState.iterations());
}

void TraceOff_Site(benchmark::State& ioState)
{
    int evaluated = 0;
    for (auto _ : ioState)
        RK_TRACE("Bench.Off", 5, "never " << ++evaluated);
    benchmark::DoNotOptimize(evaluated);
    ioState.SetItemsProcessed(ioState.iterations());
}

void TraceOff_MutexMap(benchmark::State& ioState)
{
    const std::string key = "Bench.Off";
    int evaluated = 0;
    for (auto _ : ioState)
        if (Peer().IsTrue(key))
            ++evaluated;
    benchmark::DoNotOptimize(evaluated);
    ioState.SetItemsProcessed(ioState.iterations());
}

// As the media manager asks at each query of its budget. There is no file, or the one of this
// bench's name.
void Registry_OpenAndRead(benchmark::State& ioState)
{
    for (auto _ : ioState)
    {
        ZOR::RegistryKey key;
        std::uint32_t blocks = 0;
        if (!qelcore::Failed(key.Open(ZOR::RegistryRoot::kCurrentUser, ZOR::GetRegistryBaseKey())))
            key.GetUInt32Value(u"MemoryBlocks", blocks);
        benchmark::DoNotOptimize(blocks);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

BENCHMARK(Setting_Cached)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(Setting_Database)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(Setting_MutexMap)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(TraceOff_Site)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(TraceOff_MutexMap)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(Registry_OpenAndRead);

} // namespace
