#include "qelcore/MainThread.h"

#include <chrono>
#include <memory>

#include <boost/make_shared.hpp>

#include "DescriptorWatches.h"
#include "Job.h"
#include "LocalExecutor.h"
#include "Platform/Clock.h"
#include "Platform/WakeSet.h"
#include "ViewList.h"
#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{
namespace
{

// Invariant: with the wake set made, it is signalled while a job is queued or a stop is asked for, and
// its alarm stands at the first delayed job where the clock runs by itself. Both change under mMutex.
class MainThread final : public LocalExecutor, public ExecutorCore, public Platform::IClockListener
{
public:
    bool Register() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        if (mRegistered != 0)
            return mRegistered == GetCurrentThreadID();
        mRegistered = GetCurrentThreadID();
        mStopped = false;
        mDispatched = false;
        return true;
    }

    void Unregister() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        if (mRegistered != GetCurrentThreadID())
            return;
        mRegistered = 0;
        mRunDepth = 0;
        mDispatched = false;
        mProgress.NotifyAll();
    }

    bool IsRegistered() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        return mRegistered == GetCurrentThreadID();
    }

    bool Post(const Callable& inCallable, int inDelayMilliseconds) override RK_EXCLUDES(mMutex)
    {
        Callable callable(inCallable); // the client's code, so before the lock
        Lock lock(mMutex);
        if (mStopped)
            return false;
        if (inDelayMilliseconds <= 0)
            mQueue.Push(std::move(callable), mNextTicket++);
        else
            mDelayed.emplace(DueKey(DueAfter(inDelayMilliseconds), mNextDelayed++),
                             std::move(callable));
        UpdateWakeSet();
        return true;
    }

    int GetParallelism() override { return 1; }

    void Stop() override RK_EXCLUDES(mMutex)
    {
        DelayedJobs dropped; // its callables end after the lock
        Lock lock(mMutex);
        mStopped = true;
        PromoteDue();
        dropped.swap(mDelayed);
        UpdateWakeSet();
    }

    bool IsStopped() override RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        return mStopped;
    }

    int GetPendingCount() override RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        return static_cast<int>(mQueue.Size() + mDelayed.size());
    }

    void Flush() override RK_EXCLUDES(mMutex)
    {
        if (ExecutorFrame::IsInside(this))
            return;
        const ViewList::Progress views = mViews.Snapshot();
        FlushOwnJobs();
        ViewList::WaitFor(views);
    }

    void FlushOwnJobs() override RK_EXCLUDES(mMutex)
    {
        if (ExecutorFrame::IsInside(this))
            return;
        if (IsRegistered())
            RunDue();
        else
            WaitWhileDriven();
    }

    FlushStyle StyleOfFlush() const override { return FlushStyle::kDriveOrLeave; }
    bool FlushMustHelp() const override { return false; } // its jobs run on the main thread only
    void AddView(const std::weak_ptr<ViewState>& inView) override { mViews.Add(inView); }
    std::shared_ptr<ExecutorCore> Core() override
    {
        return std::shared_ptr<ExecutorCore>(std::shared_ptr<void>(), this); // never destroyed
    }

    void OnClockMoved() override RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        PromoteDue();
        UpdateWakeSet();
    }

    Platform::WakeSet& GetWakeSet() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        if (!mWakeSet)
        {
            mWakeSet = std::make_unique<Platform::WakeSet>();
            UpdateWakeSet();
        }
        return *mWakeSet;
    }

    int Dispatch() RK_EXCLUDES(mMutex)
    {
        {
            Lock lock(mMutex);
            if (mRegistered != GetCurrentThreadID())
                return 0;
            mDispatched = mDispatched || mRunDepth == 0;
        }
        const int jobs = RunDue();
        return mWatches.Empty() ? jobs : jobs + RunReadyWatches();
    }

    DescriptorWatch Watch(int inDescriptor, unsigned inEvents, const DescriptorCallback& inCallback)
    {
        return mWatches.Add(GetWakeSet(), inDescriptor, inEvents, inCallback);
    }

    // Says that the calling thread drives, for its life.
    class Driving
    {
    public:
        explicit Driving(MainThread& inThread)
            : mThread(inThread)
        {
            Lock lock(mThread.mMutex);
            ++mThread.mRunDepth;
        }
        ~Driving()
        {
            Lock lock(mThread.mMutex);
            if (mThread.mRunDepth > 0)
                --mThread.mRunDepth;
            mThread.mProgress.NotifyAll();
        }
        Driving(const Driving&) = delete;
        Driving& operator=(const Driving&) = delete;

    private:
        MainThread& mThread;
    };

    void AskToStop() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        mStopAsked = true;
        UpdateWakeSet();
    }
    bool TakeStop() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        const bool asked = mStopAsked;
        mStopAsked = false;
        UpdateWakeSet();
        return asked;
    }

private:
    void PromoteDue() RK_REQUIRES(mMutex)
    {
        if (mDelayed.empty())
            return;
        const std::uint64_t now = Platform::Clock().NowNanoseconds();
        while (!mDelayed.empty() && mDelayed.begin()->first.first <= now)
        {
            mQueue.Push(std::move(mDelayed.begin()->second), mNextTicket++);
            mDelayed.erase(mDelayed.begin());
        }
    }

    void UpdateWakeSet() RK_REQUIRES(mMutex)
    {
        if (!mWakeSet)
            return;
        const bool signal = !mQueue.Empty() || mStopAsked;
        if (signal && !mSignalled)
            mWakeSet->Signal();
        else if (!signal && mSignalled)
            mWakeSet->Clear();
        mSignalled = signal;
        const bool alarm = !mDelayed.empty() && Platform::Clock().RunsByItself();
        const std::uint64_t due = alarm ? mDelayed.begin()->first.first : 0;
        if (due != mAlarm)
            mWakeSet->SetAlarm(due);
        mAlarm = due;
    }

    /// Runs what is due now, on the registered thread. What the jobs post is left for the next time.
    int RunDue() RK_EXCLUDES(mMutex)
    {
        Ticket end = 0;
        {
            Lock lock(mMutex);
            PromoteDue();
            end = mNextTicket;
        }
        int count = 0;
        Job job;
        while (Take(end, job))
        {
            const ExecutorFrame frame(this);
            RunAndRelease(job);
            Lock lock(mMutex);
            ++mDoneCount;
            mProgress.NotifyAll();
            ++count;
        }
        return count;
    }

    int RunReadyWatches() RK_EXCLUDES(mMutex)
    {
        const ExecutorFrame frame(this);
        return mWatches.RunReady(GetWakeSet());
    }

    bool Take(Ticket inEnd, Job& outJob) RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        const bool found = !mQueue.Empty() && mQueue.Front().mTicket < inEnd;
        if (found)
            mQueue.PopInto(outJob);
        UpdateWakeSet();
        return found;
    }

    /// Jobs run one by one and in order, so their number tells how far they have come: nested runs end
    /// an inner job first, but the outer one is counted last.
    void WaitWhileDriven() RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        PromoteDue();
        UpdateWakeSet();
        const Ticket end = mNextTicket;
        while (mDoneCount + 1 < end && mRegistered != 0 && (mRunDepth > 0 || mDispatched))
            mProgress.Wait(mMutex);
    }

    Mutex mMutex; // a leaf: no job runs and no callable is copied or destroyed with it held
    Condition mProgress;
    std::unique_ptr<Platform::WakeSet> mWakeSet RK_GUARDED_BY(mMutex); // made once, never replaced
    JobQueue mQueue RK_GUARDED_BY(mMutex);
    DelayedJobs mDelayed RK_GUARDED_BY(mMutex);
    std::uint64_t mAlarm RK_GUARDED_BY(mMutex) = 0; // as set; 0 is none
    Ticket mNextTicket RK_GUARDED_BY(mMutex) = 1;
    Ticket mDoneCount RK_GUARDED_BY(mMutex) = 0;
    std::uint64_t mNextDelayed RK_GUARDED_BY(mMutex) = 0;
    std::uint64_t mRegistered RK_GUARDED_BY(mMutex) = 0; // thread ID; 0 is none
    int mRunDepth RK_GUARDED_BY(mMutex) = 0;             // Run functions at work
    bool mDispatched RK_GUARDED_BY(mMutex) = false;      // a foreign loop drives
    bool mStopped RK_GUARDED_BY(mMutex) = false;

    bool mStopAsked RK_GUARDED_BY(mMutex) = false; // to end RunMainThreadUntilStopped()
    bool mSignalled RK_GUARDED_BY(mMutex) = false; // the wake set, as it stands
    ViewList mViews;
    DescriptorWatches mWatches;
};

const boost::shared_ptr<MainThread>& TheMainThread()
{
    // Never destroyed: code that runs during exit may still post.
    static const boost::shared_ptr<MainThread>* const sMainThread = []
    {
        auto* const made = new boost::shared_ptr<MainThread>(boost::make_shared<MainThread>());
        Platform::AddClockListener(**made);
        return made;
    }();
    return *sMainThread;
}

// Ends a thread's registration with the thread.
struct RegistrationOfThread
{
    ~RegistrationOfThread() { TheMainThread()->Unregister(); }
};

} // namespace

bool RegisterMainThread()
{
    static thread_local const RegistrationOfThread tRegistration;
    static_cast<void>(&tRegistration); // made on first use
    return TheMainThread()->Register();
}

void UnregisterMainThread()
{
    TheMainThread()->Unregister();
}

bool IsMainThread()
{
    return TheMainThread()->IsRegistered();
}

AsyncExecutorPtr GetRegisteredMainThread()
{
    return TheMainThread();
}

bool AsyncCallFromMainThread(const boost::function<void()>& inCallable, int inDelayMilliseconds)
{
    return TheMainThread()->Post(inCallable, inDelayMilliseconds);
}

int GetMainThreadDescriptor()
{
    return TheMainThread()->GetWakeSet().Descriptor();
}

DescriptorWatch WatchDescriptor(int inDescriptor, unsigned inEvents,
                                const DescriptorCallback& inCallback)
{
    return TheMainThread()->Watch(inDescriptor, inEvents, inCallback);
}

int DispatchMainThread()
{
    return TheMainThread()->Dispatch();
}

int RunMainThreadUntilIdle()
{
    MainThread& thread = *TheMainThread();
    if (!thread.IsRegistered())
        return 0;
    const MainThread::Driving driving(thread);
    int count = 0;
    while (const int run = thread.Dispatch())
        count += run;
    return count;
}

int RunMainThreadFor(int inMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    MainThread& thread = *TheMainThread();
    if (!thread.IsRegistered())
        return 0;
    const MainThread::Driving driving(thread);
    Platform::WakeSet& wakeSet = thread.GetWakeSet();
    const auto end = Clock::now() + std::chrono::milliseconds(inMilliseconds);
    int count = thread.Dispatch();
    for (auto now = Clock::now(); now < end; now = Clock::now())
    {
        // Rounded up, so that the last millisecond is not spent in a busy loop.
        wakeSet.Wait(
            static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(end - now).count()));
        count += thread.Dispatch();
    }
    return count;
}

int RunMainThreadUntilStopped()
{
    MainThread& thread = *TheMainThread();
    if (!thread.IsRegistered())
        return 0;
    const MainThread::Driving driving(thread);
    Platform::WakeSet& wakeSet = thread.GetWakeSet();
    int count = thread.Dispatch();
    while (!thread.TakeStop())
    {
        wakeSet.Wait(-1);
        count += thread.Dispatch();
    }
    return count;
}

void StopMainThread()
{
    TheMainThread()->AskToStop();
}

} // namespace threads
} // namespace qelcore
