#pragma once

#include <cstdint>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/Export.h"

// Decode queues run work in two stages, reading (I/O) and decoding (CPU), and bound how much of each
// is in flight by costs that the requests state for themselves. A request with an I/O cost of 1, in
// full:
//
//     class FrameRequest : public RK::DecodeRequest
//     {
//     public:
//         int InitiateIO(const CompletionFunction& inCompletion) override
//         {
//             mFile.ReadLater(mBytes, inCompletion);  // calls inCompletion(status) once it has read
//             return 0;
//         }
//         int GetIOCost() override { return 1; }
//         int GetCPUCost() override { return 1; }
//         int ProcessCPU() override { return Decode(mBytes, mFrame); }
//         int CancelQueued() override { return 0; }
//         int CancelDuringCPU() override { return -1; }  // too late to stop it
//         int CancelDuringIO() override { return mFile.CancelRead(); }
//         bool HasPriorityOver(const RK::DecodeRequestPtr&) override { return false; }
//         ...
//     };
//
//     // One decode a thread, eight frames between disk and decoded at the most, in order of arrival.
//     RK::DecodeQueuePtr queue = RK::CreateDecodeQueue(nullptr, -1, 8, false);
//     queue->QueueRequest(boost::make_shared<FrameRequest>(...));
namespace RK
{

// Statuses are negative for failure, and zero or positive for success.

/// From InitiateIO: there is nothing to wait for, go on to the CPU stage now.
constexpr int kDecodeStatusNoIOPending = 0x20130001;
/// From TryToCancelRequest: the queue does not hold the request.
constexpr int kDecodeErrorRequestNotFound = static_cast<int>(0xA00F0005u);
/// What a request retires with whose I/O ended, without a failure of its own, after it was cancelled.
constexpr int kDecodeErrorRequestCancelled = static_cast<int>(0xA00F0007u);
/// From a cancel-all that could not cancel everything.
constexpr int kDecodeErrorCancelIncomplete = static_cast<int>(0xA0130001u);

class DecodeRequest;
using DecodeRequestPtr = boost::shared_ptr<DecodeRequest>;

// A piece of work, implemented by the client.
//
// Ownership  The queue shares the request from QueueRequest until it leaves the queue, and the
//            completion of an I/O shares it (and the queue) for as long as any copy of the completion
//            lives. A request is known by its address; it must not be queued again before it has left.
// Threads    GetIOCost, GetCPUCost and HasPriorityOver are called with the queue's lock held, from any
//            thread: they must be quick and must not call the queue. Every other operation is called
//            with no lock held and may call the queue. One request is never in two stages at a time,
//            but a cancel operation may run beside the stage that it cancels.
// Errors     No operation may throw: a request that threw would stay in its stage, and its cost with it.
class RK_API DecodeRequest
{
public:
    using CompletionFunction = boost::function<void(int)>;

    /// Starts the I/O. Runs on the shared CPU-bound executor, so it should start a read, not do one.
    /// @param inCompletion  to be called with a status when the I/O has ended: once, from any thread,
    ///                      this one before InitiateIO returns included. A negative status drops the
    ///                      request. Copies keep the queue and the request alive; a completion that is
    ///                      dropped uncalled leaves the request's I/O cost charged for good.
    /// @return negative if the I/O could not start, and the request leaves the queue;
    ///         kDecodeStatusNoIOPending if there is no I/O; in both cases inCompletion must not be
    ///         called. Any other status says that inCompletion is called sooner or later.
    virtual int InitiateIO(const CompletionFunction& inCompletion) = 0;

    /// What the request counts against the I/O limit, in the client's own unit: from the start of its
    /// I/O until it leaves the queue, its CPU stage included. 0 or more, and the same at each call.
    virtual int GetIOCost() = 0;

    /// What the request counts against the CPU limit while its CPU stage runs; rules as for GetIOCost.
    virtual int GetCPUCost() = 0;

    /// The CPU stage; runs on the queue's executor, once. When it returns the request leaves the queue.
    /// @return a status, to which the queue gives no meaning.
    virtual int ProcessCPU() = 0;

    /// The queue has given the request up between two stages. It hears nothing more from the queue.
    /// @return a status; here and below, negative says that the request was not cancelled.
    virtual int CancelQueued() = 0;

    /// The CPU stage runs, or is about to. The queue does not stop it, and lets it end as usual.
    virtual int CancelDuringCPU() = 0;

    /// The I/O runs, or is about to, or is just ending. The completion must be called in any case.
    virtual int CancelDuringIO() = 0;

    /// Asked in priority mode only: does this request go before inOther? A strict weak order, and the
    /// same answer for two requests for as long as both are queued.
    virtual bool HasPriorityOver(const DecodeRequestPtr& inOther) = 0;

    virtual ~DecodeRequest();
};

// A queue of requests. Each goes through I/O pending, I/O running, CPU pending and CPU running, in
// this order, and then leaves; a failure or a cancel lets it leave sooner.
//
// Threads   Any function may be called from any thread, from within a request's operations too.
// Lifetime  When the last reference goes, everything that still waits is cancelled. An I/O under way
//           holds a reference of its own, so that the queue lives until it has ended; no destructor
//           waits. Requests whose CPU stage runs at that time are finished.
// Errors    Statuses. Nothing is reported about a request that fails but what it did itself.
class RK_API DecodeQueue
{
public:
    /// Queues a request, which the queue shares from here on.
    /// @param inRequest  must not be null.
    /// @return 0.
    virtual int QueueRequest(const DecodeRequestPtr& inRequest) = 0;

    /// Cancels one request, wherever it is, and passes on what the request's own operation returned:
    /// - between the stages: it leaves, and is told CancelQueued;
    /// - in its I/O: it is told CancelDuringIO, and leaves when the I/O ends, however that ends. Its
    ///   ProcessCPU is not called, unless its InitiateIO then returns kDecodeStatusNoIOPending. Until
    ///   it leaves its I/O cost stays charged, and a further cancel does not find it;
    /// - in its CPU stage: it is told CancelDuringCPU, and goes on.
    /// @return the request's status; kDecodeErrorRequestNotFound if the queue does not hold it (any more).
    virtual int TryToCancelRequest(const DecodeRequestPtr& inRequest) = 0;

    /// Cancels what waits between the stages, telling each request CancelQueued, and then tells those
    /// in a stage CancelDuringIO or CancelDuringCPU. A request in its I/O is not taken out: if its
    /// I/O succeeds all the same, it goes on to its CPU stage.
    /// @return 0 if no request was in a stage and every CancelQueued succeeded; otherwise
    ///         kDecodeErrorCancelIncomplete.
    virtual int TryToCancelAllRequests() = 0;

    /// Meets the queue's executor: waits for the passes over the CPU stage that were posted when it was
    /// called. A pass takes one request and posts the next pass, so this is no drain: requests may be
    /// left in every stage, and I/O is not waited for at all. To know that a request is done, let it
    /// tell so itself.
    /// @return 0.
    virtual int FlushAllRequests() = 0;

    virtual ~DecodeQueue();
};

using DecodeQueuePtr = boost::shared_ptr<DecodeQueue>;

/// Makes a queue.
///
/// A stage takes its next request when nothing is charged to it, whatever the request's cost, and
/// otherwise as long as the sum of costs stays within the limit. So a request dearer than the limit
/// runs, alone, and a limit of 0 lets one request through at a time. The next request is never
/// overtaken by a cheaper one that would still fit.
///
/// @param inExecutor     runs the CPU stages, and must take work for as long as the queue is used; null
///                       stands for the shared CPU-bound executor. Starting I/O is always done on the
///                       shared CPU-bound executor.
/// @param inMaxCPUCost   limit of the CPU stage. A negative one is a multiple of the executor's
///                       parallelism: -2 stands for two a thread. Exactly 1 makes the stage serial.
/// @param inMaxIOCost    limit of what is anywhere between the start of its I/O and leaving the queue;
///                       negative as above. It bounds what is held in memory, not only the reads.
/// @param inUsePriority  true: the next request is the one that has priority over the others, by
///                       HasPriorityOver, in both stages. False: first in, first out.
RK_API DecodeQueuePtr CreateDecodeQueue(const qelcore::threads::AsyncExecutorPtr& inExecutor,
                                        std::int32_t inMaxCPUCost, std::int32_t inMaxIOCost,
                                        bool inUsePriority);

} // namespace RK
