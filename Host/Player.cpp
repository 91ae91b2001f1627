#include "Player.h"

#include <algorithm>

#include <boost/make_shared.hpp>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/MainThread.h"

namespace RKHost
{

namespace
{

constexpr std::size_t kReadAheadPerThread = 4;
// A pass out of the cache never waits, so it looks for signals once in so many frames.
constexpr std::size_t kFramesBetweenPolls = 32;

} // namespace

Player::Player(const Sequence& inSequence, int inFrameCount, FrameCache& inCache,
               const ImporterModule& inImporter, EventLoop& inLoop)
    : mSequence(inSequence)
    , mCache(inCache)
    , mImporter(inImporter)
    , mLoop(inLoop)
{
    const qelcore::threads::AsyncExecutorPtr executor = qelcore::threads::GetCPUBoundExecutor();
    // One decode a thread, and a second file a thread that is read or waits to be decoded.
    mQueue = RK::CreateDecodeQueue(executor, -1, -2, false);
    mSeats.resize(static_cast<std::size_t>(executor->GetParallelism()) * kReadAheadPerThread);
    mInfos.resize(static_cast<std::size_t>(inFrameCount));
    for (int frame = 0; frame < inFrameCount; ++frame)
        mKeys.push_back(FrameCache::MakeKey(mSequence.FramePath(frame)));
}

Player::~Player()
{
    // Requests that have delivered may still be leaving the queue, with references to files' bytes.
    qelcore::threads::GetIOBoundExecutor()->Flush();
    mQueue->FlushAllRequests();
}

void Player::Play(const std::vector<int>& inFrames, IAudience& ioAudience)
{
    try
    {
        std::size_t asked = 0;
        for (std::size_t shown = 0; shown < inFrames.size(); ++shown)
        {
            for (; asked < inFrames.size() && asked - shown < mSeats.size(); ++asked)
                Ask(inFrames[asked], mSeats[asked % mSeats.size()]);
            if (shown % kFramesBetweenPolls == 0)
                mLoop.RunPending();
            Seat& seat = mSeats[shown % mSeats.size()];
            Await(seat);
            Show(inFrames[shown], seat, ioAudience);
        }
    }
    catch (...)
    {
        CancelAll();
        throw;
    }
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
    mQueue->QueueRequest(boost::make_shared<FrameRequest>(mSequence.FramePath(inFrame), mKeys[at],
                                                          mCache, mImporter, deliver));
}

void Player::Deliver(int inFrame, Seat* outSeat, const FrameResult& inResult)
{
    --mUnderWay;
    outSeat->mResult = inResult;
    outSeat->mReady = true;
    if (inResult.mFrame.mPixels)
        mInfos[static_cast<std::size_t>(inFrame)] = inResult.mFrame.mInfo;
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
    mQueue->TryToCancelAllRequests();
    // Each request delivers, cancelled or not, and until then it refers to a seat.
    while (mUnderWay > 0)
        mLoop.WaitAndRun();
    std::fill(mSeats.begin(), mSeats.end(), Seat());
}

} // namespace RKHost
