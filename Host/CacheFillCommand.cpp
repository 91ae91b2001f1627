#include "CacheFillCommand.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <thread>

#include <unistd.h>

#include "CacheFolder.h"
#include "CommandLine.h"
#include "Progress.h"
#include "Stopwatch.h"
#include "Text.h"

namespace RKHost
{

namespace
{

using qelcore::utility::RecycledMemory;
using RK::DataCache;

constexpr char kCommand[] = "rkhost cache fill";
constexpr std::uint64_t kMostItemBytes = 0x7FFFFFFE;
// A store's queue has no bound of its own.
constexpr std::uint64_t kMostWaitingItems = 64;
constexpr std::uint64_t kMostWaitingBytes = 64 << 20;
constexpr double kMostSeconds = 1e7;
constexpr int kMostThreads = 1024;

// "64K", or "4K-1M" for sizes between.
void SetSizes(const Given& inGiven, CacheFillOptions& outOptions)
{
    const std::size_t dash = inGiven.mValue.find('-');
    const auto bytes = [&](const std::string& inText)
    {
        const std::uint64_t size = Given{inGiven.mCommand, inGiven.mName, inText}.Bytes();
        if (size > kMostItemBytes)
            Refuse(kCommand, inGiven.mName + ": an item holds at most 2147483646 bytes, not '" +
                                 inText + "'");
        return size;
    };
    outOptions.mLeastBytes = outOptions.mMostBytes = bytes(inGiven.mValue.substr(0, dash));
    if (dash != std::string::npos)
        outOptions.mMostBytes = bytes(inGiven.mValue.substr(dash + 1));
    if (outOptions.mLeastBytes > outOptions.mMostBytes)
        Refuse(kCommand,
               inGiven.mName + " takes the smaller size first, not '" + inGiven.mValue + "'");
}

// Numbers that nothing compresses, different for each start.
class Noise
{
public:
    explicit Noise(std::uint64_t inStart)
        : mState(inStart * UINT64_C(0x9e3779b97f4a7c15) + 1)
    {
    }
    std::uint64_t Next()
    {
        mState ^= mState << 13;
        mState ^= mState >> 7;
        mState ^= mState << 17;
        return mState;
    }
    void Fill(void* outBytes, std::size_t inSize)
    {
        auto* bytes = static_cast<std::uint8_t*>(outBytes);
        for (std::size_t at = 0; at < inSize; at += sizeof(std::uint64_t))
        {
            const std::uint64_t word = Next();
            std::memcpy(bytes + at, &word, std::min(sizeof word, inSize - at));
        }
    }

private:
    std::uint64_t mState; // never 0, which would stay 0
};

// Threads that put items of noise into a store, as fast as it takes them.
class Filler
{
public:
    Filler(const CacheFillOptions& inOptions, const RK::DataCachePtr& inStore)
        : mOptions(inOptions)
        , mStore(inStore)
        // Other names than those of any other run, since what is there is not replaced.
        , mKey(DataCache::CacheKey::CreateDynamic(
              ("fill-" + std::to_string(getpid()) + "-" + std::to_string(NowInNanoseconds()))
                  .c_str()))
    {
        mThreads.reserve(static_cast<std::size_t>(inOptions.mThreads));
        for (int i = 0; i < inOptions.mThreads; ++i)
            mThreads.emplace_back([this] { Work(); });
    }
    ~Filler() { Stop(); }
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

    /// Waits for the threads to end; they do so soon.
    void Stop()
    {
        mStopped = true;
        for (std::thread& thread : mThreads)
            thread.join();
        mThreads.clear();
    }
    bool IsDone() const { return mWorking == 0; }
    bool IsOutOfMemory() const { return mOutOfMemory; }
    int PutCount() const { return mPut; }
    std::uint64_t PutBytes() const { return mPutBytes; }
    double Seconds() const { return mStopwatch.Seconds(); }

    /// Items that were put and are not there, once nothing waits.
    int CountLost() const
    {
        int lost = 0;
        for (int item = 0; item < mPut; ++item)
            lost += mStore->IsItemAvailable(mKey, SubKeyOf(item)) ? 0 : 1;
        return lost;
    }

private:
    static DataCache::CacheSubKey SubKeyOf(int inItem)
    {
        return DataCache::CacheSubKey::CreateDynamic(std::to_string(inItem).c_str());
    }

    void Work()
    {
        try
        {
            for (int item = TakeItem(); item >= 0; item = TakeItem())
                Put(item);
        }
        catch (const std::bad_alloc&)
        {
            mOutOfMemory = mStopped = true;
        }
        --mWorking;
    }

    void Put(int inItem)
    {
        Noise noise(static_cast<std::uint64_t>(inItem) + 1);
        const std::uint64_t span = mOptions.mMostBytes - mOptions.mLeastBytes + 1;
        const auto buffer = RecycledMemory::Create(mOptions.mLeastBytes + noise.Next() % span);
        noise.Fill(buffer->Data(), buffer->Size());
        mStore->PutItem(mKey, SubKeyOf(inItem), buffer);
        mPutBytes += buffer->Size();
        ++mPut;
    }

    /// @return -1 at the end.
    int TakeItem()
    {
        while (!HasEnded() && IsBusy())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (HasEnded())
            return -1;
        const int item = mNext++;
        return item < mOptions.mCount ? item : -1;
    }

    bool IsBusy() const
    {
        const RK::QueuedWrites waiting = RK::GetQueuedWrites(mStore);
        return waiting.count >= kMostWaitingItems || waiting.bytes >= kMostWaitingBytes;
    }

    bool HasEnded() const
    {
        return mStopped || (mOptions.mSeconds > 0 && Seconds() > mOptions.mSeconds);
    }

    const CacheFillOptions& mOptions;
    const RK::DataCachePtr mStore;
    const DataCache::CacheKey mKey;
    const Stopwatch mStopwatch;
    std::atomic<bool> mStopped{false};
    std::atomic<bool> mOutOfMemory{false};
    std::atomic<int> mNext{0};
    std::atomic<int> mPut{0};
    std::atomic<std::uint64_t> mPutBytes{0};
    std::atomic<int> mWorking{mOptions.mThreads};
    std::vector<std::thread> mThreads;
};

std::string ProgressText(const Filler& inFiller, int inCount, std::uint64_t inWaiting)
{
    char text[160];
    const double seconds = std::max(inFiller.Seconds(), 1e-3);
    const int put = inFiller.PutCount();
    const std::uint64_t bytes = inFiller.PutBytes();
    std::snprintf(
        text, sizeof text, "%d/%d items  %s  %.1f items/s  %s/s  %" PRIu64 " waiting", put, inCount,
        MemoryText(bytes).c_str(), put / seconds,
        MemoryText(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)).c_str(),
        inWaiting);
    return text;
}

// One line that is drawn again on a terminal; whole lines elsewhere.
class FillProgress
{
public:
    explicit FillProgress(int inColumns)
        : mTerminal(inColumns > 0)
    {
    }
    double Interval() const { return mTerminal ? 0.1 : 1; } // seconds
    void Show(const std::string& inText) const
    {
        std::cout << (mTerminal ? "\r\033[K" : "") << inText << (mTerminal ? "" : "\n")
                  << std::flush;
    }
    void End() const { std::cout << (mTerminal ? "\n" : "") << std::flush; }

private:
    const bool mTerminal;
};

void ShowUntilDone(const Filler& inFiller, int inCount, const RK::DataCachePtr& inStore,
                   EventLoop& ioLoop)
{
    const FillProgress progress(SizeOfTerminal().mColumns);
    const auto show = [&]
    { progress.Show(ProgressText(inFiller, inCount, RK::GetQueuedWrites(inStore).count)); };
    {
        const Ticker ticker(ioLoop, progress.Interval(), show);
        const Ticker looker(ioLoop, 0.01, [] {}); // the end is looked for, and told by nobody
        while (!ioLoop.IsInterrupted() &&
               !(inFiller.IsDone() && RK::GetQueuedWrites(inStore).count == 0))
            ioLoop.WaitAndRun();
    }
    show();
    progress.End();
}

} // namespace

CacheFillOptions ParseCacheFill(const std::vector<std::string>& inArguments)
{
    CacheFillOptions options;
    const std::vector<OptionRow> rows = {
        {"--count", true, [&](const Given& g) { options.mCount = g.Count(1); }},
        {"--size", true, [&](const Given& g) { SetSizes(g, options); }},
        {"--threads", true,
         [&](const Given& g) { options.mThreads = std::min(g.Count(1), kMostThreads); }},
        {"--seconds", true, [&](const Given& g) { options.mSeconds = g.Amount(kMostSeconds); }},
    };
    const auto folders = ParseArguments(kCommand, "cache fill", rows, inArguments);
    if (folders.empty() || folders[0].empty())
        Refuse(kCommand, "cache fill wants a folder");
    if (folders.size() > 1)
        Refuse(kCommand, "cache fill takes one folder, and '" + folders[1] + "' is a second one");
    options.mFolder = folders[0];
    return options;
}

ExitCode RunCacheFill(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    const CacheFillOptions options = ParseCacheFill(inArguments);
    const CacheFolder folder = CacheFolder::OpenOrMake(options.mFolder);
    Filler filler(options, folder.mStore);
    ShowUntilDone(filler, options.mCount, folder.mStore, ioLoop);
    if (ioLoop.IsInterrupted())
        throw Interrupted();
    if (filler.IsOutOfMemory())
        throw HostError(kExit_Failure, "there is not enough memory for items of that size");
    const double seconds = std::max(filler.Seconds(), 1e-3);
    const int lost = filler.CountLost();
    const auto bytes = static_cast<double>(filler.PutBytes());
    std::cout << filler.PutCount() << " items, " << MemoryText(filler.PutBytes()) << ", in "
              << NumberText(seconds, 2) << " s: " << NumberText(filler.PutCount() / seconds, 1)
              << " items/s, " << MemoryText(static_cast<std::uint64_t>(bytes / seconds)) << "/s\n";
    if (lost > 0)
        throw HostError(kExit_Failure, options.mFolder + ": " + std::to_string(lost) + " of " +
                                           std::to_string(filler.PutCount()) +
                                           " items could not be put");
    return kExit_OK;
}

const char* CacheFillHelp()
{
    return R"(rkhost cache fill DIR [OPTION...]

Puts items of noise into a cache folder, which is made if need be, and tells how fast that went. The items
stay: "rkhost cache manage" keeps the folder within limits.

  --count N      items to put (1000)
  --size BYTES   bytes of an item, such as 64K (64K), or 4K-1M for sizes between the two
  --threads N    threads that make and put them (2)
  --seconds S    puts nothing after S seconds

Exit code: 0 done; 1 some items could not be put; 2 what is asked for makes no sense; 130 interrupted.
)";
}

} // namespace RKHost
