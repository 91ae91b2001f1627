#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ContactSheet.h"
#include "FilePool.h"
#include "FrameCache.h"
#include "Options.h"
#include "Player.h"
#include "Progress.h"
#include "Sequence.h"
#include "SequenceAnalysis.h"
#include "Summary.h"

namespace RKHost
{

// Tells of frames that failed: each one once, and only so many, which it reports as errors too.
class FailureReport
{
public:
    FailureReport(const Sequence& inSequence, const std::string& inImporter)
        : mSequence(inSequence)
        , mImporter(inImporter)
    {
    }

    /// @return the line to be written; empty if there is none.
    std::string Note(int inFrame, const std::string& inError);
    /// Frames that failed in any pass.
    int Count() const { return static_cast<int>(mTold.size()); }
    /// The line on those that were not told of; empty if there are none.
    std::string Rest() const;

private:
    static constexpr int kMostLines = 20;

    const Sequence& mSequence;
    const std::string mImporter;
    std::set<int> mTold;
};

// A sequence and all that plays it, pass by pass.
//
// Threads  The main thread only.
class Playback
{
public:
    /// All are borrowed for the playback's life. Frames that fail are told of on standard error.
    /// @throw HostError
    Playback(const Options& inOptions, EventLoop& ioLoop, IPassDisplay& ioDisplay);

    /// "shot_[0001-0240].tif: 240 frames\n"
    std::string Title() const;
    int FrameCount() const { return mFrameCount; }
    const FrameCache& Cache() const { return mCache; }
    std::size_t FilesKeptOpen() const { return mFiles.OpenCount(); }
    const FailureReport& Failures() const { return mFailures; }
    RK::DecodeQueueCounters QueueCounters() const { return mPlayer.QueueCounters(); }

    /// Plays every frame once or more often, as the options say.
    /// @throw Interrupted; what is thrown from within the loop.
    PlayedFigures PlayPasses();
    /// Plays these, in that order.
    PassFigures PlayFrames(const std::string& inName, const std::vector<int>& inFrames);
    /// Looks for frames that were added behind the last one. Not for a pass that is analysed.
    void Grow();
    FileVersion VersionOf(int inFrame) const
    {
        return FileVersion::Of(mSequence.FramePath(inFrame));
    }
    /// @throw HostError if no frame can be decoded, or the file cannot be written.
    void WriteContactSheet(const std::string& inPath);

private:
    bool WantsPass(int inPlayed, double inSeconds) const;

    const int mMostPasses;     ///< 0: no limit
    const double mMostSeconds; ///< 0: no limit
    const bool mEveryByte;
    const int mScrubSeed; ///< 0: frames are played in their order
    IPassDisplay& mDisplay;
    const ImporterModule mImporter;
    const int mMostFrames; ///< 0: no limit
    Sequence mSequence;
    int mFrameCount;
    FrameCache mCache;
    FilePool mFiles;
    Player mPlayer;
    FailureReport mFailures;
    const std::unique_ptr<SequenceAnalysis> mAnalysis; ///< null: not asked for
    std::vector<std::uint64_t> mChecksums; ///< by frame, from the last time it was played
};

} // namespace RKHost
