#include "qelcore/Trace.h"

#include <cstdio>
#include <deque>
#include <optional>

#include "CallGate.h"
#include "DebugSettings.h"
#include "TraceDefault.h"
#include "qelcore/DebugDatabase.h"

namespace qelcore
{
namespace debug
{
namespace
{

constexpr std::size_t kRecentLines = 128;
constexpr std::size_t kRecentLineBytes = 1024; // so that all of them hold 128 KiB at most
constexpr int kDefaultLevel = 0;
constexpr int kNoLevel = -1;
const char kAllCategories[] = "Trace";
const char kCategoryPrefix[] = "Trace.";

thread_local bool sWithinSink = false;

// All of a process's tracing. Never destroyed: objects that end during exit trace too.
struct TraceState
{
    ReplaceableFunction<TraceSink> mSink;

    // Both mutexes are leaves.
    std::mutex mRecentMutex;
    std::deque<std::string> mRecent;
    // Makes refreshes of trace sites follow each other: see RefreshTraceSite.
    std::mutex mSiteMutex;

    void Remember(const std::string& inLine)
    {
        std::string line = inLine.substr(0, kRecentLineBytes);
        const std::lock_guard<std::mutex> lock(mRecentMutex);
        if (mRecent.size() == kRecentLines)
            mRecent.pop_front();
        mRecent.push_back(std::move(line));
    }
};

TraceState& State()
{
    static TraceState& sState = *new TraceState;
    return sState;
}

std::optional<int> LevelOfKey(const std::string& inKey)
{
    return ReadInt(DebugDatabase::Instance().GetEntry(inKey, std::string()));
}

bool AskDatabase(const char* inCategory, int inLevel, bool inFlag)
{
    std::optional<int> level = LevelOfKey(kCategoryPrefix + std::string(inCategory));
    if (!level)
        level = LevelOfKey(kAllCategories);
    return inLevel <= level.value_or(inFlag ? kDefaultLevel : kNoLevel);
}

bool AnyTraceKeyIsSet()
{
    for (const DebugDatabase::Entry& entry : DebugDatabase::Instance().List())
        if (entry.first == kAllCategories || entry.first.rfind(kCategoryPrefix, 0) == 0)
            return true;
    return false;
}

// A sink that traces would call itself for ever.
class WithinSink
{
public:
    WithinSink() { sWithinSink = true; }
    ~WithinSink() { sWithinSink = false; }
    WithinSink(const WithinSink&) = delete;
    WithinSink& operator=(const WithinSink&) = delete;
};

void PassOn(const std::string& inLine)
{
    State().Remember(inLine);
    if (sWithinSink)
        return;
    const WithinSink within;
    if (!State().mSink.Call(inLine) && TraceGoesToStandardError())
        std::fwrite(inLine.data(), 1, inLine.size(), stderr);
}

} // namespace

std::int32_t TraceChangeCount() noexcept
{
    return DebugDatabase::CurrentChangeCount();
}

bool TraceEnabled(const char* inCategory, int inLevel, bool inFlag) noexcept
{
    try
    {
        return AskDatabase(inCategory, inLevel, inFlag);
    }
    catch (...) // only for lack of memory
    {
        return false;
    }
}

bool RefreshTraceSite(std::atomic<std::int32_t>& ioSeenCount, std::atomic<bool>& outEnabled,
                      const char* inCategory, int inLevel) noexcept
{
    // One at a time, and with the count read inside: otherwise a slow thread could put the answer
    // for an old count beside a newer count, and the site would keep it.
    const std::lock_guard<std::mutex> lock(State().mSiteMutex);
    const std::int32_t count = TraceChangeCount();
    const bool enabled = TraceEnabled(inCategory, inLevel, true);
    outEnabled.store(enabled, std::memory_order_relaxed);
    ioSeenCount.store(count, std::memory_order_release);
    return enabled;
}

bool TraceGoesToStandardError()
{
    static std::atomic<std::int32_t> sSeenCount{-1};
    static std::atomic<bool> sAnyKey{false};
    const std::int32_t count = TraceChangeCount();
    if (sSeenCount.load(std::memory_order_acquire) != count)
    {
        const std::lock_guard<std::mutex> lock(State().mSiteMutex);
        const std::int32_t countNow = TraceChangeCount();
        sAnyKey.store(AnyTraceKeyIsSet(), std::memory_order_relaxed);
        sSeenCount.store(countNow, std::memory_order_release);
    }
    return sAnyKey.load(std::memory_order_relaxed);
}

void Trace(const std::string& inLine) noexcept
{
    try
    {
        PassOn(inLine);
    }
    catch (...) // out of a sink, or for lack of memory: a trace changes nothing for its caller
    {
    }
}

std::vector<std::string> RecentTraceLines()
{
    const std::lock_guard<std::mutex> lock(State().mRecentMutex);
    return {State().mRecent.begin(), State().mRecent.end()};
}

void SetTraceSink(const TraceSink& inSink)
{
    State().mSink.Replace(inSink);
}

} // namespace debug
} // namespace qelcore
