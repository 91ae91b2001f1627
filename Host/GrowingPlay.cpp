#include "GrowingPlay.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>

#include "FolderWatches.h"
#include "FrameArrivals.h"
#include "HostError.h"
#include "Stopwatch.h"

namespace RKHost
{

namespace
{

// While a file is written, and at the latest: a folder of a server tells nothing of what other hosts do.
constexpr double kSecondsBetweenLooks = 0.25;
constexpr double kMostSecondsBetweenLooks = 5;

double SecondsToday()
{
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

// The main thread only.
class GrowingPlay
{
public:
    GrowingPlay(const Options& inOptions, EventLoop& ioLoop, Playback& ioPlayback)
        : mMostSeconds(inOptions.mSeconds > 0 ? inOptions.mSeconds
                                              : std::numeric_limits<double>::infinity())
        , mLoop(ioLoop)
        , mPlayback(ioPlayback)
        , mWatches([this](FolderWatches::What, const std::string&) { mHasChanged = true; })
    {
        const auto path = std::filesystem::absolute(inOptions.mPath).lexically_normal();
        mWatches.Add(path.parent_path().string(), false);
    }

    PlayedFigures Play()
    {
        PlayedFigures played;
        while (mWatch.Seconds() < mMostSeconds)
        {
            LookForMore();
            const std::vector<int> arrived =
                mArrivals.Take([this](int inFrame) { return mPlayback.VersionOf(inFrame); },
                               mWatch.Seconds(), SecondsToday());
            if (!arrived.empty())
                played.AddToCold(mPlayback.PlayFrames("cold", arrived));
            AwaitChange();
        }
        return played;
    }

private:
    void LookForMore()
    {
        if (!mHasChanged && mWatch.Seconds() - mLookedAt < kMostSecondsBetweenLooks)
            return;
        mHasChanged = false;
        mLookedAt = mWatch.Seconds();
        mPlayback.Grow();
        mArrivals.AwaitUpTo(mPlayback.FrameCount());
    }

    void AwaitChange()
    {
        const double look =
            mArrivals.IsAnyBeingWritten() ? kSecondsBetweenLooks : kMostSecondsBetweenLooks;
        const double rest = std::min(look, mMostSeconds - mWatch.Seconds());
        const std::uint64_t until =
            NowInNanoseconds() + static_cast<std::uint64_t>(std::max(rest, 0.0) * 1e9);
        do
        {
            mLoop.WaitAndRunUntil(until);
            if (mLoop.IsInterrupted())
                throw Interrupted();
        } while (!mHasChanged && NowInNanoseconds() < until);
    }

    const double mMostSeconds;
    EventLoop& mLoop;
    Playback& mPlayback;
    const Stopwatch mWatch;
    FrameArrivals mArrivals;
    bool mHasChanged = true; ///< what was added before the watch began is looked for as well
    double mLookedAt = 0;
    FolderWatches mWatches;
};

} // namespace

PlayedFigures PlayWhileItGrows(const Options& inOptions, EventLoop& ioLoop, Playback& ioPlayback)
{
    return GrowingPlay(inOptions, ioLoop, ioPlayback).Play();
}

} // namespace RKHost
