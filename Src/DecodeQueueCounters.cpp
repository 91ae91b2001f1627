#include "RKDecodeQueueCounters.h"

#include "DecodeQueueImpl.h"
#include "IdentifiedDecodeQueueImpl.h"

namespace RK
{

DecodeQueueCounters DecodeQueueCounting::Snapshot() const
{
    const std::uint64_t now = Now();
    const auto place = [&](DecodePlace inPlace)
    {
        DecodePlaceCounters counters = mPlaces[static_cast<std::size_t>(inPlace)];
        counters.nanoseconds = qelcore::utility::HighPrecisionTime::ConvertToNanos(
            counters.nanoseconds + counters.present * now);
        return counters;
    };
    DecodeQueueCounters counters;
    counters.pendingIO = place(DecodePlace::kPendingIO);
    counters.activeIO = place(DecodePlace::kActiveIO);
    counters.pendingCPU = place(DecodePlace::kPendingCPU);
    counters.activeCPU = place(DecodePlace::kActiveCPU);
    counters.parked = place(DecodePlace::kParked);
    counters.queued = mQueued;
    counters.startedAtOnce = mStartedAtOnce;
    counters.retired = mRetired;
    counters.retiredFailed = mRetiredFailed;
    return counters;
}

namespace
{

template <class Queue>
bool CountersOf(const Queue& inQueue, DecodeQueueCounters& outCounters)
{
    const auto* const queue = dynamic_cast<const DecodeQueueImpl*>(&inQueue);
    if (queue)
        outCounters = queue->Counters();
    return queue != nullptr;
}

} // namespace

bool GetDecodeQueueCounters(const DecodeQueue& inQueue, DecodeQueueCounters& outCounters)
{
    return CountersOf(inQueue, outCounters);
}

bool GetDecodeQueueCounters(const IdentifiedDecodeQueue& inQueue, DecodeQueueCounters& outCounters)
{
    return CountersOf(inQueue, outCounters);
}

} // namespace RK
