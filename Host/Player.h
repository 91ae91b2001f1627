#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <RiverKit/RKDecodeQueueCounters.h>
#include <RiverKit/RKIdentifiedDecodeQueue.h>

#include "EventLoop.h"
#include "FilePool.h"
#include "FrameCache.h"
#include "FrameRequest.h"
#include "ImporterModule.h"
#include "Sequence.h"

namespace RKHost
{

/// Who looks at the frames of a pass, on the main thread and in their order.
class IAudience
{
public:
    virtual ~IAudience() = default;
    /// @param inFrame  the number of the frame in the sequence, from 0.
    /// @param inHit  it came from the cache.
    virtual void OnFrame(int inFrame, const Frame& inPicture, bool inHit) = 0;
    virtual void OnFailure(int inFrame, const std::string& inError) = 0;
};

// Plays frames as an application would: in order, with some frames asked for ahead of the one that is
// shown, as long as those take no more than a quarter of the cache's budget. Each frame is looked for
// in the cache, and a miss goes through the decode queue, where frames that are asked for again before they
// have come join the first request.
//
// Threads  The main thread only, which the player keeps running meanwhile.
class Player
{
public:
    /// All are borrowed for the player's life.
    /// @param inFramesPerSecond  how many are shown at the most; 0: as many as there are.
    Player(const Sequence& inSequence, int inFrameCount, FrameCache& inCache, FilePool& inFiles,
           const ImporterModule& inImporter, EventLoop& inLoop, double inFramesPerSecond = 0);
    ~Player();

    /// The sequence has more frames now.
    void Grow(int inFrameCount);

    /// @throw Interrupted; and what the audience throws, once nothing is under way any more.
    void Play(const std::vector<int>& inFrames, IAudience& ioAudience);

    /// What the decode queue has done so far.
    RK::DecodeQueueCounters QueueCounters() const;
    /// Frames that are asked for ahead of the one that is shown, at the most.
    std::size_t ReadAhead() const { return mReadAhead; }
    /// Fits it to a budget, by the largest frame so far; Play does so by itself.
    void LimitReadAhead(std::uint64_t inBudgetBytes);

private:
    // A frame that was asked for and not yet shown.
    struct Seat
    {
        bool mReady = false;
        bool mHit = false;
        FrameResult mResult;
    };

    void AwaitTurn();
    void Ask(int inFrame, Seat& outSeat);
    void Await(const Seat& inSeat);
    void Show(int inFrame, Seat& ioSeat, IAudience& ioAudience);
    void Deliver(int inFrame, Seat* outSeat, const FrameResult& inResult);
    void CancelAll();

    const Sequence& mSequence;
    FrameCache& mCache;
    FilePool& mFiles;
    const ImporterModule& mImporter;
    EventLoop& mLoop;
    const std::uint64_t mFrameNanoseconds; ///< between two frames; 0: none
    std::uint64_t mNextTurn = 0;           ///< when the next frame may be shown
    RK::IdentifiedDecodeQueuePtr mQueue;
    std::vector<FrameCache::Key> mKeys; ///< by frame
    std::vector<RKImageInfo> mInfos;    ///< by frame; layout none as long as it was not decoded
    std::vector<Seat> mSeats;           ///< a ring, by position in the pass
    std::uint64_t mLargestFrame = 0;    ///< bytes
    std::size_t mReadAhead;             ///< frames, by the budget and the largest frame
    int mUnderWay = 0;                  ///< requests that have not delivered
};

} // namespace RKHost
