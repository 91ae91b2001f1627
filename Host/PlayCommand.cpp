#include "PlayCommand.h"

#include <algorithm>
#include <iostream>
#include <numeric>

#include "Checksum.h"
#include "ContactSheet.h"
#include "Player.h"
#include "Progress.h"
#include "Summary.h"
#include "qelcore/HighPrecisionTime.h"

namespace RKHost
{

namespace
{

class Stopwatch
{
public:
    double Seconds() const
    {
        using qelcore::utility::HighPrecisionTime;
        const auto counts = HighPrecisionTime::GetCurrentTime() - mStart;
        return static_cast<double>(HighPrecisionTime::ConvertToNanos(counts)) * 1e-9;
    }

private:
    std::uint64_t mStart = qelcore::utility::HighPrecisionTime::GetCurrentTime();
};

void WriteOut(const std::string& inText)
{
    std::cout << inText << std::flush;
}

// Tells of frames that failed: each one once, and only so many.
class FailureReport
{
public:
    FailureReport(const Sequence& inSequence, int inFrameCount)
        : mSequence(inSequence)
        , mTold(static_cast<std::size_t>(inFrameCount))
    {
    }

    /// @return whether there is a line to be written, which is put into outLine.
    bool Note(int inFrame, const std::string& inError, std::string& outLine)
    {
        if (mTold[static_cast<std::size_t>(inFrame)])
            return false;
        mTold[static_cast<std::size_t>(inFrame)] = true;
        if (++mCount > kMostLines)
            return false;
        outLine = "rkhost: " + mSequence.FramePath(inFrame) + ": " + inError + "\n";
        return true;
    }

    int Count() const { return mCount; }

    std::string Rest() const
    {
        return mCount > kMostLines ? "rkhost: and " + std::to_string(mCount - kMostLines) +
                                         " more frames that failed\n"
                                   : std::string();
    }

private:
    static constexpr int kMostLines = 20;

    const Sequence& mSequence;
    std::vector<bool> mTold;
    int mCount = 0;
};

// One pass: touches each frame, counts, and shows the progress.
class PassAudience : public IAudience
{
public:
    PassAudience(const std::string& inName, int inFrameCount, bool inEveryByte, FrameCache& inCache,
                 std::vector<std::uint64_t>& ioChecksums, FailureReport& ioFailures,
                 Progress& ioProgress)
        : mName(inName)
        , mFrameCount(inFrameCount)
        , mEveryByte(inEveryByte)
        , mCache(inCache)
        , mChecksums(ioChecksums)
        , mFailures(ioFailures)
        , mProgress(ioProgress)
    {
        mProgress.Begin();
    }

    void OnFrame(int inFrame, const Frame& inPicture, bool inHit) override
    {
        const std::uint64_t sum =
            ChecksumOf(inPicture.mPixels->Data(), inPicture.mPixels->Size(), mEveryByte);
        std::uint64_t& known = mChecksums[static_cast<std::size_t>(inFrame)];
        if (inHit && known != sum)
            Fail(inFrame, "came back from the cache with other bytes than went into it");
        known = sum;
        mFigures.mHits += inHit ? 1 : 0;
        Count();
    }

    void OnFailure(int inFrame, const std::string& inError) override
    {
        Fail(inFrame, inError);
        Count();
    }

    /// To be called at the end of the pass.
    PassFigures Finish()
    {
        mFigures.mSeconds = mStopwatch.Seconds();
        mProgress.End(ProgressNow(mFigures.mSeconds));
        return mFigures;
    }

private:
    void Fail(int inFrame, const std::string& inError)
    {
        ++mFigures.mErrors;
        std::string line;
        if (!mFailures.Note(inFrame, inError, line))
            return;
        mProgress.Hide();
        std::cerr << line;
    }

    void Count()
    {
        ++mFigures.mFrames;
        const double seconds = mStopwatch.Seconds();
        if (mProgress.WantsUpdate(mFigures.mFrames, mFrameCount, seconds))
            mProgress.Update(ProgressNow(seconds));
    }

    ProgressFigures ProgressNow(double inSeconds) const
    {
        return {mName,          mFigures.mFrames,   mFrameCount,
                mFigures.mHits, mCache.BytesHeld(), inSeconds};
    }

    const std::string mName;
    const int mFrameCount;
    const bool mEveryByte;
    FrameCache& mCache;
    std::vector<std::uint64_t>& mChecksums; ///< by frame, from the last time it was played
    FailureReport& mFailures;
    Progress& mProgress;
    PassFigures mFigures;
    Stopwatch mStopwatch;
};

class SheetAudience : public IAudience
{
public:
    explicit SheetAudience(ContactSheet& ioSheet)
        : mSheet(ioSheet)
    {
    }
    void OnFrame(int, const Frame& inPicture, bool) override { mSheet.Add(inPicture); }
    void OnFailure(int, const std::string&) override { mSheet.AddFailure(); }

private:
    ContactSheet& mSheet;
};

class PlayCommand
{
public:
    PlayCommand(const Options& inOptions, EventLoop& ioLoop)
        : mOptions(inOptions)
        , mImporter(ImporterModule::Load())
        , mSequence(inOptions.mStill ? Sequence::FromStill(inOptions.mPath)
                                     : Sequence::FromExampleFile(inOptions.mPath))
        , mFrameCount(inOptions.mLimit > 0 ? std::min(inOptions.mLimit, mSequence.FrameCount())
                                           : mSequence.FrameCount())
        , mPlayer(mSequence, mFrameCount, mCache, mImporter, ioLoop)
        , mFailures(mSequence, mFrameCount)
        , mProgress(&WriteOut, TerminalColumns())
        , mChecksums(static_cast<std::size_t>(mFrameCount))
    {
    }

    ExitCode Run()
    {
        WriteOut(mSequence.DisplayName() + ": " + std::to_string(mFrameCount) +
                 (mFrameCount == 1 ? " frame\n" : " frames\n"));
        SummaryFigures figures;
        figures.mCold = Pass("cold");
        figures.mWarm = Pass("warm");
        std::cerr << mFailures.Rest();
        figures.mCacheBytes = mCache.BytesHeld();
        figures.mBudgetBytes = mCache.BudgetBytes();
        figures.mPurgedBytes = mCache.BytesPurged();
        figures.mPeakResidentBytes = PeakResidentBytes();
        WriteOut("\n" + SummaryTable(figures));
        if (!mOptions.mContactSheet.empty())
            MakeContactSheet();
        return mFailures.Count() == 0 ? kExit_OK : kExit_Failure;
    }

private:
    PassFigures Pass(const std::string& inName)
    {
        std::vector<int> all(static_cast<std::size_t>(mFrameCount));
        std::iota(all.begin(), all.end(), 0);
        PassAudience audience(inName, mFrameCount, mOptions.mEveryByte, mCache, mChecksums,
                              mFailures, mProgress);
        try
        {
            mPlayer.Play(all, audience);
        }
        catch (const Interrupted&)
        {
            audience.Finish();
            throw;
        }
        return audience.Finish();
    }

    void MakeContactSheet()
    {
        ContactSheet sheet(mImporter);
        SheetAudience audience(sheet);
        mPlayer.Play(EvenlySpaced(mFrameCount, ContactSheet::kMostFrames), audience);
        if (!sheet.HasFrames())
            throw HostError(kExit_Failure, mOptions.mContactSheet +
                                               ": not written, since no frame could be decoded");
        sheet.Write(mOptions.mContactSheet);
        WriteOut("\ncontact sheet           " + mOptions.mContactSheet + "\n");
    }

    const Options& mOptions;
    const ImporterModule mImporter;
    const Sequence mSequence;
    const int mFrameCount;
    FrameCache mCache;
    Player mPlayer;
    FailureReport mFailures;
    Progress mProgress;
    std::vector<std::uint64_t> mChecksums;
};

} // namespace

ExitCode RunPlay(const Options& inOptions, EventLoop& ioLoop)
{
    return PlayCommand(inOptions, ioLoop).Run();
}

} // namespace RKHost
