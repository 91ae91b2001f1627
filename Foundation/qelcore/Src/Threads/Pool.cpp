#include "Pool.h"

#include <cstdio>
#include <system_error>
#include <utility>

#include "Platform/Clock.h"
#include "Platform/Thread.h"

namespace qelcore
{
namespace threads
{

PoolState::PoolState(int inThreads, const char* inName)
    : mThreadLimit(inThreads)
    , mName(inName)
{
}

bool PoolState::Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds)
{
    AsyncExecutor::Callable callable(inCallable); // the client's code, so before the lock
    return inDelayMilliseconds <= 0 ? PostNow(std::move(callable))
                                    : PostLater(std::move(callable), inDelayMilliseconds);
}

bool PoolState::PostNow(AsyncExecutor::Callable&& ioCallable)
{
    bool wake = false;
    {
        Lock lock(mMutex);
        if (mStopped || !EnsureThread())
            return false;
        Push(std::move(ioCallable));
        wake = CallsOneMore();
    }
    if (wake)
        mWork.NotifyOne();
    return true;
}

bool PoolState::PostLater(AsyncExecutor::Callable&& ioCallable, int inDelayMilliseconds)
{
    if (!TimerIsThere())
        return false;
    const std::uint64_t due = DueAfter(inDelayMilliseconds);
    std::uint64_t call = kNever;
    {
        Lock lock(mMutex);
        if (mStopped || (mThreads.empty() && !EnsureThread()))
            return false;
        mDelayed.emplace(DueKey(due, mNextDelayed++), std::move(ioCallable));
        call = NextCall();
    }
    if (call != kNever)
        CallAt(call, weak_from_this());
    return true;
}

void PoolState::Push(AsyncExecutor::Callable&& ioCallable)
{
    mQueue.Push(std::move(ioCallable), mNextTicket);
    ++mNextTicket;
}

/// Whether a sleeping thread is to be called now: one at a time, and that one calls the next if there is more
/// to do. As many are then awake as the processors have room for, or wait for a disk; the rest sleeps on, and
/// does not take turns with them.
bool PoolState::CallsOneMore()
{
    if (mSleeping == 0 || mIsCalling)
        return false;
    mIsCalling = true;
    return true;
}

/// Starts a thread if one more job would find none idle.
/// @return false if there is no thread at all, and none to be had.
bool PoolState::EnsureThread()
{
    const bool enough = mQueue.Size() < static_cast<std::size_t>(mIdle);
    if (enough || mThreads.size() == static_cast<std::size_t>(mThreadLimit))
        return true;
    try
    {
        mThreads.reserve(mThreads.size() + 1);
        Worker& worker = mWorkers.emplace_back();
        const int number = static_cast<int>(mThreads.size());
        mThreads.emplace_back([self = shared_from_this(), &worker, number]
                              { self->Run(worker, number); });
        ++mIdle;
    }
    catch (const std::system_error&)
    {
        mWorkers.pop_back();
        return !mThreads.empty();
    }
    return true;
}

void PoolState::PromoteDue()
{
    if (mDelayed.empty())
        return;
    const std::uint64_t now = Platform::Clock().NowNanoseconds();
    while (!mDelayed.empty() && mDelayed.begin()->first.first <= now)
    {
        EnsureThread();
        Push(std::move(mDelayed.begin()->second));
        mDelayed.erase(mDelayed.begin()); // an empty callable by now
    }
}

/// @return when the timer is to call, if it is not going to in time anyway.
std::uint64_t PoolState::NextCall()
{
    if (mDelayed.empty() || mDelayed.begin()->first.first >= mCallDue)
        return kNever;
    mCallDue = mDelayed.begin()->first.first;
    return mCallDue;
}

void PoolState::OnTimer()
{
    std::uint64_t call = kNever;
    {
        Lock lock(mMutex);
        mCallDue = kNever;
        PromoteDue();
        call = NextCall();
    }
    mWork.NotifyAll();
    if (call != kNever)
        CallAt(call, weak_from_this());
}

void PoolState::Stop()
{
    DelayedJobs dropped; // its callables end after the lock
    {
        Lock lock(mMutex);
        mStopped = true;
        PromoteDue();
        dropped.swap(mDelayed);
    }
    mWork.NotifyAll();
}

bool PoolState::IsStopped()
{
    Lock lock(mMutex);
    return mStopped;
}

int PoolState::GetPendingCount()
{
    Lock lock(mMutex);
    return static_cast<int>(mQueue.Size() + mDelayed.size());
}

bool PoolState::HasRunUpTo(Ticket inEnd)
{
    if (!mQueue.Empty() && mQueue.Front().mTicket < inEnd)
        return false;
    for (const Worker& worker : mWorkers)
    {
        if (worker.mRunning != 0 && worker.mRunning < inEnd)
            return false;
    }
    return true;
}

void PoolState::Flush()
{
    if (ExecutorFrame::IsInside(this))
        return;
    const ViewList::Progress views = mViews.Snapshot();
    FlushOwnJobs();
    ViewList::WaitFor(views);
}

void PoolState::FlushOwnJobs()
{
    if (ExecutorFrame::IsInside(this))
        return;
    Lock lock(mMutex);
    PromoteDue();
    mWork.NotifyAll();
    const Ticket end = mNextTicket;
    ++mFlushing;
    while (!HasRunUpTo(end))
        mJobDone.Wait(mMutex);
    --mFlushing;
}

void PoolState::End()
{
    Stop();
    std::vector<std::thread> threads;
    {
        Lock lock(mMutex);
        threads.swap(mThreads);
    }
    const bool onOwnThread = ExecutorFrame::IsInside(this);
    for (std::thread& thread : threads)
    {
        if (onOwnThread)
            thread.detach();
        else
            thread.join();
    }
}

/// Waits for a job. @return false when the pool has stopped and nothing is left to run.
bool PoolState::TakeJob(Worker& ioWorker, Job& outJob)
{
    bool wake = false;
    {
        Lock lock(mMutex);
        if (ioWorker.mRunning != 0)
        {
            ioWorker.mRunning = 0;
            ++mIdle;
            if (mFlushing > 0)
                mJobDone.NotifyAll();
        }
        while (mQueue.Empty())
        {
            if (mStopped)
                return false;
            ++mSleeping;
            mWork.Wait(mMutex);
            --mSleeping;
            mIsCalling = false;
        }
        mQueue.PopInto(outJob);
        ioWorker.mRunning = outJob.mTicket;
        --mIdle;
        wake = !mQueue.Empty() && CallsOneMore();
    }
    if (wake)
        mWork.NotifyOne();
    return true;
}

void PoolState::Run(Worker& ioWorker, int inNumber)
{
    char name[16];
    std::snprintf(name, sizeof(name), "%s.%d", mName, inNumber);
    Platform::SetCurrentThreadName(name);
    const ExecutorFrame frame(this);
    Job job;
    while (TakeJob(ioWorker, job))
        RunAndRelease(job);
}

Pool::Pool(int inThreads, const char* inName)
    : mState(new PoolState(inThreads, inName))
{
}

Pool::~Pool()
{
    mState->End();
}

bool Pool::Post(const Callable& inCallable, int inDelayMilliseconds)
{
    return mState->Post(inCallable, inDelayMilliseconds);
}

int Pool::GetParallelism()
{
    return mState->GetParallelism();
}

void Pool::Stop()
{
    mState->Stop();
}

bool Pool::IsStopped()
{
    return mState->IsStopped();
}

int Pool::GetPendingCount()
{
    return mState->GetPendingCount();
}

void Pool::Flush()
{
    mState->Flush();
}

} // namespace threads
} // namespace qelcore
