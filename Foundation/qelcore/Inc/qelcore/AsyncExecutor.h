#pragma once

#include <cstdint>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"

namespace qelcore
{
namespace threads
{

// A pool of work, or a view on one.
//
// Order    Work without a delay is begun in the order of posting. Only a view of limit 1 also ends it
//          in that order, since elsewhere several run at a time.
// Delays   On the clock of the platform edge; work whose delay is over queues behind what is due.
// Threads  Any function from any thread, jobs of the executor included. Posting takes no lock that a
//          running job holds, and copies and destroys callables with no lock held.
// Errors   An exception out of a job ends in the trace (category "AsyncExecutor", level 0), not in the
//          process, and is told to nobody else. A callable that is empty counts as such a job. What a
//          job holds is let go of before the job counts as run.
// End      Letting go of the last reference stops the executor. The last reference to a pool also waits
//          until the work that is due has run, unless it goes from within a job of the pool: then the
//          threads finish by themselves. A view counts as a reference to what it is a view on; apart
//          from that its end waits for nothing.
class RK_API AsyncExecutor
{
public:
    using Callable = boost::function<void()>;

    virtual ~AsyncExecutor();

    /// Runs inCallable later on the pool.
    /// @param inDelayMilliseconds  0 or less is at once.
    /// @return whether the job was accepted; false after Stop(), and where the system has no thread to
    ///         run it.
    virtual bool Post(const Callable& inCallable, int inDelayMilliseconds) = 0;

    /// How many callables run at a time, at most.
    virtual int GetParallelism() = 0;

    /// Takes no new work, and waits for nothing. What is due already still runs; what waits for its
    /// delay is dropped.
    virtual void Stop() = 0;
    virtual bool IsStopped() = 0;

    /// Jobs accepted and not yet begun, those that wait for a delay included: for displays.
    virtual int GetPendingCount() = 0;

    /// Waits until all work that was due when Flush was called has run, that of views on this executor
    /// included. Work still waiting for its delay is not waited for. From within a job of this very
    /// executor, or of a view on it, it returns at once.
    virtual void Flush() = 0;
};

using AsyncExecutorPtr = boost::shared_ptr<AsyncExecutor>;

/// A new pool for work that computes, with a thread for each processor that the process may use.
RK_API AsyncExecutorPtr CreateCPUBoundExecutor();
/// A new pool for work that waits, with up to 64 threads. Threads are made when there is work for them.
RK_API AsyncExecutorPtr CreateIOBoundExecutor();

/// The shared pools of the process. They live until its end.
RK_API AsyncExecutorPtr GetCPUBoundExecutor();
RK_API AsyncExecutorPtr GetIOBoundExecutor();

/// A view on inExecutor that runs at most inLimit callables at a time, in order if inLimit is 1.
///
/// Stop() and Flush() of a view, and its end, concern only what was posted through it. Its parallelism
/// is the lesser of the limit and inExecutor's. Views on one executor take turns after 32 jobs, so
/// that none starves another. Once inExecutor has stopped the view refuses work too, but runs what it
/// has accepted. Flush() of a view from within a job of inExecutor runs the view's jobs right there
/// where they would otherwise have to wait for the caller.
/// @param inExecutor  shared; must not be null. Any executor, also one of the caller's own making:
///                    that one gets one post for each job of the view.
/// @param inLimit     -1, like any number below 1, sets no limit.
RK_API AsyncExecutorPtr CreateSubExecutor(const AsyncExecutorPtr& inExecutor, int inLimit);

/// A number that identifies the calling thread among those that live.
RK_API std::uint64_t GetCurrentThreadID();

// Where pools come from: tests put pools there that they turn by hand.
class RK_API IExecutorFactory
{
public:
    virtual ~IExecutorFactory();
    virtual AsyncExecutorPtr CreateCPUBound() = 0;
    virtual AsyncExecutorPtr CreateIOBound() = 0;
    virtual AsyncExecutorPtr SharedCPUBound() = 0;
    virtual AsyncExecutorPtr SharedIOBound() = 0;
};

/// Puts inFactory in the place of the real one for its life. One at a time; made and destroyed while
/// no other thread asks for pools.
class RK_API ScopedExecutorFactory
{
public:
    explicit ScopedExecutorFactory(IExecutorFactory& inFactory);
    ~ScopedExecutorFactory();
    ScopedExecutorFactory(const ScopedExecutorFactory&) = delete;
    ScopedExecutorFactory& operator=(const ScopedExecutorFactory&) = delete;

private:
    IExecutorFactory* mBefore;
};

} // namespace threads
} // namespace qelcore
