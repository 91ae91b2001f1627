#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include <boost/bind/bind.hpp>
#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "qelcore/AsyncExecutor.h"

namespace qelcore
{
namespace threads
{

// A callable that is queued at most once at a time: any number of requests while it waits are one run,
// and a request during its run makes another run. It is always held by a shared pointer; the executor
// holds it weakly, so that a queued run ends quietly if the object has gone.
//
// Delay    Between the two bounds. Where they differ, a random back-off that grows with the number of
//          requests made so far, drawn from rand().
// Stopped  Where the executor refuses the job, the object counts as queued for good.
// Threads  Any function from any thread.
class QueueOnlyOnce : public boost::enable_shared_from_this<QueueOnlyOnce>
{
public:
    using Callable = boost::function<void()>;

    /// Put it into a shared pointer before Queue(), or use Create().
    /// @param inCallable   an empty one throws boost::bad_function_call when it is run.
    /// @param inExecutor   shared; must not be null.
    /// @param inMaxDelayMilliseconds  raised to the minimum if it is below.
    QueueOnlyOnce(const Callable& inCallable, const AsyncExecutorPtr& inExecutor,
                  int inMinDelayMilliseconds, int inMaxDelayMilliseconds)
        : queued(0)
        , callable(inCallable)
        , executor(inExecutor)
        , minDelay(inMinDelayMilliseconds)
        , maxDelay((std::max)(inMinDelayMilliseconds, inMaxDelayMilliseconds))
        , attempts(1)
    {
    }

    static boost::shared_ptr<QueueOnlyOnce> Create(const Callable& inCallable,
                                                   const AsyncExecutorPtr& inExecutor,
                                                   int inMinDelayMilliseconds,
                                                   int inMaxDelayMilliseconds)
    {
        return boost::make_shared<QueueOnlyOnce>(inCallable, inExecutor, inMinDelayMilliseconds,
                                                 inMaxDelayMilliseconds);
    }

    /// Queues the callable unless it is queued.
    /// @throws boost::bad_weak_ptr if no shared pointer holds the object.
    void Queue()
    {
        std::int32_t idle = 0;
        if (!queued.compare_exchange_strong(idle, 1))
            return;
        const int delay = NextDelay();
        const boost::weak_ptr<QueueOnlyOnce> self(shared_from_this());
        executor->Post(boost::bind(&QueueOnlyOnce::Callback, self), delay);
    }

private:
    // Only whoever has changed queued from 0 to 1 comes here, so attempts needs no atomic.
    int NextDelay()
    {
        if (minDelay == maxDelay)
            return minDelay;
        ++attempts;
        // Up to 2^k - 1 slots of the minimum, as in an exponential back-off of k collisions.
        const std::uint32_t doublings = (std::min)(attempts, std::uint32_t{31});
        const auto slots = static_cast<double>((std::uint32_t{1} << doublings) - 1);
        const double factor = std::rand() * slots / 2147483647.0;
        const double delay = std::trunc(minDelay * factor);
        return static_cast<int>((std::min)(static_cast<double>(maxDelay),
                                           (std::max)(delay, static_cast<double>(minDelay))));
    }

    static void Callback(const boost::weak_ptr<QueueOnlyOnce>& inSelf)
    {
        const boost::shared_ptr<QueueOnlyOnce> self = inSelf.lock();
        if (!self)
            return;
        // The flag clears before the call, so that a request during the run makes another run.
        std::int32_t waiting = 1;
        if (self->queued.compare_exchange_strong(waiting, 0))
            self->callable();
    }

    // The weak self is the base's.
    std::atomic<std::int32_t> queued; // 1 while a run waits
    Callable callable;
    AsyncExecutorPtr executor;
    int minDelay; // milliseconds
    int maxDelay;
    std::uint32_t attempts;
};

} // namespace threads
} // namespace qelcore
