#include "View.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include <boost/weak_ptr.hpp>

#include "Platform/Clock.h"

namespace qelcore
{
namespace threads
{
namespace
{

// A drain pays one post at the parent; over 32 jobs that cost is lost in theirs, and others wait for
// no more than 32 jobs. An executor that somebody drives gets one post for each job, so that whoever
// turns it by hand turns the jobs one by one.
constexpr int kBatch = 32;
constexpr int kBatchByHand = 1;

// What the parent runs for a view: small enough for boost::function to hold it without an allocation.
struct PostedDrain
{
    std::shared_ptr<ViewState> mView;
    void operator()() const { mView->Drain(); }
};

// A delay at the parent. The view does not live for its sake. When the last copy goes without having
// run, the parent has dropped it.
class Delay
{
public:
    Delay(const std::weak_ptr<ViewState>& inView, const DueKey& inKey)
        : mView(inView)
        , mKey(inKey)
    {
    }
    ~Delay()
    {
        if (const std::shared_ptr<ViewState> view = mView.lock())
            view->OnDelayDropped(mKey);
    }
    Delay(const Delay&) = delete;
    Delay& operator=(const Delay&) = delete;

    void Over() const
    {
        if (const std::shared_ptr<ViewState> view = mView.lock())
            view->OnDelayOver(mKey);
    }

private:
    const std::weak_ptr<ViewState> mView;
    const DueKey mKey;
};

struct PostedDelay
{
    std::shared_ptr<Delay> mDelay;
    void operator()() const { mDelay->Over(); }
};

// An executor of somebody else's making. What it has queued for a view does not keep it alive.
class ForeignCore final : public ExecutorCore
{
public:
    explicit ForeignCore(const AsyncExecutorPtr& inExecutor)
        : mExecutor(inExecutor)
    {
    }

    bool Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds) override
    {
        const AsyncExecutorPtr executor = mExecutor.lock();
        return executor && executor->Post(inCallable, inDelayMilliseconds);
    }
    int GetParallelism() override
    {
        const AsyncExecutorPtr executor = mExecutor.lock();
        return executor ? executor->GetParallelism() : 1;
    }
    void FlushOwnJobs() override
    {
        if (const AsyncExecutorPtr executor = mExecutor.lock())
            executor->Flush();
    }
    FlushStyle StyleOfFlush() const override { return FlushStyle::kDrive; }
    bool FlushMustHelp() const override { return true; }
    void AddView(const std::weak_ptr<ViewState>&) override {}

private:
    const boost::weak_ptr<AsyncExecutor> mExecutor;
};

} // namespace

void ViewList::Add(const std::weak_ptr<ViewState>& inView)
{
    Lock lock(mMutex);
    mViews.erase(std::remove_if(mViews.begin(), mViews.end(),
                                [](const auto& view) { return view.expired(); }),
                 mViews.end());
    mViews.push_back(inView);
}

ViewList::Progress ViewList::Snapshot()
{
    Progress progress;
    std::vector<std::weak_ptr<ViewState>> views;
    {
        Lock lock(mMutex);
        views = mViews;
    }
    for (const auto& weak : views)
    {
        if (std::shared_ptr<ViewState> view = weak.lock())
        {
            const Ticket end = view->DueEnd();
            progress.emplace_back(std::move(view), end);
        }
    }
    return progress;
}

void ViewList::WaitFor(const Progress& inProgress)
{
    for (const auto& view : inProgress)
        view.first->WaitUpTo(view.second);
}

ExecutorCore::~ExecutorCore() = default;

std::shared_ptr<ExecutorCore> CoreOf(const AsyncExecutorPtr& inExecutor)
{
    if (auto* const local = dynamic_cast<LocalExecutor*>(inExecutor.get()))
        return local->Core();
    return std::make_shared<ForeignCore>(inExecutor);
}

ViewState::ViewState(const std::shared_ptr<ExecutorCore>& inParent, int inLimit)
    : mParent(inParent)
    , mStyle(inParent->StyleOfFlush())
    , mLimit(inLimit < 1 ? std::numeric_limits<int>::max() : inLimit)
    , mMostDrains(RunsByItself() ? std::min(mLimit, inParent->GetParallelism()) : mLimit)
    , mBatch(RunsByItself() ? kBatch : kBatchByHand)
{
}

bool ViewState::Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds)
{
    AsyncExecutor::Callable callable(inCallable); // the client's code, so before the lock
    return inDelayMilliseconds <= 0 ? PostNow(std::move(callable))
                                    : PostLater(std::move(callable), inDelayMilliseconds);
}

void ViewState::Push(AsyncExecutor::Callable&& ioCallable)
{
    mQueue.Push(std::move(ioCallable), mNextTicket);
    ++mNextTicket;
}

/// Claims a drain if one more would find work. @return whether the caller must post or be it.
bool ViewState::ClaimDrain()
{
    if (mQueue.Empty() || mDrains >= mMostDrains)
        return false;
    const std::size_t waiting = static_cast<std::size_t>(std::max(mDrains - mRunningCount, 0));
    if (!RunsByItself() && waiting >= mQueue.Size())
        return false;
    ++mDrains;
    return true;
}

/// @return false if the parent has stopped, or has no memory for one more job.
bool ViewState::PostDrain()
{
    try
    {
        return mParent->Post(PostedDrain{shared_from_this()}, 0);
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

bool ViewState::PostNow(AsyncExecutor::Callable&& ioCallable)
{
    AsyncExecutor::Callable refused; // ends after the lock
    Lock lock(mMutex);
    if (mStopped)
        return false;
    const Ticket ticket = mNextTicket;
    Push(std::move(ioCallable));
    if (!ClaimDrain())
        return true;
    if (PostClaimedDrain())
        return true;
    // The parent has stopped. Unless a drain that it took before has our job, nobody will run it.
    const bool taken = !mQueue.Remove(ticket, refused);
    PostOwedDrain(); // somebody else may have counted on our drain
    return taken;
}

/// Posts a claimed drain, or gives the claim back.
bool ViewState::PostClaimedDrain()
{
    bool posted = false;
    if (mStyle != FlushStyle::kDrive)
    {
        // With the lock held, so that no other post counts on a drain that is then refused. Our own
        // executors take a leaf and run nothing.
        posted = PostDrain();
    }
    else
    {
        mMutex.Unlock();
        posted = PostDrain();
        mMutex.Lock();
    }
    if (!posted)
        --mDrains;
    return posted;
}

bool ViewState::PostLater(AsyncExecutor::Callable&& ioCallable, int inDelayMilliseconds)
{
    DueKey key(mStyle == FlushStyle::kDrive ? 0 : DueAfter(inDelayMilliseconds), 0);
    {
        Lock lock(mMutex);
        if (mStopped)
            return false;
        key.second = mNextDelayed++;
        mDelayed.emplace(key, std::move(ioCallable));
    }
    // Refused, the delay ends here and takes the callable out again.
    return mParent->Post(PostedDelay{std::make_shared<Delay>(weak_from_this(), key)},
                         inDelayMilliseconds);
}

/// Makes due what was to run up to that moment. On the edge's clock whatever comes before inKey is due
/// as well, even if the parent comes to it later; a foreign executor's time is its own affair.
void ViewState::PromoteUpTo(const DueKey& inKey)
{
    const bool exact = mStyle == FlushStyle::kDrive;
    auto delayed = exact ? mDelayed.find(inKey) : mDelayed.begin();
    const auto end = mDelayed.upper_bound(inKey);
    while (delayed != mDelayed.end() && delayed != end)
    {
        Push(std::move(delayed->second));
        delayed = mDelayed.erase(delayed); // an empty callable by now
    }
}

void ViewState::PromoteDue()
{
    if (!mDelayed.empty() && mStyle != FlushStyle::kDrive)
        PromoteUpTo(DueKey(Platform::Clock().NowNanoseconds(), ~std::uint64_t{0}));
}

void ViewState::OnDelayOver(const DueKey& inKey)
{
    {
        Lock lock(mMutex);
        PromoteUpTo(inKey);
        if (!ClaimDrain())
            return;
    }
    Drain();
}

void ViewState::OnDelayDropped(const DueKey& inKey)
{
    DelayedJobs::node_type dropped; // ends after the lock
    Lock lock(mMutex);
    dropped = mDelayed.extract(inKey);
}

bool ViewState::MayRunOne()
{
    return !mQueue.Empty() && mRunningCount < mLimit;
}

void ViewState::RunOne()
{
    Job job;
    mQueue.PopInto(job);
    Running running{job.mTicket, mRunning, nullptr};
    if (mRunning != nullptr)
        mRunning->mPrevious = &running;
    mRunning = &running;
    ++mRunningCount;

    mMutex.Unlock();
    RunAndRelease(job);
    mMutex.Lock();

    (running.mPrevious != nullptr ? running.mPrevious->mNext : mRunning) = running.mNext;
    if (running.mNext != nullptr)
        running.mNext->mPrevious = running.mPrevious;
    --mRunningCount;
    ++mDoneCount;
    if (mFlushing > 0)
        mJobDone.NotifyAll();
}

void ViewState::Drain()
{
    const ExecutorFrame frame(this);
    Lock lock(mMutex);
    do
    {
        for (int i = 0; i < mBatch && MayRunOne(); ++i)
            RunOne();
        --mDrains;
        if (!MayRunOne() || !ClaimDrain())
            return;
    } while (!PostClaimedDrain() && ClaimDrain());
}

/// Sees to what is queued without a drain.
void ViewState::PostOwedDrain()
{
    if (!ClaimDrain() || PostClaimedDrain())
        return;
    const ExecutorFrame frame(this);
    while (MayRunOne())
        RunOne();
}

Ticket ViewState::DueEnd()
{
    Lock lock(mMutex);
    PromoteDue();
    const Ticket end = mNextTicket;
    PostOwedDrain();
    return end;
}

bool ViewState::HasRunUpTo(Ticket inEnd)
{
    if (!mQueue.Empty() && mQueue.Front().mTicket < inEnd)
        return false;
    for (const Running* running = mRunning; running != nullptr; running = running->mNext)
    {
        if (running->mTicket < inEnd)
            return false;
    }
    return true;
}

/// Flushes the parent for as long as that brings our work on.
void ViewState::DriveParentUpTo(Ticket inEnd)
{
    std::uint64_t done = 0;
    for (bool first = true;; first = false)
    {
        {
            Lock lock(mMutex);
            if (HasRunUpTo(inEnd) || (!first && mDoneCount == done))
                return;
            done = mDoneCount;
        }
        mParent->FlushOwnJobs();
    }
}

void ViewState::WaitUpTo(Ticket inEnd)
{
    if (!RunsByItself())
        DriveParentUpTo(inEnd);
    if (mStyle == FlushStyle::kDriveOrLeave)
        return;
    const bool help = mParent->FlushMustHelp();
    Lock lock(mMutex);
    ++mFlushing;
    while (!HasRunUpTo(inEnd))
    {
        if (!help || !MayRunOne())
        {
            mJobDone.Wait(mMutex);
            continue;
        }
        const ExecutorFrame frame(this);
        RunOne();
    }
    --mFlushing;
    PostOwedDrain();
}

void ViewState::Flush()
{
    if (ExecutorFrame::IsInside(this))
        return;
    const ViewList::Progress views = mViews.Snapshot();
    FlushOwnJobs();
    ViewList::WaitFor(views);
}

void ViewState::FlushOwnJobs()
{
    if (!ExecutorFrame::IsInside(this))
        WaitUpTo(DueEnd());
}

void ViewState::Stop()
{
    DelayedJobs dropped; // its callables end after the lock
    Lock lock(mMutex);
    PromoteDue();
    mStopped = true;
    dropped.swap(mDelayed);
    PostOwedDrain();
}

bool ViewState::IsStopped()
{
    Lock lock(mMutex);
    return mStopped;
}

int ViewState::GetParallelism()
{
    return std::min(mLimit, mParent->GetParallelism());
}

int ViewState::GetPendingCount()
{
    Lock lock(mMutex);
    return static_cast<int>(mQueue.Size() + mDelayed.size());
}

bool ViewState::FlushMustHelp() const
{
    return ExecutorFrame::IsInside(this) || mParent->FlushMustHelp();
}

View::View(const AsyncExecutorPtr& inParent, const std::shared_ptr<ViewState>& inState)
    : mParent(inParent)
    , mState(inState)
{
}

View::~View()
{
    mState->Stop();
}

bool View::Post(const Callable& inCallable, int inDelayMilliseconds)
{
    return mState->Post(inCallable, inDelayMilliseconds);
}

int View::GetParallelism()
{
    return mState->GetParallelism();
}

void View::Stop()
{
    mState->Stop();
}

bool View::IsStopped()
{
    return mState->IsStopped();
}

int View::GetPendingCount()
{
    return mState->GetPendingCount();
}

void View::Flush()
{
    mState->Flush();
}

} // namespace threads
} // namespace qelcore
