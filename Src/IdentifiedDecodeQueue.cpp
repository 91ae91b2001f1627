#include "RKIdentifiedDecodeQueue.h"

#include <set>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>

#include "IdentifiedDecodeQueueImpl.h"

namespace RK
{

IdentifiedDecodeRequest::~IdentifiedDecodeRequest() = default;
IdentifiedDecodeQueue::~IdentifiedDecodeQueue() = default;
IdentifiedDecodeQueueImpl::~IdentifiedDecodeQueueImpl() = default;

IdentifiedDecodeQueuePtr
CreateIdentifiedDecodeQueue(const qelcore::threads::AsyncExecutorPtr& inExecutor,
                            std::int32_t inMaxCPUCost, std::int32_t inMaxIOCost, bool inUsePriority)
{
    qelcore::threads::AsyncExecutorPtr executor = inExecutor;
    AdjustCreateParams(executor, inMaxCPUCost, inMaxIOCost);
    const auto queue = boost::make_shared<IdentifiedDecodeQueueImpl>(executor, inMaxCPUCost,
                                                                     inMaxIOCost, inUsePriority);
    queue->Init();
    return queue;
}

int IdentifiedDecodeQueueImpl::QueueIdentifiedRequest(const IdentifiedDecodeRequestPtr& inRequest)
{
    const Guid guid = inRequest->GetGuid();
    bool startNow = false;
    bool queueIO = false;
    {
        const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::QueueIdentifiedRequest");
        if (mIdentifiedRequests.find(guid) != mIdentifiedRequests.end())
        {
            mDuplicateRequests.emplace(guid, inRequest);
            mCounting.Enter(DecodePlace::kParked);
            return 0;
        }
        startNow = mCurrentIOCost == 0;
        if (startNow)
            ChargeAtOnce(inRequest);
        else
            PushRequest(lock, inRequest, queueIO);
        mIdentifiedRequests.emplace(guid, inRequest);
    }
    if (startNow)
        return InitiateIO(inRequest);
    if (queueIO)
        mProcessIO->Queue();
    return 0;
}

void IdentifiedDecodeQueueImpl::ChargeAtOnce(const IdentifiedDecodeRequestPtr& inRequest)
{
    mCurrentIOCost += inRequest->GetIOCost();
    mActiveIO.insert(inRequest);
    mCounting.Queued();
    mCounting.StartedAtOnce();
    mCounting.Enter(DecodePlace::kActiveIO);
}

int IdentifiedDecodeQueueImpl::TryToCancelOneIdentifiedRequest(const Guid& inGuid)
{
    IdentifiedDecodeRequestPtr duplicate;
    IdentifiedDecodeRequestPtr primary;
    {
        const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::TryToCancelOneIdentifiedRequest");
        const auto [first, last] = mDuplicateRequests.equal_range(inGuid);
        if (first != last)
        {
            const auto newest = std::prev(last); // equal keys stay in the order of their arrival
            duplicate = newest->second;
            mDuplicateRequests.erase(newest);
            CountCancelled(DecodePlace::kParked);
        }
        else
        {
            primary = TakePrimary(inGuid);
        }
    }
    if (duplicate)
        return duplicate->CancelQueued();
    return primary ? TryToCancelRequest(primary) : 0;
}

int IdentifiedDecodeQueueImpl::TryToCancelAllIdentifiedRequests(const Guid& inGuid)
{
    IdentifiedRequestList duplicates;
    IdentifiedDecodeRequestPtr primary;
    {
        const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::TryToCancelAllIdentifiedRequests");
        TakeDuplicates(inGuid, duplicates);
        mCounting.Cancelled(DecodePlace::kParked, duplicates.size());
        primary = TakePrimary(inGuid);
    }
    bool complete = true;
    for (const IdentifiedDecodeRequestPtr& duplicate : duplicates)
        complete = duplicate->CancelQueued() >= 0 && complete;
    if (primary)
        complete = TryToCancelRequest(primary) >= 0 && complete;
    return complete ? 0 : kDecodeErrorCancelIncomplete;
}

int IdentifiedDecodeQueueImpl::TryToCancelAllQueuedIdentifiedRequests()
{
    std::set<Guid> guids;
    {
        const Lock lock(mMutex,
                        "IdentifiedDecodeQueueImpl::TryToCancelAllQueuedIdentifiedRequests");
        for (const auto& [guid, primary] : mIdentifiedRequests)
            guids.insert(guids.end(), guid);
    }
    // The sense is the contract's, strange as it reads: one Guid that went without a failure makes the
    // whole incomplete.
    bool everyOneFailed = true;
    for (const Guid& guid : guids)
        everyOneFailed = TryToCancelAllIdentifiedRequests(guid) != 0 && everyOneFailed;
    return everyOneFailed ? 0 : kDecodeErrorCancelIncomplete;
}

int IdentifiedDecodeQueueImpl::FlushAllIdentifiedRequests()
{
    return FlushAllRequests();
}

void IdentifiedDecodeQueueImpl::GetItemCount(unsigned long& outPendingIO,
                                             unsigned long& outActiveIO,
                                             unsigned long& outPendingCPU,
                                             unsigned long& outActiveCPU) const
{
    const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::GetItemCount");
    outPendingIO = mPendingIO.size();
    outActiveIO = mActiveIO.size();
    outPendingCPU = mPendingCPU.size();
    outActiveCPU = mActiveCPU.size();
}

void IdentifiedDecodeQueueImpl::Retire(const DecodeRequestPtr& inRequest, int inStatus,
                                       bool inCPUStageDone)
{
    const auto request = boost::dynamic_pointer_cast<IdentifiedDecodeRequest>(inRequest);
    if (!request)
        return;
    const Guid guid = request->GetGuid();
    bool queueIO = false;
    bool queueCPU = false;
    IdentifiedRequestList duplicates;
    // Perhaps not inRequest: a new primary may have the Guid by now. Dropped outside the lock.
    IdentifiedDecodeRequestPtr primary;
    {
        const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::Retire");
        Retire(lock, inRequest, inStatus, inCPUStageDone, queueIO, queueCPU);
        primary = TakePrimary(guid);
        TakeDuplicates(guid, duplicates);
    }
    if (queueIO)
        mProcessIO->Queue();
    if (queueCPU)
        mProcessCPU->Queue();
    for (const IdentifiedDecodeRequestPtr& duplicate : duplicates)
        duplicate->DuplicateCompleted(inRequest, inStatus);
}

void IdentifiedDecodeQueueImpl::TakeDuplicates(const Guid& inGuid,
                                               IdentifiedRequestList& outDuplicates)
{
    const auto [first, last] = mDuplicateRequests.equal_range(inGuid);
    if (first == last)
        return; // as a rule, and then the clock is not read
    for (auto duplicate = first; duplicate != last; ++duplicate)
        outDuplicates.push_back(duplicate->second);
    mDuplicateRequests.erase(first, last);
    mCounting.Leave(DecodePlace::kParked, outDuplicates.size());
}

IdentifiedDecodeRequestPtr IdentifiedDecodeQueueImpl::TakePrimary(const Guid& inGuid)
{
    const auto found = mIdentifiedRequests.find(inGuid);
    if (found == mIdentifiedRequests.end())
        return nullptr;
    IdentifiedDecodeRequestPtr primary = std::move(found->second);
    mIdentifiedRequests.erase(found);
    return primary;
}

} // namespace RK
