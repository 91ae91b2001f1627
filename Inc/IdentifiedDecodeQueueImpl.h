#pragma once

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "DecodeQueueImpl.h"
#include "RKIdentifiedDecodeQueue.h"
#include "qelcore/Guid.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{

// The queue behind CreateIdentifiedDecodeQueue: the plain queue, with a door that knows the requests by
// Guid, and a way out that tells the duplicates. It uses the base's mutex, and drops requests outside it
// as the base does.
class IdentifiedDecodeQueueImpl : public IdentifiedDecodeQueue, public DecodeQueueImpl
{
public:
    using DecodeQueueImpl::DecodeQueueImpl;
    ~IdentifiedDecodeQueueImpl() override;

    int QueueIdentifiedRequest(const IdentifiedDecodeRequestPtr& inRequest) override;
    int TryToCancelOneIdentifiedRequest(const qelcore::utility::Guid& inGuid) override;
    int TryToCancelAllIdentifiedRequests(const qelcore::utility::Guid& inGuid) override;
    int TryToCancelAllQueuedIdentifiedRequests() override;
    int FlushAllIdentifiedRequests() override;
    void GetItemCount(unsigned long& outPendingIO, unsigned long& outActiveIO,
                      unsigned long& outPendingCPU, unsigned long& outActiveCPU) const override;

protected:
    using Guid = qelcore::utility::Guid;
    using IdentifiedRequests =
        std::multimap<Guid, IdentifiedDecodeRequestPtr, std::less<Guid>,
                      qelcore::STLAllocator<std::pair<const Guid, IdentifiedDecodeRequestPtr>>>;
    using IdentifiedRequestList = std::vector<IdentifiedDecodeRequestPtr>;

    using DecodeQueueImpl::Retire;
    void Retire(const DecodeRequestPtr& inRequest, int inStatus, bool inCPUStageDone) override;

    /// Into the I/O stage past its limit; the caller starts it after the lock.
    void ChargeAtOnce(const IdentifiedDecodeRequestPtr& inRequest) RK_REQUIRES(mMutex);
    /// Moves the duplicates of a Guid out of their map.
    void TakeDuplicates(const Guid& inGuid, IdentifiedRequestList& outDuplicates)
        RK_REQUIRES(mMutex);
    /// Moves the primary of a Guid out of its map. @return null if there is none.
    IdentifiedDecodeRequestPtr TakePrimary(const Guid& inGuid) RK_REQUIRES(mMutex);

    IdentifiedRequests mIdentifiedRequests RK_GUARDED_BY(mMutex); // the primary of each Guid
    IdentifiedRequests mDuplicateRequests RK_GUARDED_BY(mMutex);  // of one Guid in order of arrival
};

} // namespace RK
