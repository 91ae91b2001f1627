#include "PlayCommand.h"

#include <iostream>
#include <memory>

#include "FrameErrors.h"
#include "GrowingPlay.h"
#include "MemorySettings.h"
#include "MonitorChannel.h"
#include "MonitorCommand.h"
#include "Playback.h"
#include "Progress.h"
#include "Summary.h"

namespace RKHost
{

namespace
{

void WriteOut(const std::string& inText)
{
    std::cout << inText << std::flush;
}

class PlayCommand
{
public:
    PlayCommand(const Options& inOptions, EventLoop& ioLoop)
        : mOptions(inOptions)
        , mLoop(ioLoop)
        , mProgress(&WriteOut, SizeOfTerminal().mColumns)
        , mPlayback(inOptions, ioLoop, mProgress)
        , mSettings(inOptions, ioLoop)
    {
        if (mOptions.mMonitored)
            mServer = std::make_unique<MonitorServer>(ioLoop, &MediaManagerReport);
    }

    ExitCode Run()
    {
        ClearFrameErrors();
        WriteOut(mPlayback.Title());
        const PlayedFigures played =
            mOptions.mWatch ? PlayWhileItGrows(mOptions, mLoop, mPlayback) : mPlayback.PlayPasses();
        std::cerr << mPlayback.Failures().Rest();
        WriteOut("\n" + SummaryTable(Figures(played)));
        const std::string errors = MergedFrameErrors();
        if (!errors.empty())
            WriteOut("\n" + errors);
        if (!mOptions.mContactSheet.empty())
        {
            mPlayback.WriteContactSheet(mOptions.mContactSheet);
            WriteOut("\ncontact sheet           " + mOptions.mContactSheet + "\n");
        }
        return mPlayback.Failures().Count() == 0 ? kExit_OK : kExit_Failure;
    }

private:
    SummaryFigures Figures(const PlayedFigures& inPlayed) const
    {
        const FrameCache& cache = mPlayback.Cache();
        SummaryFigures figures;
        figures.mPlayed = inPlayed;
        figures.mCacheBytes = cache.BytesHeld();
        figures.mFileBufferBytes = cache.BytesOfOthers();
        figures.mBudgetBytes = cache.BudgetBytes();
        figures.mReserveBytes = mOptions.mReserveBytes;
        figures.mPurgedBytes = cache.BytesPurged();
        figures.mPeakResidentBytes = PeakResidentBytes();
        figures.mQueue = mPlayback.QueueCounters();
        figures.mFilesOpen = mPlayback.FilesKeptOpen();
        figures.mGrant = mSettings.Grant();
        figures.mPolicies = RK::MM::GetPolicyReport();
        return figures;
    }

    const Options& mOptions;
    EventLoop& mLoop;
    Progress mProgress;
    Playback mPlayback;
    const MemorySettings mSettings;
    std::unique_ptr<MonitorServer> mServer;
};

} // namespace

ExitCode RunPlay(const Options& inOptions, EventLoop& ioLoop)
{
    return PlayCommand(inOptions, ioLoop).Run();
}

} // namespace RKHost
