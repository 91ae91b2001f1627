#pragma once

#include <cstdint>

#include "qelcore/Export.h"

// What a decode queue has done so far. The debug monitor's source "RK.DecodeQueues" shows the same for
// every queue there is.
namespace RK
{

class DecodeQueue;
class IdentifiedDecodeQueue;

// One place that requests pass through. At any moment
//   entered == present + those that have left, cancelled ones among them.
struct DecodePlaceCounters
{
    std::uint64_t entered = 0;
    /// Requests told of a cancel here. In the CPU stage, and in the I/O stage by a cancel of all, they
    /// stay all the same.
    std::uint64_t cancelled = 0;
    std::uint64_t present = 0; ///< now
    /// Spent here by all requests together, those that are present included: two requests that wait for
    /// a second at the same time make two seconds. Divided by entered it is the mean.
    std::uint64_t nanoseconds = 0;
};

struct DecodeQueueCounters
{
    DecodePlaceCounters pendingIO; ///< waiting for the I/O stage
    DecodePlaceCounters
        activeIO; ///< entered: I/O started. One that is cancelled here leaves at once
    DecodePlaceCounters pendingCPU;  ///< I/O done, waiting for the CPU stage
    DecodePlaceCounters activeCPU;   ///< entered: CPU stage started
    DecodePlaceCounters parked;      ///< entered: joined a primary as its duplicate
    std::uint64_t queued = 0;        ///< requests that got stages of their own: not the parked ones
    std::uint64_t startedAtOnce = 0; ///< of these, whose I/O began on the thread that queued them
    std::uint64_t retired = 0; ///< left by the end of a stage, and not by a cancel between stages
    std::uint64_t retiredFailed = 0; ///< of these, with a negative status
};

// One moment's counters of a queue that this library made. Any thread; takes the queue's lock for a copy
// of some 200 bytes.
/// @return false, with outCounters as it was, for a queue of somebody else's making.
RK_API bool GetDecodeQueueCounters(const DecodeQueue& inQueue, DecodeQueueCounters& outCounters);
RK_API bool GetDecodeQueueCounters(const IdentifiedDecodeQueue& inQueue,
                                   DecodeQueueCounters& outCounters);

} // namespace RK
