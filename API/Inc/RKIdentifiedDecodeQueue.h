#pragma once

#include <cstdint>

#include <boost/shared_ptr.hpp>

#include "RKDecodeQueue.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"

// A decode queue that does the same work once. Requests carry a Guid that names their work. While one
// for a Guid is in the queue, the primary, further ones for it are parked as duplicates, and told how it
// went when the primary leaves. A scrub that asks for one frame ten times decodes it once:
//
//     class FrameRequest : public RK::IdentifiedDecodeRequest
//     {
//     public:
//         Guid GetGuid() override { return mFrameGuid; }  // the same for the same frame of the same file
//         void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override
//         {
//             // Another request has decoded the frame, or failed to with inStatus.
//             Show(inStatus, static_cast<FrameRequest&>(*inPrimary).mFrame);
//         }
//         ... // and what RK::DecodeRequest asks for
//     };
//
// What the two stages are, and what limits and priorities do, is told in RKDecodeQueue.h.
namespace RK
{

class IdentifiedDecodeRequest;
using IdentifiedDecodeRequestPtr = boost::shared_ptr<IdentifiedDecodeRequest>;

// A piece of work with a name. What DecodeRequest says of ownership, threads and errors holds for it.
class RK_API IdentifiedDecodeRequest : public DecodeRequest
{
public:
    /// What the work is known by: the same at each call. Called with no lock held, from any thread.
    virtual qelcore::utility::Guid GetGuid() = 0;

    /// A parked request hears that its Guid's primary has left the queue, and is left alone after this.
    /// Called with no lock held, on the thread that retired the primary: the queue's executor as a rule,
    /// but the one that queued the primary if the primary could not even start.
    /// @param inPrimary  the request that did the work.
    /// @param inStatus   what it retired with: of its ProcessCPU, or the failure of its I/O, or
    ///                   kDecodeErrorRequestCancelled.
    virtual void DuplicateCompleted(const DecodeRequestPtr& inPrimary, int inStatus) = 0;

    ~IdentifiedDecodeRequest() override;
};

// A queue of identified requests.
//
// Threads   Any function from any thread, from within a request's operations too.
// Identity  A Guid is taken from the moment its primary is queued until the primary retires or is
//           cancelled. A request for it that comes later starts over as a new primary. Requests are told
//           apart by their Guid alone: if a primary is cancelled while one of its stages runs and a new
//           primary is queued before that stage has ended, then the old one, when it ends, completes the
//           new one's duplicates, with its own status (kDecodeErrorRequestCancelled if it was cancelled
//           in its I/O); the new primary goes on, and requests that follow start over once more.
// Parked    Duplicates have no stages and cost nothing. One that is neither completed nor cancelled hears
//           nothing: those of a queue that is dropped, for one.
// Lifetime  As DecodeQueue.
class RK_API IdentifiedDecodeQueue
{
public:
    /// Queues a request, or parks it if its Guid is taken. When no I/O at all is charged, the request's
    /// InitiateIO is called before this returns, on this thread, whatever the limits are; and if the
    /// I/O ends at once its completion too. So the caller must hold no lock that its own InitiateIO or
    /// completion takes.
    /// @param inRequest  must not be null.
    /// @return what InitiateIO returned if it was called here, negative if it failed (the request has
    ///         left the queue by then); otherwise 0.
    virtual int QueueIdentifiedRequest(const IdentifiedDecodeRequestPtr& inRequest) = 0;

    /// Cancels one request for the Guid: the duplicate that was parked last, or the primary if no
    /// duplicate is parked. So a primary is not disturbed as long as somebody else wants its work.
    /// @return what the duplicate's CancelQueued returned, or what TryToCancelRequest gives for the
    ///         primary; 0 if there is no request for the Guid.
    virtual int TryToCancelOneIdentifiedRequest(const qelcore::utility::Guid& inGuid) = 0;

    /// Cancels the duplicates of the Guid, in the order in which they were parked, and then the primary.
    /// @return 0 if none of them failed, also if there were none; otherwise kDecodeErrorCancelIncomplete.
    virtual int TryToCancelAllIdentifiedRequests(const qelcore::utility::Guid& inGuid) = 0;

    /// Does the same for each Guid that is taken now.
    /// @return 0 if nothing was queued, or if for EVERY Guid something could not be cancelled; and
    ///         kDecodeErrorCancelIncomplete as soon as one Guid was cancelled without a failure. Mind
    ///         the sense: it is the reverse of the other cancels'.
    virtual int TryToCancelAllQueuedIdentifiedRequests() = 0;

    /// As DecodeQueue::FlushAllRequests.
    virtual int FlushAllIdentifiedRequests() = 0;

    /// How many requests are in each place at this moment. Duplicates are in none of them.
    virtual void GetItemCount(unsigned long& outPendingIO, unsigned long& outActiveIO,
                              unsigned long& outPendingCPU, unsigned long& outActiveCPU) const = 0;

    virtual ~IdentifiedDecodeQueue();
};

using IdentifiedDecodeQueuePtr = boost::shared_ptr<IdentifiedDecodeQueue>;

/// Makes a queue; the arguments are those of CreateDecodeQueue.
RK_API IdentifiedDecodeQueuePtr CreateIdentifiedDecodeQueue(
    const qelcore::threads::AsyncExecutorPtr& inExecutor, std::int32_t inMaxCPUCost,
    std::int32_t inMaxIOCost, bool inUsePriority);

} // namespace RK
