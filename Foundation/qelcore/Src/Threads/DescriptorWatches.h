#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "Platform/WakeSet.h"
#include "qelcore/DescriptorWatch.h"
#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{

// The watched descriptors of one wake set. Lives for ever, as its handles expect.
//
// A watch is ready, running or armed. Who has taken it ready is alone with it, so it runs on one thread at
// a time; afterwards it is armed again if it is still in the map. Ending takes it out of the map, and then
// waits until it does not run.
class DescriptorWatches
{
public:
    /// @param ioSet  the same at each call.
    DescriptorWatch Add(Platform::WakeSet& ioSet, int inDescriptor, unsigned inEvents,
                        const DescriptorCallback& inCallback) RK_EXCLUDES(mMutex);
    void End(std::uint64_t inID) noexcept RK_EXCLUDES(mMutex);

    bool Empty() const noexcept { return mCount.load(std::memory_order_acquire) == 0; }
    /// Runs the callbacks of all that are ready, each once. @return their number.
    int RunReady(Platform::WakeSet& ioSet) RK_EXCLUDES(mMutex);

private:
    struct Watch;
    using WatchPtr = std::shared_ptr<Watch>;

    /// @return the watch, as running on this thread; null if it has ended meanwhile.
    WatchPtr Begin(std::uint64_t inID) RK_EXCLUDES(mMutex);
    void Return(std::uint64_t inID, Watch& ioWatch) RK_EXCLUDES(mMutex);

    Mutex mMutex; // a leaf: no callback runs and none is destroyed with it held
    Condition mReturned;
    std::map<std::uint64_t, WatchPtr> mWatches RK_GUARDED_BY(mMutex);
    std::uint64_t mNextID RK_GUARDED_BY(mMutex) = 1;
    std::atomic<std::size_t> mCount{0}; // of mWatches; written under mMutex
};

} // namespace threads
} // namespace qelcore
