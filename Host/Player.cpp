#include "Player.h"

#include <algorithm>

#include <boost/make_shared.hpp>

#include "HostError.h"
#include "Stopwatch.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/MainThread.h"

namespace RKHost
{

namespace
{

constexpr double kSecond = 1e9; // nanoseconds
constexpr std::size_t kReadAheadPerThread = 4;
constexpr std::size_t kLeastReadAhead = 2;      // one is shown while the other is decoded
constexpr std::uint64_t kReadAheadOfBudget = 4; // a fourth
// A pass out of the cache never waits, so it looks for signals once in so many frames.
constexpr std::size_t kFramesBetweenPolls = 32;

} // namespace

Player::Player(const Sequence& inSequence, int inFrameCount, FrameCache& inCache, FilePool& inFiles,
               const ImporterModule& inImporter, EventLoop& inLoop, double inFramesPerSecond)
    : mSequence(inSequence)
    , mCache(inCache)
    , mFiles(inFiles)
    , mImporter(inImporter)
    , mLoop(inLoop)
    , mFrameNanoseconds(
          inFramesPerSecond > 0 ? static_cast<std::uint64_t>(kSecond / inFramesPerSecond) : 0)
{
    const qelcore::threads::AsyncExecutorPtr executor = qelcore::threads::GetCPUBoundExecutor();
    // One decode a thread, and a second file a thread that is read or waits to be decoded.
    mQueue = RK::CreateIdentifiedDecodeQueue(executor, -1, -2, false);
    mSeats.resize(static_cast<std::size_t>(executor->GetParallelism()) * kReadAheadPerThread);
    mReadAhead = mSeats.size();
    Grow(inFrameCount);
}

void Player::Grow(int inFrameCount)
{
    mInfos.resize(static_cast<std::size_t>(inFrameCount));
    for (auto frame = static_cast<int>(mKeys.size()); frame < inFrameCount; ++frame)
        mKeys.push_back(FrameCache::MakeKey(mSequence.FramePath(frame)));
}

Player::~Player()
{
    // Requests that have delivered may still be leaving the queue, with references to files' bytes.
    qelcore::threads::GetIOBoundExecutor()->Flush();
    mQueue->FlushAllIdentifiedRequests();
}

void Player::Play(const std::vector<int>& inFrames, IAudience& ioAudience)
{
    try
    {
        std::size_t asked = 0;
        LimitReadAhead(mCache.BudgetBytes());
        for (std::size_t shown = 0; shown < inFrames.size(); ++shown)
        {
            for (; asked < inFrames.size() && asked - shown < mReadAhead; ++asked)
                Ask(inFrames[asked], mSeats[asked % mSeats.size()]);
            if (shown % kFramesBetweenPolls == 0)
                mLoop.RunPending();
            Seat& seat = mSeats[shown % mSeats.size()];
            Await(seat);
            AwaitTurn();
            Show(inFrames[shown], seat, ioAudience);
        }
    }
    catch (...)
    {
        CancelAll();
        throw;
    }
}

// What is ahead is held whether the cache has room for it or not, so a small budget makes it shorter.
void Player::LimitReadAhead(std::uint64_t inBudgetBytes)
{
    if (mLargestFrame == 0)
        return;
    const std::uint64_t room = inBudgetBytes / kReadAheadOfBudget / mLargestFrame;
    mReadAhead = std::clamp<std::size_t>(room, kLeastReadAhead, mSeats.size());
}

RK::DecodeQueueCounters Player::QueueCounters() const
{
    RK::DecodeQueueCounters counters;
    RK::GetDecodeQueueCounters(*mQueue, counters);
    return counters;
}

void Player::AwaitTurn()
{
    if (mFrameNanoseconds == 0)
        return;
    while (NowInNanoseconds() < mNextTurn && !mLoop.IsInterrupted())
        mLoop.WaitAndRunUntil(mNextTurn);
    if (mLoop.IsInterrupted())
        throw Interrupted();
    // A frame that comes a whole turn late moves all that follow: they are not rushed through after it.
    const std::uint64_t now = NowInNanoseconds();
    mNextTurn = (now - mNextTurn > mFrameNanoseconds ? now : mNextTurn) + mFrameNanoseconds;
}

void Player::Ask(int inFrame, Seat& outSeat)
{
    const auto at = static_cast<std::size_t>(inFrame);
    outSeat = Seat();
    if (mInfos[at].mLayout != kRKImageLayout_None)
        outSeat.mResult.mFrame.mPixels = mCache.Get(mKeys[at]);
    if (outSeat.mResult.mFrame.mPixels)
    {
        outSeat.mResult.mFrame.mInfo = mInfos[at];
        outSeat.mHit = outSeat.mReady = true;
        return;
    }
    Seat* seat = &outSeat;
    const auto deliver = [this, inFrame, seat](const FrameResult& inResult)
    {
        qelcore::threads::AsyncCallFromMainThread([this, inFrame, seat, inResult]
                                                  { Deliver(inFrame, seat, inResult); }, 0);
    };
    ++mUnderWay;
    mQueue->QueueIdentifiedRequest(boost::make_shared<FrameRequest>(
        mSequence.FramePath(inFrame), mKeys[at], mCache, mFiles, mImporter, deliver));
}

void Player::Deliver(int inFrame, Seat* outSeat, const FrameResult& inResult)
{
    --mUnderWay;
    outSeat->mResult = inResult;
    outSeat->mReady = true;
    if (!inResult.mFrame.mPixels)
        return;
    mInfos[static_cast<std::size_t>(inFrame)] = inResult.mFrame.mInfo;
    if (inResult.mFrame.mPixels->Size() > mLargestFrame)
    {
        mLargestFrame = inResult.mFrame.mPixels->Size();
        LimitReadAhead(mCache.BudgetBytes());
    }
}

void Player::Await(const Seat& inSeat)
{
    while (!inSeat.mReady && !mLoop.IsInterrupted())
        mLoop.WaitAndRun();
    if (mLoop.IsInterrupted())
        throw Interrupted();
}

void Player::Show(int inFrame, Seat& ioSeat, IAudience& ioAudience)
{
    // Taken out of its seat, so that the frame is not held longer than it is shown.
    const FrameResult result = std::move(ioSeat.mResult);
    if (result.mFrame.mPixels)
        ioAudience.OnFrame(inFrame, result.mFrame, ioSeat.mHit);
    else
        ioAudience.OnFailure(inFrame, result.mError);
}

void Player::CancelAll()
{
    mQueue->TryToCancelAllQueuedIdentifiedRequests();
    // Each request delivers, cancelled or not, and until then it refers to a seat.
    while (mUnderWay > 0)
        mLoop.WaitAndRun();
    std::fill(mSeats.begin(), mSeats.end(), Seat());
}

} // namespace RKHost
