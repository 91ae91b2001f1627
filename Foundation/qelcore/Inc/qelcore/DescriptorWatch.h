// Descriptors that the main thread's loop watches, beside the jobs that are posted to it: no thread of its
// own waits for them. While one is ready GetMainThreadDescriptor() is readable, and the next
// DispatchMainThread() or Run function calls back.
//
// Callbacks  Run on the main thread, one at a time, each at most once a dispatch; within one that
//            dispatches itself only the others run. They count as jobs of the main thread's executor: a
//            Flush of it returns at once in them, and what they raise ends in the trace. Stop of it does
//            not touch them. Without a registered main thread events wait for the next one.
// Readiness  Is a level, not an edge: a callback takes what made the descriptor ready (reads it empty,
//            say), or it is called again and again. A hung-up descriptor stays ready until its watch ends.
//            A source that forgets its event when it is polled cannot be watched for kReady_Priority,
//            since several loops look at one descriptor; wrap it into an epoll descriptor first, watched
//            for EPOLLIN | EPOLLET.
// Threads    WatchDescriptor() from any thread; one DescriptorWatch from one thread at a time.
#pragma once

#include <cstdint>

#include <boost/function.hpp>

#include "qelcore/Export.h"

namespace qelcore
{
namespace threads
{

class DescriptorWatches;

/// What a descriptor is watched for and found ready for; a set of them is a sum.
constexpr unsigned kDescriptorEvent_Readable = 1;
constexpr unsigned kDescriptorEvent_Writable = 2;
constexpr unsigned kDescriptorEvent_Priority = 4; // out-of-band data
/// Hung up or failed. Told whether it was asked for or not.
constexpr unsigned kDescriptorEvent_Broken = 8;

using DescriptorCallback = boost::function<void(unsigned inEvents)>;

/// A watch, for the life of this object.
class RK_API DescriptorWatch
{
public:
    /// Watches nothing.
    DescriptorWatch() noexcept = default;
    DescriptorWatch(DescriptorWatch&& ioOther) noexcept;
    /// Ends the watch that stood here before.
    DescriptorWatch& operator=(DescriptorWatch&& ioOther) noexcept;
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;
    ~DescriptorWatch();

    /// Ends the watch, if there is one. When this returns the callback is not running and will not run,
    /// unless the caller is within it. Waits for a running callback, so hold no lock that it takes.
    void End() noexcept;
    bool IsWatching() const noexcept { return mOwner != nullptr; }

private:
    friend class DescriptorWatches;
    DescriptorWatch(DescriptorWatches& inOwner, std::uint64_t inID) noexcept;

    DescriptorWatches* mOwner = nullptr; // lives for ever
    std::uint64_t mID = 0;
};

/// Watches a descriptor, which may be closed at once: the watch shares the open file behind it. One
/// descriptor may have several watches.
/// @param inEvents    a sum of kDescriptorEvent_ values.
/// @param inCallback  must not be empty. Destroyed on the thread that ends the watch, or on the main one.
/// @throws std::system_error with EPERM for what is always ready (a regular file), EBADF for what is no
///         descriptor, and if there are no descriptors left.
[[nodiscard]] RK_API DescriptorWatch WatchDescriptor(int inDescriptor, unsigned inEvents,
                                                     const DescriptorCallback& inCallback);

} // namespace threads
} // namespace qelcore
