// The media manager's hot paths beside the plainest things that do the same job.
//
// Manager     the library's.
// OneQueue    a vector of events behind one mutex, applied later to the list below.
// OneList     a list in order of use and a hash map behind one mutex: everything is done at once.
//
// One item is one call, items per second are wall-clock, all threads together. The manager's ring has 65536
// slots, so each thread stops the clock after 16384 calls while the events are applied. Items are of 100
// bytes; touches go round 1024 of them, so that none repeats the one before, except in TouchTheSame.
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"

namespace
{

constexpr std::uint64_t kBatch = 16384;
constexpr std::uint64_t kTouchedItems = 1024;
constexpr RK::Size kItemBytes = 100;

class BenchMap : public ZOR::CountedObject<RK::IMediaMap>
{
public:
    explicit BenchMap(const qelcore::utility::Guid& inID)
        : mID(inID)
    {
    }
    void Flush(RK::MediaID inID) override { benchmark::DoNotOptimize(inID); }
    qelcore::utility::Guid GetUniqueID() const override { return mID; }

private:
    const qelcore::utility::Guid mID;
};

class Manager
{
public:
    Manager()
        : mManager(RK::GetMediaManager())
        , mMap(new BenchMap(mManager->AcquireUniqueID()))
        , mID(mMap->GetUniqueID())
    {
    }
    void Add(std::uint64_t inID) { mManager->AddMedia(inID, kItemBytes, 1, 0, mMap); }
    void Touch(std::uint64_t inID) { mManager->TouchMedia(inID, mID); }
    void Apply() { mManager->FlushAsyncEvents(); }
    void FlushAll() { mManager->FlushTo(0); }

private:
    RK::Initializer mInitializer;
    RK::IMediaManagerRef mManager;
    RK::IMediaMapRef mMap;
    qelcore::utility::Guid mID;
};

struct PeerItem
{
    std::uint64_t id;
    RK::Size size;
    std::chrono::steady_clock::time_point time;
    RK::IMediaMapRef map;
};

class OneList
{
public:
    void Add(std::uint64_t inID)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        AddAt(inID, std::chrono::steady_clock::now());
    }
    void Touch(std::uint64_t inID)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        TouchAt(inID, std::chrono::steady_clock::now());
    }
    void Apply() {}
    void FlushAll()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        while (!mItems.empty())
        {
            mByID.erase(mItems.back().id);
            mItems.back().map->Flush(mItems.back().id);
            mItems.pop_back();
        }
    }
    void AddAt(std::uint64_t inID, std::chrono::steady_clock::time_point inTime)
    {
        mItems.push_front({inID, kItemBytes, inTime, mMap});
        if (!mByID.emplace(inID, mItems.begin()).second)
            mItems.pop_front();
    }
    void TouchAt(std::uint64_t inID, std::chrono::steady_clock::time_point inTime)
    {
        const auto found = mByID.find(inID);
        if (found == mByID.end())
            return;
        found->second->time = inTime;
        mItems.splice(mItems.begin(), mItems, found->second);
    }

private:
    RK::IMediaMapRef mMap{new BenchMap(qelcore::utility::Guid(1, 1))};
    std::mutex mMutex;
    std::list<PeerItem> mItems; // front: last used
    std::unordered_map<std::uint64_t, std::list<PeerItem>::iterator> mByID;
};

class OneQueue
{
public:
    void Add(std::uint64_t inID) { Push(inID, true); }
    void Touch(std::uint64_t inID) { Push(inID, false); }
    void Apply()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ApplyLocked();
    }
    void FlushAll()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ApplyLocked();
        mList.FlushAll();
    }

private:
    struct Event
    {
        bool isAdd;
        PeerItem item;
    };
    void ApplyLocked()
    {
        for (const Event& event : mEvents)
        {
            if (event.isAdd)
                mList.AddAt(event.item.id, event.item.time);
            else
                mList.TouchAt(event.item.id, event.item.time);
        }
        mEvents.clear();
    }
    void Push(std::uint64_t inID, bool inIsAdd)
    {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back({inIsAdd, {inID, kItemBytes, now, inIsAdd ? mMap : RK::IMediaMapRef()}});
    }

    RK::IMediaMapRef mMap{new BenchMap(qelcore::utility::Guid(1, 1))};
    std::mutex mMutex;
    std::vector<Event> mEvents;
    OneList mList;
};

template <class Books>
std::unique_ptr<Books> sBooks;

template <class Books>
void SetUp(const benchmark::State&)
{
    sBooks<Books> = std::make_unique<Books>();
    for (std::uint64_t id = 0; id < kTouchedItems; ++id)
        sBooks<Books>->Add(id);
    sBooks<Books>->Apply();
}
template <class Books>
void TearDown(const benchmark::State&)
{
    sBooks<Books> = nullptr;
}

/// Calls inCall with a running number, and applies what it wrote while the clock stands.
template <class Books, class Call, class Settle>
void RunCalls(benchmark::State& ioState, const Call& inCall, const Settle& inSettle)
{
    Books& books = *sBooks<Books>;
    std::uint64_t number = static_cast<std::uint64_t>(ioState.thread_index()) << 40;
    for (auto _ : ioState)
    {
        inCall(books, ++number);
        if (number % kBatch == 0)
        {
            ioState.PauseTiming();
            inSettle(books);
            ioState.ResumeTiming();
        }
    }
    inSettle(books);
    ioState.SetItemsProcessed(ioState.iterations());
}

template <class Books>
void Add(benchmark::State& ioState)
{
    RunCalls<Books>(
        ioState, [](Books& ioBooks, std::uint64_t inNumber) { ioBooks.Add(inNumber); },
        [](Books& ioBooks)
        {
            ioBooks.Apply();
            ioBooks.FlushAll();
        });
}

template <class Books>
void Touch(benchmark::State& ioState)
{
    RunCalls<Books>(
        ioState, [](Books& ioBooks, std::uint64_t inNumber)
        { ioBooks.Touch(inNumber % kTouchedItems); }, [](Books& ioBooks) { ioBooks.Apply(); });
}

template <class Books>
void TouchTheSame(benchmark::State& ioState)
{
    RunCalls<Books>(
        ioState, [](Books& ioBooks, std::uint64_t) { ioBooks.Touch(7); },
        [](Books& ioBooks) { ioBooks.Apply(); });
}

/// Adds ioState.range(0) items and applies them; one item is one of these.
template <class Books>
void AddAndApply(benchmark::State& ioState)
{
    Books& books = *sBooks<Books>;
    const auto count = static_cast<std::uint64_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        for (std::uint64_t id = 1; id <= count; ++id)
        {
            books.Add(id + kTouchedItems);
            if (id % (2 * kBatch) == 0)
                books.Apply();
        }
        books.Apply();
        ioState.PauseTiming();
        books.FlushAll();
        ioState.ResumeTiming();
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

/// Flushes ioState.range(0) items that are on the books; one item is one of these.
template <class Books>
void FlushAll(benchmark::State& ioState)
{
    Books& books = *sBooks<Books>;
    const auto count = static_cast<std::uint64_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        for (std::uint64_t id = 1; id <= count; ++id)
        {
            books.Add(id + kTouchedItems);
            if (id % (2 * kBatch) == 0)
                books.Apply();
        }
        books.Apply();
        ioState.ResumeTiming();
        books.FlushAll();
    }
    ioState.SetItemsProcessed(ioState.iterations() * ioState.range(0));
}

#define RK_BENCH(inWorkload, inBooks)                                                              \
    BENCHMARK_TEMPLATE(inWorkload, inBooks)->Setup(&SetUp<inBooks>)->Teardown(&TearDown<inBooks>)

RK_BENCH(Add, Manager)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(Add, OneQueue)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(Add, OneList)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(Touch, Manager)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(Touch, OneQueue)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(Touch, OneList)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(TouchTheSame, Manager)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(TouchTheSame, OneQueue)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(TouchTheSame, OneList)->ThreadRange(1, 2)->UseRealTime();
RK_BENCH(AddAndApply, Manager)->Arg(1000)->Arg(10000)->Arg(100000);
RK_BENCH(AddAndApply, OneQueue)->Arg(1000)->Arg(10000)->Arg(100000);
RK_BENCH(AddAndApply, OneList)->Arg(1000)->Arg(10000)->Arg(100000);
RK_BENCH(FlushAll, Manager)->Arg(10000)->Arg(100000);
RK_BENCH(FlushAll, OneQueue)->Arg(10000)->Arg(100000);
RK_BENCH(FlushAll, OneList)->Arg(10000)->Arg(100000);

} // namespace
