#pragma once

#include <array>
#include <string>

#include "DecodeQueueFixture.h"
#include "RiverKit/RKDecodeQueueCounters.h"
#include "RiverKit/RKIdentifiedDecodeQueue.h"

namespace Testing
{

class ScriptedIdentifiedRequest : public BasicScriptedRequest<RK::IdentifiedDecodeRequest>
{
public:
    qelcore::utility::Guid guid;
    std::function<void()> onCompleted; // runs in DuplicateCompleted

    qelcore::utility::Guid GetGuid() override { return guid; }
    void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override
    {
        Note("completed by " + dynamic_cast<ScriptedIdentifiedRequest&>(*inPrimary).name +
             " with " + std::to_string(inStatus));
        Run(onCompleted);
    }
    void Forget()
    {
        onCompleted = nullptr;
        BasicScriptedRequest::Forget();
    }
};

using ScriptedIdentifiedRequestPtr = boost::shared_ptr<ScriptedIdentifiedRequest>;

/// Pending I/O, active I/O, pending CPU, active CPU.
using ItemCount = std::array<unsigned long, 4>;

inline ItemCount CountItems(const RK::IdentifiedDecodeQueue& inQueue)
{
    ItemCount count;
    inQueue.GetItemCount(count[0], count[1], count[2], count[3]);
    return count;
}

inline RK::DecodeQueueCounters CountersOf(const RK::IdentifiedDecodeQueue& inQueue)
{
    RK::DecodeQueueCounters counters;
    EXPECT_TRUE(RK::GetDecodeQueueCounters(inQueue, counters));
    return counters;
}

class IdentifiedDecodeQueueFixture : public DecodeQueueFixture
{
protected:
    using Guid = qelcore::utility::Guid;
    static constexpr Guid kA{1, 2};
    static constexpr Guid kB{3, 4};
    static constexpr Guid kC{-5, 6};

    RK::IdentifiedDecodeQueuePtr CreateIdentified(int inMaxCPUCost, int inMaxIOCost,
                                                  bool inUsePriority = false)
    {
        return RK::CreateIdentifiedDecodeQueue(mOwn, inMaxCPUCost, inMaxIOCost, inUsePriority);
    }
    ScriptedIdentifiedRequestPtr For(const Guid& inGuid, const std::string& inName,
                                     int inIOCost = 1)
    {
        const auto request = Made(boost::make_shared<ScriptedIdentifiedRequest>());
        request->name = inName;
        request->log = &mLog;
        request->guid = inGuid;
        request->ioCost = inIOCost;
        return request;
    }
    ScriptedIdentifiedRequestPtr WithoutIO(const ScriptedIdentifiedRequestPtr& inRequest)
    {
        inRequest->initiateResult = RK::kDecodeStatusNoIOPending;
        return inRequest;
    }
    /// Queues one whose I/O stays under way, so that everything that follows goes the slow way.
    ScriptedIdentifiedRequestPtr ChargeIO(const RK::IdentifiedDecodeQueuePtr& inQueue)
    {
        const auto request = For(Guid(99, 99), "charge");
        EXPECT_EQ(0, inQueue->QueueIdentifiedRequest(request));
        TakeLog();
        return request;
    }
};

} // namespace Testing
