#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <set>

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>

#include "DecodeQueueCounting.h"
#include "RKDecodeQueue.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/QueueOnlyOnce.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/SmallBlockAllocator.h"
#include "qelcore/ThreadAnnotations.h"

namespace RK
{

/// Turns what a client passes to a factory into what a queue is built from: an executor of its own, and
/// limits that are not negative.
void AdjustCreateParams(qelcore::threads::AsyncExecutorPtr& ioExecutor, std::int32_t& ioMaxCPUCost,
                        std::int32_t& ioMaxIOCost);

// The queue behind CreateDecodeQueue, and the base of queues that add rules of their own: those
// override Retire, which every request that passed the I/O stage's door reaches exactly once, and may
// charge and start a request by themselves through the protected operations.
//
// mMutex is the one lock. Under it a request's costs and HasPriorityOver are asked for, nothing else;
// requests are dropped outside it too, since their destructors are the client's code.
class DecodeQueueImpl : public DecodeQueue, public boost::enable_shared_from_this<DecodeQueueImpl>
{
public:
    DecodeQueueImpl(const qelcore::threads::AsyncExecutorPtr& inExecutor, std::int32_t inMaxCPUCost,
                    std::int32_t inMaxIOCost, bool inUsePriority);
    ~DecodeQueueImpl() override;

    /// Second half of the construction: needs a shared pointer to the queue to exist.
    void Init();

    int QueueRequest(const DecodeRequestPtr& inRequest) override;
    int TryToCancelRequest(const DecodeRequestPtr& inRequest) override;
    int TryToCancelAllRequests() override;
    int FlushAllRequests() override;

    DecodeQueueCounters Counters() const;
    struct Limits
    {
        std::int32_t mCPU;
        std::int32_t mIO;
    };
    Limits GetLimits() const { return {mMaxCPUCost, mMaxIOCost}; }

protected:
    using Lock = qelcore::threads::RecursiveMutex::ScopedLock;
    using RequestDeque = std::deque<DecodeRequestPtr, qelcore::STLAllocator<DecodeRequestPtr>>;
    struct ByAddress // not by owner: several requests may live in one counted block
    {
        bool operator()(const DecodeRequestPtr& a, const DecodeRequestPtr& b) const
        {
            return std::less<>()(a.get(), b.get());
        }
    };
    using RequestSet =
        std::set<DecodeRequestPtr, ByAddress, qelcore::STLAllocator<DecodeRequestPtr>>;

    /// A request leaves a stage for good: uncharges it, and schedules what can go on now, I/O first.
    virtual void Retire(const DecodeRequestPtr& inRequest, int inStatus, bool inCPUStageDone);
    /// The bookkeeping of Retire. The flags say which stages to schedule after the lock.
    virtual void Retire(const Lock& inLock, const DecodeRequestPtr& inRequest, int inStatus,
                        bool inCPUStageDone, bool& outQueueIO, bool& outQueueCPU)
        RK_REQUIRES(mMutex);

    /// @param outQueueIO  whether to schedule the I/O stage after the lock.
    void PushRequest(const Lock& inLock, const DecodeRequestPtr& inRequest, bool& outQueueIO)
        RK_REQUIRES(mMutex);

    /// Starts the I/O of a request that is in mActiveIO and charged. No lock may be held.
    int InitiateIO(const DecodeRequestPtr& inRequest);
    void IOCompleted(const DecodeRequestPtr& inRequest, int inStatus);

    // One pass takes one request at the most, and schedules the next pass if that may take another.
    void ProcessPendingIO();
    void ProcessPendingCPU();
    void PopIfAllowed(DecodeRequestPtr& outRequest, RequestDeque& ioPending, RequestSet& ioActive,
                      std::int32_t& ioCurrent, std::int32_t inLimit, bool inIsIO);

    /// Of requests that leave a place by a cancel.
    void CountCancelled(DecodePlace inPlace, std::size_t inCount = 1) RK_REQUIRES(mMutex);

    bool CanTakeMoreIO() const RK_REQUIRES(mMutex);
    bool CanTakeMoreCPU() const RK_REQUIRES(mMutex);
    void PushPending(RequestDeque& ioPending, const DecodeRequestPtr& inRequest)
        RK_REQUIRES(mMutex);
    bool ErasePending(RequestDeque& ioPending, const DecodeRequestPtr& inRequest)
        RK_REQUIRES(mMutex);

    mutable qelcore::threads::RecursiveMutex mMutex;
    const qelcore::threads::AsyncExecutorPtr mExecutor; // runs the CPU stage
    const bool mUsePriority;                            // the two pending deques are heaps
    const std::int32_t mMaxCPUCost;
    const std::int32_t mMaxIOCost;
    std::int32_t mCurrentCPUCost RK_GUARDED_BY(mMutex) = 0; // of mActiveCPU
    // Of all requests from the start of their I/O until they retire, in either stage.
    std::int32_t mCurrentIOCost RK_GUARDED_BY(mMutex) = 0;
    RequestDeque mPendingIO RK_GUARDED_BY(mMutex);
    RequestSet mActiveIO RK_GUARDED_BY(mMutex);
    RequestDeque mPendingCPU RK_GUARDED_BY(mMutex);
    RequestSet mActiveCPU RK_GUARDED_BY(mMutex);
    boost::shared_ptr<qelcore::threads::QueueOnlyOnce> mProcessIO; // as of Init
    boost::shared_ptr<qelcore::threads::QueueOnlyOnce> mProcessCPU;
    DecodeQueueCounting mCounting RK_GUARDED_BY(mMutex);
    std::uint64_t mMonitorNumber = 0; // as of Init
};

} // namespace RK
