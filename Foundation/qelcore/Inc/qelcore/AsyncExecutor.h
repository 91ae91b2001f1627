#pragma once

#include <cstdint>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"

namespace qelcore
{
namespace threads
{

// A pool of work.
//
// Threads  Any function from any thread, jobs of the pool included. Posting takes no lock that a
//          running job holds.
// Errors   An exception out of a job ends in the trace (category "AsyncExecutor", level 0), not in the
//          process, and is told to nobody else.
class RK_API AsyncExecutor
{
public:
    using Callable = boost::function<void()>;

    virtual ~AsyncExecutor();

    /// Runs inCallable later on the pool. Work without a delay starts in the order of posting.
    /// @param inDelayMilliseconds  on the clock of the platform edge; 0 or less is at once.
    /// @return whether the job was accepted; false after Stop().
    virtual bool Post(const Callable& inCallable, int inDelayMilliseconds) = 0;

    /// How many callables run at a time.
    virtual int GetParallelism() = 0;

    /// Takes no new work. What is due already still runs; what waits for its delay is dropped.
    virtual void Stop() = 0;
    virtual bool IsStopped() = 0;

    /// Jobs accepted and not yet begun, those that wait for a delay included: for displays.
    virtual int GetPendingCount() = 0;

    /// Waits until all work that was due when Flush was called has run. Work still waiting for its
    /// delay is not waited for. From within a job of this very executor it returns at once.
    virtual void Flush() = 0;
};

using AsyncExecutorPtr = boost::shared_ptr<AsyncExecutor>;

/// New pools. One for work that computes, with a thread for each processor that the process may use;
/// one for work that waits, with more.
RK_API AsyncExecutorPtr CreateCPUBoundExecutor();
RK_API AsyncExecutorPtr CreateIOBoundExecutor();

/// The shared pools of the process. They live until its end.
RK_API AsyncExecutorPtr GetCPUBoundExecutor();
RK_API AsyncExecutorPtr GetIOBoundExecutor();

/// A view on inExecutor that runs at most inLimit callables at a time, in order if inLimit is 1; -1
/// sets no limit. Stop() and Flush() of a view concern only what was posted through it.
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
