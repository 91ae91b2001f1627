#pragma once

#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "Job.h"
#include "LocalExecutor.h"
#include "Timer.h"
#include "ViewList.h"
#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{

// What the threads of a pool share; it lives until the last of them has ended.
class PoolState final : public TimerClient,
                        public ExecutorCore,
                        public std::enable_shared_from_this<PoolState>
{
public:
    /// @param inName  borrowed for ever; at most 8 bytes, so that a number fits behind it.
    PoolState(int inThreads, const char* inName);

    bool Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds) override
        RK_EXCLUDES(mMutex);
    int GetParallelism() override { return mThreadLimit; }
    void FlushOwnJobs() override RK_EXCLUDES(mMutex);
    FlushStyle StyleOfFlush() const override { return FlushStyle::kWait; }
    bool FlushMustHelp() const override { return ExecutorFrame::IsInside(this); }
    void AddView(const std::weak_ptr<ViewState>& inView) override { mViews.Add(inView); }

    void Stop() RK_EXCLUDES(mMutex);
    bool IsStopped() RK_EXCLUDES(mMutex);
    int GetPendingCount() RK_EXCLUDES(mMutex);
    void Flush() RK_EXCLUDES(mMutex);
    /// Stops, and waits until the threads have run what is due and have ended; called on one of them,
    /// lets them go instead.
    void End() RK_EXCLUDES(mMutex);

    void OnTimer() override RK_EXCLUDES(mMutex);

private:
    // What one thread does. Guarded by mMutex.
    struct Worker
    {
        Ticket mRunning = 0;
    };

    bool PostNow(AsyncExecutor::Callable&& ioCallable) RK_EXCLUDES(mMutex);
    bool PostLater(AsyncExecutor::Callable&& ioCallable, int inDelayMilliseconds)
        RK_EXCLUDES(mMutex);
    void Push(AsyncExecutor::Callable&& ioCallable) RK_REQUIRES(mMutex);
    bool CallsOneMore() RK_REQUIRES(mMutex);
    bool EnsureThread() RK_REQUIRES(mMutex);
    void PromoteDue() RK_REQUIRES(mMutex);
    std::uint64_t NextCall() RK_REQUIRES(mMutex);
    bool HasRunUpTo(Ticket inEnd) RK_REQUIRES(mMutex);
    void Run(Worker& ioWorker, int inNumber) RK_EXCLUDES(mMutex);
    bool TakeJob(Worker& ioWorker, Job& outJob) RK_EXCLUDES(mMutex);

    const int mThreadLimit;
    const char* const mName;
    ViewList mViews;

    // mMutex guards everything below. It is a leaf, and no job runs and no callable is copied or
    // destroyed with it held.
    Mutex mMutex;
    Condition mWork;
    Condition mJobDone;
    JobQueue mQueue RK_GUARDED_BY(mMutex);
    DelayedJobs mDelayed RK_GUARDED_BY(mMutex);
    std::uint64_t mCallDue RK_GUARDED_BY(mMutex) = kNever; // what the timer was asked for last
    Ticket mNextTicket RK_GUARDED_BY(mMutex) = 1;
    std::uint64_t mNextDelayed RK_GUARDED_BY(mMutex) = 0;
    bool mStopped RK_GUARDED_BY(mMutex) = false;
    int mIdle RK_GUARDED_BY(mMutex) = 0;     // threads without a job, those about to start included
    int mSleeping RK_GUARDED_BY(mMutex) = 0; // of these, the ones that wait for mWork
    // A sleeping thread was called and has not got the mutex yet. Cleared by whichever comes first, perhaps one that
    // nobody called: then one more is called than need be.
    bool mIsCalling RK_GUARDED_BY(mMutex) = false;
    int mFlushing RK_GUARDED_BY(mMutex) = 0;
    std::list<Worker> mWorkers RK_GUARDED_BY(mMutex); // one for each thread ever started
    std::vector<std::thread> mThreads RK_GUARDED_BY(mMutex);
};

// The pool that a client holds. Its end is the end of the pool.
class Pool final : public LocalExecutor
{
public:
    Pool(int inThreads, const char* inName);
    ~Pool() override;

    bool Post(const Callable& inCallable, int inDelayMilliseconds) override;
    int GetParallelism() override;
    void Stop() override;
    bool IsStopped() override;
    int GetPendingCount() override;
    void Flush() override;

    std::shared_ptr<ExecutorCore> Core() override { return mState; }

private:
    const std::shared_ptr<PoolState> mState;
};

} // namespace threads
} // namespace qelcore
