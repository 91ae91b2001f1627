#pragma once

#include <memory>

#include "qelcore/AsyncExecutor.h"

namespace qelcore
{
namespace threads
{

class ViewState;

/// How a view on an executor waits for its own work.
enum class FlushStyle
{
    kWait,        // other threads run it by themselves
    kDrive,       // flush the executor, which may be what runs it
    kDriveOrLeave // the same, and give up where that changes nothing
};

// What a view needs of its parent. Holding it does not keep the parent from its end: that is up to the
// clients' references alone, and a drain on its way out must not become the last of them.
class ExecutorCore
{
public:
    virtual ~ExecutorCore();

    /// As AsyncExecutor::Post; refuses once the executor has ended.
    virtual bool Post(const AsyncExecutor::Callable& inCallable, int inDelayMilliseconds) = 0;
    virtual int GetParallelism() = 0;
    /// AsyncExecutor::Flush without regard to views.
    virtual void FlushOwnJobs() = 0;
    virtual FlushStyle StyleOfFlush() const = 0;
    /// Whether a flush of a view must run jobs itself where nobody else does: because the calling thread
    /// is within a job of this executor and so may hold up the view, or because nothing is known.
    virtual bool FlushMustHelp() const = 0;
    /// Makes Flush() of this executor wait for the view's work as well.
    virtual void AddView(const std::weak_ptr<ViewState>& inView) = 0;
};

// An executor of ours: views stand on its core. Its delays are on the edge's clock.
class LocalExecutor : public AsyncExecutor
{
public:
    virtual std::shared_ptr<ExecutorCore> Core() = 0;
};

} // namespace threads
} // namespace qelcore
