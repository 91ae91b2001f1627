#include "MonitorCommand.h"

#include <iostream>
#include <memory>

#include "MemorySettings.h"
#include "MonitorChannel.h"
#include "Playback.h"
#include "ReportScreen.h"
#include "Stopwatch.h"
#include "Text.h"
#include "qelcore/DebugMonitor.h"

namespace RKHost
{

namespace
{

void WriteOut(const std::string& inText)
{
    std::cout << inText << std::flush;
}

// Ends the playing from within the loop, once enough has been shown.
struct ShownEnough
{
};

// Shows the report with a line on the playing above it. The pass tells how far it is; the clock, not the
// pass, tells when to show.
class MonitorDisplay : public IPassDisplay
{
public:
    MonitorDisplay(EventLoop& ioLoop, const Options& inOptions)
        : mMostReports(inOptions.mCount)
        , mScreen(&WriteOut, &SizeOfTerminal)
        , mTicker(ioLoop, inOptions.mIntervalSeconds, [this] { Tick(); })
    {
    }

    void Begin() override { mUpdatedAt = 0; }
    bool WantsUpdate(int, int, double inSeconds) const override
    {
        constexpr double kSecondsBetweenUpdates = 0.1;
        return inSeconds - mUpdatedAt >= kSecondsBetweenUpdates;
    }
    void Update(const ProgressFigures& inFigures) override
    {
        mUpdatedAt = inFigures.mSeconds;
        mFigures = inFigures;
    }
    void Hide() override { mScreen.Leave(); }
    void End(const ProgressFigures& inFigures) override { mFigures = inFigures; }

    void Show()
    {
        ++mReports;
        mScreen.Show(ProgressLine(mFigures) + "\n" + MediaManagerReport());
    }
    bool HasShownEnough() const { return mMostReports > 0 && mReports >= mMostReports; }

private:
    void Tick()
    {
        // While what is under way is waited for the clock goes on ticking.
        if (HasShownEnough())
            return;
        Show();
        if (HasShownEnough())
            throw ShownEnough();
    }

    const int mMostReports;
    int mReports = 0;
    double mUpdatedAt = 0;
    ProgressFigures mFigures;
    ReportScreen mScreen;
    Ticker mTicker;
};

ExitCode PlayAndShow(const Options& inOptions, EventLoop& ioLoop)
{
    const MemorySettings settings(inOptions, ioLoop);
    MonitorDisplay display(ioLoop, inOptions);
    Playback playback(inOptions, ioLoop, display);
    std::unique_ptr<MonitorServer> server;
    if (inOptions.mMonitored)
        server = std::make_unique<MonitorServer>(ioLoop, &MediaManagerReport);
    WriteOut(playback.Title());
    try
    {
        playback.PlayPasses();
        display.Show();
    }
    catch (const ShownEnough&)
    {
    }
    std::cerr << playback.Failures().Rest();
    return playback.Failures().Count() == 0 ? kExit_OK : kExit_Failure;
}

// Looks at another process until that ends or enough has been shown.
class Viewer
{
public:
    Viewer(const Options& inOptions, EventLoop& ioLoop)
        : mOptions(inOptions)
        , mLoop(ioLoop)
        , mScreen(&WriteOut, &SizeOfTerminal)
        , mClient(ioLoop, inOptions.mProcess, [this](const std::string& r) { Show(r); })
        , mTicker(ioLoop, inOptions.mIntervalSeconds, [this] { Ask(); })
    {
        Ask();
    }

    ExitCode Run()
    {
        while (!mClient.IsOver() && !HasShownEnough())
        {
            mLoop.WaitAndRun();
            if (mLoop.IsInterrupted())
                throw Interrupted();
        }
        if (HasShownEnough())
            return kExit_OK;
        if (mReports == 0)
            throw HostError(kExit_Failure, Name() + " ended before it answered");
        WriteOut(Name() + " has ended\n");
        return kExit_OK;
    }

private:
    std::string Name() const { return "process " + std::to_string(mOptions.mProcess); }
    bool HasShownEnough() const { return mOptions.mCount > 0 && mReports >= mOptions.mCount; }

    void Ask()
    {
        constexpr double kPatienceSeconds = 10;
        if (mClient.Ask())
            mAsked = Stopwatch();
        else if (mAsked.Seconds() > kPatienceSeconds)
            throw HostError(kExit_Failure, Name() + " does not answer");
    }

    void Show(const std::string& inReport)
    {
        if (HasShownEnough())
            return;
        ++mReports;
        mScreen.Show(Name() + "\n" + inReport);
    }

    const Options& mOptions;
    EventLoop& mLoop;
    int mReports = 0;
    Stopwatch mAsked; ///< since the last report was asked for
    ReportScreen mScreen;
    MonitorClient mClient;
    Ticker mTicker;
};

} // namespace

std::string MediaManagerReport()
{
    qelcore::UTF16StringStream report;
    qelcore::debug::GenerateDebugMonitorReport("RK.MediaManager", report);
    return FromLibraryText(report.str());
}

ExitCode RunMonitor(const Options& inOptions, EventLoop& ioLoop)
{
    if (inOptions.mProcess != 0)
        return Viewer(inOptions, ioLoop).Run();
    return PlayAndShow(inOptions, ioLoop);
}

} // namespace RKHost
