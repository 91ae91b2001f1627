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

// A callable that is queued at most once at a time. Owned by the threads part; see there.
class QueueOnlyOnce
{
public:
    using Callable = boost::function<void()>;
    static boost::shared_ptr<QueueOnlyOnce> Create(const Callable& inCallable, const AsyncExecutorPtr& inExecutor,
                                                   int inMinDelayMilliseconds, int inMaxDelayMilliseconds);
    void Queue();
};

} // namespace threads
} // namespace qelcore
