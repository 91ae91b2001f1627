#pragma once

#include <memory>

#include "Job.h"
#include "LocalExecutor.h"
#include "ViewList.h"
#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{

// A view keeps its jobs in a queue of its own and posts drains to its parent. A drain takes jobs one
// by one, so that a job that waits holds up nothing but its drain; after a batch it goes to the end of
// the parent's queue, so that no view starves another.
//
// Invariants  (1) Never more than mLimit jobs run at a time, whoever runs them.
//             (2) While a job is queued, a drain is posted or runs, or a flush that helps is at work
//                 and posts a drain at its end.
//             (3) A job that was accepted runs: where the parent refuses to take a drain again, the
//                 drain goes on where it is.
class ViewState final : public ExecutorCore, public std::enable_shared_from_this<ViewState>
{
public:
    ViewState(const std::shared_ptr<ExecutorCore>& inParent, int inLimit);

    bool Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds) override
        RK_EXCLUDES(mMutex);
    int GetParallelism() override;
    void FlushOwnJobs() override RK_EXCLUDES(mMutex);
    FlushStyle StyleOfFlush() const override { return mStyle; }
    bool FlushMustHelp() const override;
    void AddView(const std::weak_ptr<ViewState>& inView) override { mViews.Add(inView); }

    void Stop() RK_EXCLUDES(mMutex);
    bool IsStopped() RK_EXCLUDES(mMutex);
    int GetPendingCount() RK_EXCLUDES(mMutex);
    void Flush() RK_EXCLUDES(mMutex);

    /// The end of what is due now, for WaitUpTo().
    Ticket DueEnd() RK_EXCLUDES(mMutex);
    void WaitUpTo(Ticket inEnd) RK_EXCLUDES(mMutex);

    // The life of a drain, and of a wait for a delay.
    void Drain() RK_EXCLUDES(mMutex);
    void OnDelayOver(const DueKey& inKey) RK_EXCLUDES(mMutex);
    void OnDelayDropped(const DueKey& inKey) RK_EXCLUDES(mMutex);

private:
    // A job that runs now, on the stack of whoever runs it.
    struct Running
    {
        Ticket mTicket;
        Running* mNext;
        Running* mPrevious;
    };

    bool PostNow(AsyncExecutor::Callable&& ioCallable) RK_EXCLUDES(mMutex);
    bool PostLater(AsyncExecutor::Callable&& ioCallable, int inDelayMilliseconds)
        RK_EXCLUDES(mMutex);
    bool PostDrain();
    bool PostClaimedDrain() RK_REQUIRES(mMutex);
    void PostOwedDrain() RK_REQUIRES(mMutex);
    void Push(AsyncExecutor::Callable&& ioCallable) RK_REQUIRES(mMutex);
    void PromoteUpTo(const DueKey& inKey) RK_REQUIRES(mMutex);
    void PromoteDue() RK_REQUIRES(mMutex);
    bool ClaimDrain() RK_REQUIRES(mMutex);
    bool MayRunOne() RK_REQUIRES(mMutex);
    void RunOne() RK_REQUIRES(mMutex);
    bool HasRunUpTo(Ticket inEnd) RK_REQUIRES(mMutex);
    void DriveParentUpTo(Ticket inEnd) RK_EXCLUDES(mMutex);
    bool RunsByItself() const { return mStyle == FlushStyle::kWait; }

    const std::shared_ptr<ExecutorCore> mParent;
    const FlushStyle mStyle;
    const int mLimit;
    const int mMostDrains;
    const int mBatch; // jobs of one drain
    ViewList mViews;

    // mMutex guards everything below. It is a leaf, and no job runs and no callable is copied or
    // destroyed with it held.
    Mutex mMutex;
    Condition mJobDone;
    JobQueue mQueue RK_GUARDED_BY(mMutex);
    DelayedJobs mDelayed RK_GUARDED_BY(mMutex); // each has a post at the parent
    Ticket mNextTicket RK_GUARDED_BY(mMutex) = 1;
    std::uint64_t mNextDelayed RK_GUARDED_BY(mMutex) = 0;
    Running* mRunning RK_GUARDED_BY(mMutex) = nullptr;
    int mRunningCount RK_GUARDED_BY(mMutex) = 0;
    int mDrains RK_GUARDED_BY(mMutex) = 0; // posted or running
    int mFlushing RK_GUARDED_BY(mMutex) = 0;
    std::uint64_t mDoneCount RK_GUARDED_BY(mMutex) = 0;
    bool mStopped RK_GUARDED_BY(mMutex) = false;
};

/// @return what a view on inExecutor stands on.
std::shared_ptr<ExecutorCore> CoreOf(const AsyncExecutorPtr& inExecutor);

// The view that a client holds.
class View final : public LocalExecutor
{
public:
    View(const AsyncExecutorPtr& inParent, const std::shared_ptr<ViewState>& inState);
    ~View() override;

    bool Post(const Callable& inCallable, int inDelayMilliseconds) override;
    int GetParallelism() override;
    void Stop() override;
    bool IsStopped() override;
    int GetPendingCount() override;
    void Flush() override;

    std::shared_ptr<ExecutorCore> Core() override { return mState; }

private:
    const AsyncExecutorPtr mParent; // what it is a view on lives as long as it
    const std::shared_ptr<ViewState> mState;
};

} // namespace threads
} // namespace qelcore
