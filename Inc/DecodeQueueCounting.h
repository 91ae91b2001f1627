#pragma once

#include <cstddef>
#include <cstdint>

#include "RKDecodeQueueCounters.h"
#include "qelcore/HighPrecisionTime.h"

namespace RK
{

enum class DecodePlace : std::size_t
{
    kPendingIO,
    kActiveIO,
    kPendingCPU,
    kActiveCPU,
    kParked,
};

// Counts what passes through a decode queue. Guarded by the queue's lock, under which the clock is read
// too, so that readings follow the order of what they time.
//
// A place's time is the sum of the clock at each leaving less the sum of the clock at each entering;
// what is present still lacks the present time. No request needs to remember when it came. The sums wrap
// around, and their difference is right all the same.
class DecodeQueueCounting
{
public:
    void Queued() { ++mQueued; }
    void StartedAtOnce() { ++mStartedAtOnce; }
    void Retired(int inStatus)
    {
        ++mRetired;
        mRetiredFailed += inStatus < 0 ? 1 : 0;
    }
    void Cancelled(DecodePlace inPlace, std::size_t inCount = 1)
    {
        At(inPlace).cancelled += inCount;
    }

    void Enter(DecodePlace inPlace) { Enter(inPlace, Now()); }
    void Leave(DecodePlace inPlace, std::size_t inCount = 1) { Leave(inPlace, Now(), inCount); }
    void Move(DecodePlace inFrom, DecodePlace inTo)
    {
        const std::uint64_t now = Now();
        Leave(inFrom, now, 1);
        Enter(inTo, now);
    }

    DecodeQueueCounters Snapshot() const;

private:
    static std::uint64_t Now() { return qelcore::utility::HighPrecisionTime::GetCurrentTime(); }
    DecodePlaceCounters& At(DecodePlace inPlace)
    {
        return mPlaces[static_cast<std::size_t>(inPlace)];
    }
    void Enter(DecodePlace inPlace, std::uint64_t inNow)
    {
        DecodePlaceCounters& place = At(inPlace);
        ++place.entered;
        ++place.present;
        place.nanoseconds -= inNow;
    }
    void Leave(DecodePlace inPlace, std::uint64_t inNow, std::size_t inCount)
    {
        DecodePlaceCounters& place = At(inPlace);
        place.present -= inCount;
        place.nanoseconds += inCount * inNow;
    }

    DecodePlaceCounters mPlaces[5]; // nanoseconds: in raw counts, and as told above
    std::uint64_t mQueued = 0;
    std::uint64_t mStartedAtOnce = 0;
    std::uint64_t mRetired = 0;
    std::uint64_t mRetiredFailed = 0;
};

} // namespace RK
