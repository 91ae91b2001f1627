#include "DescriptorWatches.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Job.h"
#include "qelcore/AsyncExecutor.h"

namespace qelcore
{
namespace threads
{

static_assert(kDescriptorEvent_Readable == Platform::kReady_Readable &&
              kDescriptorEvent_Writable == Platform::kReady_Writable &&
              kDescriptorEvent_Priority == Platform::kReady_Priority &&
              kDescriptorEvent_Broken == Platform::kReady_Broken);

struct DescriptorWatches::Watch
{
    Watch(Platform::WakeSet& ioSet, int inDescriptor, unsigned inEvents, std::uint64_t inID)
        : descriptor(ioSet, inDescriptor, inEvents, inID)
    {
    }
    Platform::WatchedDescriptor descriptor;
    DescriptorCallback callback; // does not change once the watch is in the map
    std::uint64_t runner = 0;    // thread ID; 0 is none. Under mMutex
};

DescriptorWatch DescriptorWatches::Add(Platform::WakeSet& ioSet, int inDescriptor,
                                       unsigned inEvents, const DescriptorCallback& inCallback)
{
    DescriptorCallback callback(inCallback); // the client's code, so before the lock
    // From its making on it may be taken ready, and who takes it looks for it in the map: under the lock.
    Lock lock(mMutex);
    const std::uint64_t id = mNextID++;
    const auto watch = std::make_shared<Watch>(ioSet, inDescriptor, inEvents, id);
    mWatches.emplace(id, watch);
    watch->callback.swap(callback);
    mCount.store(mWatches.size(), std::memory_order_release);
    return DescriptorWatch(*this, id);
}

void DescriptorWatches::End(std::uint64_t inID) noexcept
{
    WatchPtr gone; // outlives the lock: its callback is the client's
    Lock lock(mMutex);
    const auto found = mWatches.find(inID);
    if (found == mWatches.end())
        return;
    gone.swap(found->second);
    mWatches.erase(found);
    mCount.store(mWatches.size(), std::memory_order_release);
    while (gone->runner != 0 && gone->runner != GetCurrentThreadID())
        mReturned.Wait(mMutex);
}

DescriptorWatches::WatchPtr DescriptorWatches::Begin(std::uint64_t inID)
{
    Lock lock(mMutex);
    const auto found = mWatches.find(inID);
    if (found == mWatches.end())
        return nullptr;
    found->second->runner = GetCurrentThreadID();
    return found->second;
}

void DescriptorWatches::Return(std::uint64_t inID, Watch& ioWatch)
{
    Lock lock(mMutex);
    ioWatch.runner = 0;
    if (mWatches.count(inID) != 0)
        ioWatch.descriptor.Arm();
    mReturned.NotifyAll();
}

int DescriptorWatches::RunReady(Platform::WakeSet& ioSet)
{
    std::vector<std::uint64_t> run;
    std::uint64_t id = 0;
    unsigned events = 0;
    while (!Empty() && ioSet.TakeReady(id, events))
    {
        const WatchPtr watch = Begin(id);
        if (!watch)
            continue;
        // What is armed again goes to the end, so at the first that comes back all have had their turn.
        const bool again = std::find(run.begin(), run.end(), id) != run.end();
        if (!again)
        {
            run.push_back(id);
            Job job;
            job.mCallable = [&watch, events] { watch->callback(events); };
            RunAndRelease(job);
        }
        Return(id, *watch);
        if (again)
            break;
    }
    return static_cast<int>(run.size());
}

DescriptorWatch::DescriptorWatch(DescriptorWatches& inOwner, std::uint64_t inID) noexcept
    : mOwner(&inOwner)
    , mID(inID)
{
}

DescriptorWatch::DescriptorWatch(DescriptorWatch&& ioOther) noexcept
    : mOwner(std::exchange(ioOther.mOwner, nullptr))
    , mID(ioOther.mID)
{
}

DescriptorWatch& DescriptorWatch::operator=(DescriptorWatch&& ioOther) noexcept
{
    if (this == &ioOther)
        return *this;
    End();
    mOwner = std::exchange(ioOther.mOwner, nullptr);
    mID = ioOther.mID;
    return *this;
}

DescriptorWatch::~DescriptorWatch()
{
    End();
}

void DescriptorWatch::End() noexcept
{
    if (mOwner != nullptr)
        std::exchange(mOwner, nullptr)->End(mID);
}

} // namespace threads
} // namespace qelcore
