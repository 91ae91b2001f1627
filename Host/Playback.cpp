#include "Playback.h"

#include <algorithm>
#include <iostream>

#include "Checksum.h"
#include "FrameErrors.h"
#include "HostError.h"
#include "ScrubOrder.h"
#include "Stopwatch.h"

namespace RKHost
{

namespace
{

// One pass: touches each frame, counts, and shows the progress.
class PassAudience : public IAudience
{
public:
    PassAudience(const std::string& inName, int inFrameCount, bool inEveryByte, FrameCache& inCache,
                 std::vector<std::uint64_t>& ioChecksums, FailureReport& ioFailures,
                 IPassDisplay& ioDisplay)
        : mName(inName)
        , mFrameCount(inFrameCount)
        , mEveryByte(inEveryByte)
        , mCache(inCache)
        , mChecksums(ioChecksums)
        , mFailures(ioFailures)
        , mDisplay(ioDisplay)
    {
        mDisplay.Begin();
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
        mFigures.mChecksum =
            ChecksumOf(mChecksums.data(), mChecksums.size() * sizeof mChecksums[0], true);
        mDisplay.End(ProgressNow(mFigures.mSeconds));
        return mFigures;
    }

private:
    void Fail(int inFrame, const std::string& inError)
    {
        ++mFigures.mErrors;
        mChecksums[static_cast<std::size_t>(inFrame)] = 0;
        const std::string line = mFailures.Note(inFrame, inError);
        if (line.empty())
            return;
        mDisplay.Hide();
        std::cerr << line;
    }

    void Count()
    {
        ++mFigures.mFrames;
        const double seconds = mStopwatch.Seconds();
        if (mDisplay.WantsUpdate(mFigures.mFrames, mFrameCount, seconds))
            mDisplay.Update(ProgressNow(seconds));
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
    IPassDisplay& mDisplay;
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

Sequence SequenceOf(const Options& inOptions)
{
    return inOptions.mStill ? Sequence::FromStill(inOptions.mPath)
                            : Sequence::FromExampleFile(inOptions.mPath);
}

int FramesToPlay(int inMostFrames, const Sequence& inSequence)
{
    const int all = inSequence.FrameCount();
    return inMostFrames > 0 ? std::min(inMostFrames, all) : all;
}

std::unique_ptr<SequenceAnalysis> AnalysisOf(const Options& inOptions, const Sequence& inSequence,
                                             int inFrameCount, const ImporterModule& inImporter)
{
    if (inOptions.mAnalysis.empty())
        return nullptr;
    return std::make_unique<SequenceAnalysis>(inOptions.mAnalysis, inSequence, inFrameCount,
                                              inImporter);
}

std::string NameOfPass(int inPass)
{
    if (inPass == 0)
        return "cold";
    return inPass == 1 ? "warm" : "pass " + std::to_string(inPass + 1);
}

} // namespace

std::string FailureReport::Note(int inFrame, const std::string& inError)
{
    const bool isNew = mTold.insert(inFrame).second;
    if (!isNew || Count() > kMostLines)
        return std::string();
    ReportFrameError(mSequence.FramePath(inFrame), inFrame, mImporter, inError);
    return "rkhost: " + mSequence.FramePath(inFrame) + ": " + inError + "\n";
}

std::string FailureReport::Rest() const
{
    if (Count() <= kMostLines)
        return std::string();
    return "rkhost: and " + std::to_string(Count() - kMostLines) + " more frames that failed\n";
}

Playback::Playback(const Options& inOptions, EventLoop& ioLoop, IPassDisplay& ioDisplay)
    : mMostPasses(inOptions.mPasses)
    , mMostSeconds(inOptions.mSeconds)
    , mEveryByte(inOptions.mEveryByte)
    , mScrubSeed(inOptions.mScrubSeed)
    , mDisplay(ioDisplay)
    , mImporter(ImporterModule::Load())
    , mMostFrames(inOptions.mLimit)
    , mSequence(SequenceOf(inOptions))
    , mFrameCount(FramesToPlay(mMostFrames, mSequence))
    , mPlayer(mSequence, mFrameCount, mCache, mFiles, mImporter, ioLoop, inOptions.mFramesPerSecond)
    , mFailures(mSequence, mImporter.Name())
    , mAnalysis(AnalysisOf(inOptions, mSequence, mFrameCount, mImporter))
    , mChecksums(static_cast<std::size_t>(mFrameCount))
{
}

std::string Playback::Title() const
{
    return mSequence.DisplayName() + ": " + std::to_string(mFrameCount) +
           (mFrameCount == 1 ? " frame\n" : " frames\n");
}

PlayedFigures Playback::PlayPasses()
{
    const Stopwatch stopwatch;
    const std::vector<int> all =
        mScrubSeed != 0 ? ScrubOrder(mFrameCount, mScrubSeed) : StraightOrder(mFrameCount);
    PlayedFigures played;
    for (int pass = 0; WantsPass(pass, stopwatch.Seconds()); ++pass)
        played.Add(PlayFrames(NameOfPass(pass), all));
    return played;
}

void Playback::Grow()
{
    mSequence.Grow();
    mFrameCount = FramesToPlay(mMostFrames, mSequence);
    mPlayer.Grow(mFrameCount);
    mChecksums.resize(static_cast<std::size_t>(mFrameCount));
}

bool Playback::WantsPass(int inPlayed, double inSeconds) const
{
    return inPlayed == 0 || ((mMostPasses == 0 || inPlayed < mMostPasses) &&
                             (mMostSeconds == 0 || inSeconds < mMostSeconds));
}

PassFigures Playback::PlayFrames(const std::string& inName, const std::vector<int>& inFrames)
{
    PassAudience audience(inName, static_cast<int>(inFrames.size()), mEveryByte, mCache, mChecksums,
                          mFailures, mDisplay);
    try
    {
        mPlayer.Play(inFrames, mAnalysis ? mAnalysis->BeginPass(audience) : audience);
    }
    catch (...)
    {
        audience.Finish();
        throw;
    }
    PassFigures figures = audience.Finish();
    if (mAnalysis)
        figures.mAnalysis = mAnalysis->EndPass();
    return figures;
}

void Playback::WriteContactSheet(const std::string& inPath)
{
    ContactSheet sheet(mImporter);
    SheetAudience audience(sheet);
    mPlayer.Play(EvenlySpaced(mFrameCount, ContactSheet::kMostFrames), audience);
    if (!sheet.HasFrames())
        throw HostError(kExit_Failure, inPath + ": not written, since no frame could be decoded");
    sheet.Write(inPath);
}

} // namespace RKHost
