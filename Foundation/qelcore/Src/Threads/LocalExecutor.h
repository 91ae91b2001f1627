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

// An executor of ours. Views use what they cannot ask of a foreign one; its delays are on the edge's clock.
class LocalExecutor : public AsyncExecutor
{
public:
    /// @return whether the calling thread is within a job of this executor or of one that it is a view on.
    virtual bool CallerIsWithin() const = 0;
    virtual FlushStyle StyleOfFlush() const = 0;
    /// Flush() without regard to views: what a view drives its parent with.
    virtual void FlushOwnJobs() = 0;
    /// Makes Flush() of this executor wait for the view's work as well.
    virtual void AddView(const std::weak_ptr<ViewState>& inView) = 0;
};

} // namespace threads
} // namespace qelcore
