#include "RKDecodeQueue.h"

#include <algorithm>
#include <limits>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "DecodeQueueImpl.h"
#include "DecodeQueueMonitor.h"

namespace RK
{
namespace
{

using qelcore::threads::AsyncExecutorPtr;
using qelcore::threads::QueueOnlyOnce;

// A scheduled pass must not keep a queue alive that its clients have dropped, and must keep it for
// the duration of the pass.
template <class T>
void WeakCallHelper(const boost::weak_ptr<T>& inWeak, const boost::function<void(T*)>& inCall)
{
    if (const boost::shared_ptr<T> strong = inWeak.lock())
        inCall(strong.get());
}

template <class T>
boost::function<void()> MakeWeakCall(const boost::shared_ptr<T>& inObject,
                                     const boost::function<void(T*)>& inCall)
{
    return boost::bind(&WeakCallHelper<T>, boost::weak_ptr<T>(inObject), inCall);
}

// The heap's top is the request that goes first, so "less" asks the other one.
bool DecodeRequestCompare(const DecodeRequestPtr& a, const DecodeRequestPtr& b)
{
    return b->HasPriorityOver(a);
}

std::int32_t AdjustLimit(std::int32_t inLimit, int inParallelism)
{
    if (inLimit >= 0)
        return inLimit;
    const std::int64_t limit = -static_cast<std::int64_t>(inLimit) * inParallelism;
    return static_cast<std::int32_t>(
        std::min<std::int64_t>(limit, std::numeric_limits<std::int32_t>::max()));
}

// A stage to which nothing is charged takes any request: with a limit of 0, "below the limit" alone
// would never start it.
bool IsBelowLimit(std::int32_t inCurrent, std::int32_t inLimit)
{
    return inCurrent == 0 || inCurrent < inLimit;
}

} // namespace

DecodeRequest::~DecodeRequest() = default;
DecodeQueue::~DecodeQueue() = default;

DecodeQueuePtr CreateDecodeQueue(const AsyncExecutorPtr& inExecutor, std::int32_t inMaxCPUCost,
                                 std::int32_t inMaxIOCost, bool inUsePriority)
{
    AsyncExecutorPtr executor = inExecutor;
    AdjustCreateParams(executor, inMaxCPUCost, inMaxIOCost);
    const auto queue =
        boost::make_shared<DecodeQueueImpl>(executor, inMaxCPUCost, inMaxIOCost, inUsePriority);
    queue->Init();
    return queue;
}

void AdjustCreateParams(AsyncExecutorPtr& ioExecutor, std::int32_t& ioMaxCPUCost,
                        std::int32_t& ioMaxIOCost)
{
    if (!ioExecutor)
        ioExecutor = qelcore::threads::GetCPUBoundExecutor();
    const int parallelism = ioExecutor->GetParallelism();
    ioMaxCPUCost = AdjustLimit(ioMaxCPUCost, parallelism);
    ioMaxIOCost = AdjustLimit(ioMaxIOCost, parallelism);
    ioExecutor = qelcore::threads::CreateSubExecutor(ioExecutor, ioMaxCPUCost == 1 ? 1 : -1);
}

DecodeQueueImpl::DecodeQueueImpl(const AsyncExecutorPtr& inExecutor, std::int32_t inMaxCPUCost,
                                 std::int32_t inMaxIOCost, bool inUsePriority)
    : mExecutor(inExecutor)
    , mUsePriority(inUsePriority)
    , mMaxCPUCost(inMaxCPUCost)
    , mMaxIOCost(inMaxIOCost)
{
}

DecodeQueueImpl::~DecodeQueueImpl()
{
    DecodeQueueMonitor::Remove(mMonitorNumber);
    DecodeQueueImpl::TryToCancelAllRequests();
}

void DecodeQueueImpl::Init()
{
    mProcessIO = QueueOnlyOnce::Create(
        MakeWeakCall<DecodeQueueImpl>(shared_from_this(), &DecodeQueueImpl::ProcessPendingIO),
        qelcore::threads::GetCPUBoundExecutor(), 0, 0);
    mProcessCPU = QueueOnlyOnce::Create(
        MakeWeakCall<DecodeQueueImpl>(shared_from_this(), &DecodeQueueImpl::ProcessPendingCPU),
        mExecutor, 0, 0);
    mMonitorNumber = DecodeQueueMonitor::Add(shared_from_this());
}

DecodeQueueCounters DecodeQueueImpl::Counters() const
{
    const Lock lock(mMutex, "DecodeQueueImpl::Counters");
    return mCounting.Snapshot();
}

int DecodeQueueImpl::QueueRequest(const DecodeRequestPtr& inRequest)
{
    bool queueIO = false;
    {
        const Lock lock(mMutex, "DecodeQueueImpl::QueueRequest");
        PushRequest(lock, inRequest, queueIO);
    }
    if (queueIO)
        mProcessIO->Queue();
    return 0;
}

void DecodeQueueImpl::PushRequest(const Lock&, const DecodeRequestPtr& inRequest, bool& outQueueIO)
{
    PushPending(mPendingIO, inRequest);
    mCounting.Queued();
    mCounting.Enter(DecodePlace::kPendingIO);
    outQueueIO = CanTakeMoreIO();
}

void DecodeQueueImpl::PushPending(RequestDeque& ioPending, const DecodeRequestPtr& inRequest)
{
    ioPending.push_back(inRequest);
    if (mUsePriority)
        std::push_heap(ioPending.begin(), ioPending.end(), DecodeRequestCompare);
}

bool DecodeQueueImpl::ErasePending(RequestDeque& ioPending, const DecodeRequestPtr& inRequest)
{
    const auto found =
        std::find_if(ioPending.begin(), ioPending.end(), [&](const DecodeRequestPtr& inOther)
                     { return inOther.get() == inRequest.get(); });
    if (found == ioPending.end())
        return false;
    ioPending.erase(found);
    if (mUsePriority)
        std::make_heap(ioPending.begin(), ioPending.end(), DecodeRequestCompare);
    return true;
}

bool DecodeQueueImpl::CanTakeMoreIO() const
{
    return !mPendingIO.empty() && IsBelowLimit(mCurrentIOCost, mMaxIOCost);
}

bool DecodeQueueImpl::CanTakeMoreCPU() const
{
    return !mPendingCPU.empty() && IsBelowLimit(mCurrentCPUCost, mMaxCPUCost);
}

// The lists are passed by reference to where the lock is taken, which the analysis cannot follow.
void DecodeQueueImpl::ProcessPendingIO() RK_NO_THREAD_SAFETY_ANALYSIS
{
    DecodeRequestPtr request;
    PopIfAllowed(request, mPendingIO, mActiveIO, mCurrentIOCost, mMaxIOCost, true);
    if (request)
        InitiateIO(request);
}

void DecodeQueueImpl::ProcessPendingCPU() RK_NO_THREAD_SAFETY_ANALYSIS
{
    DecodeRequestPtr request;
    PopIfAllowed(request, mPendingCPU, mActiveCPU, mCurrentCPUCost, mMaxCPUCost, false);
    if (request)
    {
        const int status = request->ProcessCPU();
        Retire(request, status, true);
    }
}

void DecodeQueueImpl::PopIfAllowed(DecodeRequestPtr& outRequest, RequestDeque& ioPending,
                                   RequestSet& ioActive, std::int32_t& ioCurrent,
                                   std::int32_t inLimit, bool inIsIO)
{
    outRequest.reset();
    bool canTakeMore = false;
    {
        const Lock lock(mMutex, "DecodeQueueImpl::PopIfAllowed");
        if (ioPending.empty())
            return;
        const DecodeRequestPtr front = ioPending.front();
        const std::int32_t cost = inIsIO ? front->GetIOCost() : front->GetCPUCost();
        if (ioCurrent != 0 && static_cast<std::int64_t>(ioCurrent) + cost > inLimit)
            return; // the next Retire schedules the stage again
        ioActive.insert(front);
        if (mUsePriority)
        {
            std::pop_heap(ioPending.begin(), ioPending.end(), DecodeRequestCompare);
            ioPending.pop_back();
        }
        else
        {
            ioPending.pop_front();
        }
        ioCurrent += cost;
        if (inIsIO)
            mCounting.Move(DecodePlace::kPendingIO, DecodePlace::kActiveIO);
        else
            mCounting.Move(DecodePlace::kPendingCPU, DecodePlace::kActiveCPU);
        canTakeMore = inIsIO ? CanTakeMoreIO() : CanTakeMoreCPU();
        outRequest = front;
    }
    if (canTakeMore)
        (inIsIO ? mProcessIO : mProcessCPU)->Queue();
}

int DecodeQueueImpl::InitiateIO(const DecodeRequestPtr& inRequest)
{
    const DecodeRequest::CompletionFunction completion = boost::bind(
        &DecodeQueueImpl::IOCompleted, shared_from_this(), inRequest, boost::placeholders::_1);
    const int status = inRequest->InitiateIO(completion);
    if (status == kDecodeStatusNoIOPending)
    {
        bool queueCPU = false;
        {
            // A request that was cancelled meanwhile goes on all the same: having no I/O that could
            // end, it would otherwise never retire.
            const Lock lock(mMutex, "DecodeQueueImpl::ProcessPendingIO1");
            if (mActiveIO.erase(inRequest) != 0)
                mCounting.Move(DecodePlace::kActiveIO, DecodePlace::kPendingCPU);
            else
                mCounting.Enter(DecodePlace::kPendingCPU);
            PushPending(mPendingCPU, inRequest);
            queueCPU = CanTakeMoreCPU();
        }
        if (queueCPU)
            mProcessCPU->Queue();
    }
    else if (status < 0)
    {
        Retire(inRequest, status, false);
    }
    return status;
}

void DecodeQueueImpl::IOCompleted(const DecodeRequestPtr& inRequest, int inStatus)
{
    int status = inStatus;
    bool goesOn = false;
    bool queueCPU = false;
    {
        const Lock lock(mMutex, "DecodeQueueImpl::IOCompleted");
        const bool wasActive = mActiveIO.erase(inRequest) != 0;
        if (!wasActive && status >= 0)
            status = kDecodeErrorRequestCancelled;
        goesOn = status >= 0;
        if (goesOn)
        {
            mCounting.Move(DecodePlace::kActiveIO, DecodePlace::kPendingCPU);
            PushPending(mPendingCPU, inRequest);
            queueCPU = CanTakeMoreCPU();
        }
        else if (wasActive)
        {
            mCounting.Leave(DecodePlace::kActiveIO);
        }
    }
    if (queueCPU)
        mProcessCPU->Queue();
    if (goesOn)
        return;

    // Retire may be long in a derived queue, and this is the client's I/O thread.
    void (DecodeQueueImpl::* const retire)(const DecodeRequestPtr&, int, bool) =
        &DecodeQueueImpl::Retire;
    mExecutor->Post(boost::bind(retire, shared_from_this(), inRequest, status, false), 0);
}

void DecodeQueueImpl::Retire(const DecodeRequestPtr& inRequest, int inStatus, bool inCPUStageDone)
{
    bool queueIO = false;
    bool queueCPU = false;
    {
        const Lock lock(mMutex, "IdentifiedDecodeQueueImpl::DecodeQueueImpl");
        Retire(lock, inRequest, inStatus, inCPUStageDone, queueIO, queueCPU);
    }
    if (queueIO)
        mProcessIO->Queue();
    if (queueCPU)
        mProcessCPU->Queue();
}

void DecodeQueueImpl::Retire(const Lock&, const DecodeRequestPtr& inRequest, int inStatus,
                             bool inCPUStageDone, bool& outQueueIO, bool& outQueueCPU)
{
    outQueueCPU = false;
    mCounting.Retired(inStatus);
    if (inCPUStageDone)
    {
        mCurrentCPUCost -= inRequest->GetCPUCost();
        mCurrentIOCost -= inRequest->GetIOCost();
        mActiveCPU.erase(inRequest);
        mCounting.Leave(DecodePlace::kActiveCPU);
        outQueueCPU = CanTakeMoreCPU();
    }
    else
    {
        if (mActiveIO.erase(inRequest) != 0)
            mCounting.Leave(DecodePlace::kActiveIO);
        mCurrentIOCost -= inRequest->GetIOCost();
    }
    outQueueIO = CanTakeMoreIO();
}

void DecodeQueueImpl::CountCancelled(DecodePlace inPlace, std::size_t inCount)
{
    mCounting.Leave(inPlace, inCount);
    mCounting.Cancelled(inPlace, inCount);
}

int DecodeQueueImpl::TryToCancelRequest(const DecodeRequestPtr& inRequest)
{
    int (DecodeRequest::*tell)() = nullptr;
    bool queueIO = false;
    {
        const Lock lock(mMutex, "DecodeQueueImpl::TryToCancelRequest");
        if (ErasePending(mPendingIO, inRequest))
        {
            tell = &DecodeRequest::CancelQueued;
            CountCancelled(DecodePlace::kPendingIO);
        }
        else if (ErasePending(mPendingCPU, inRequest))
        {
            tell = &DecodeRequest::CancelQueued;
            CountCancelled(DecodePlace::kPendingCPU);
            mCurrentIOCost -= inRequest->GetIOCost();
            queueIO = CanTakeMoreIO();
        }
        else if (mActiveIO.erase(inRequest) != 0)
        {
            // The cost stays: IOCompleted will not find the request, and retire it.
            tell = &DecodeRequest::CancelDuringIO;
            CountCancelled(DecodePlace::kActiveIO);
        }
        else if (mActiveCPU.count(inRequest) != 0)
        {
            tell = &DecodeRequest::CancelDuringCPU;
            mCounting.Cancelled(DecodePlace::kActiveCPU);
        }
    }
    if (queueIO)
        mProcessIO->Queue();
    return tell ? (inRequest.get()->*tell)() : kDecodeErrorRequestNotFound;
}

int DecodeQueueImpl::TryToCancelAllRequests()
{
    RequestDeque queued;
    RequestDeque inIO;
    RequestDeque inCPU;
    {
        const Lock lock(mMutex, "DecodeQueueImpl::TryToCancelAllRequests");
        CountCancelled(DecodePlace::kPendingIO, mPendingIO.size());
        CountCancelled(DecodePlace::kPendingCPU, mPendingCPU.size());
        queued.swap(mPendingIO);
        for (const DecodeRequestPtr& request : mPendingCPU)
        {
            mCurrentIOCost -= request->GetIOCost();
            queued.push_back(request);
        }
        mPendingCPU.clear();
        inIO.assign(mActiveIO.begin(), mActiveIO.end());
        inCPU.assign(mActiveCPU.begin(), mActiveCPU.end());
        mCounting.Cancelled(DecodePlace::kActiveIO, inIO.size());
        mCounting.Cancelled(DecodePlace::kActiveCPU, inCPU.size());
    }
    bool complete = inIO.empty() && inCPU.empty();
    for (const DecodeRequestPtr& request : queued)
        complete = request->CancelQueued() >= 0 && complete;
    for (const DecodeRequestPtr& request : inIO)
        request->CancelDuringIO();
    for (const DecodeRequestPtr& request : inCPU)
        request->CancelDuringCPU();
    return complete ? 0 : kDecodeErrorCancelIncomplete;
}

int DecodeQueueImpl::FlushAllRequests()
{
    mExecutor->Flush();
    return 0;
}

} // namespace RK
