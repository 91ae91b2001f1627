#pragma once

#include <functional>
#include <vector>

#include <boost/make_shared.hpp>

#include "DecodeQueueImpl.h"

namespace Testing
{

// A decode queue with its inside out. It derives from the implementation as queues with more rules do.
class InspectedQueue : public RK::DecodeQueueImpl
{
public:
    using DecodeQueueImpl::DecodeQueueImpl;
    using DecodeQueueImpl::InitiateIO;
    using DecodeQueueImpl::IOCompleted;

    std::function<void(const RK::DecodeRequestPtr&, int inStatus, bool inCPUStageDone)> onRetire;

    static boost::shared_ptr<InspectedQueue>
    Create(const qelcore::threads::AsyncExecutorPtr& inExecutor, int inMaxCPUCost, int inMaxIOCost,
           bool inUsePriority)
    {
        const auto queue = boost::make_shared<InspectedQueue>(inExecutor, inMaxCPUCost, inMaxIOCost,
                                                              inUsePriority);
        queue->Init();
        return queue;
    }

    using DecodeQueueImpl::Retire;
    void Retire(const RK::DecodeRequestPtr& inRequest, int inStatus, bool inCPUStageDone) override
    {
        if (onRetire)
            onRetire(inRequest, inStatus, inCPUStageDone);
        DecodeQueueImpl::Retire(inRequest, inStatus, inCPUStageDone);
    }

    const char* HolderTag() const { return mMutex.HolderTag(); }
    /// From a thread that does not hold it.
    bool IsLocked()
    {
        if (!mMutex.TryLock("InspectedQueue::IsLocked"))
            return true;
        mMutex.Unlock();
        return false;
    }
    int CurrentIOCost()
    {
        const Lock lock(mMutex);
        return mCurrentIOCost;
    }
    int CurrentCPUCost()
    {
        const Lock lock(mMutex);
        return mCurrentCPUCost;
    }
    using Requests = std::vector<RK::DecodeRequestPtr>;
    // The contents, in their own order.
    Requests PendingIO() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mPendingIO); }
    Requests PendingCPU() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mPendingCPU); }
    Requests ActiveIO() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mActiveIO); }
    Requests ActiveCPU() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mActiveCPU); }

private:
    template <class Container>
    Requests Copy(const Container& inField)
    {
        const Lock lock(mMutex);
        return {inField.begin(), inField.end()};
    }
};

} // namespace Testing
