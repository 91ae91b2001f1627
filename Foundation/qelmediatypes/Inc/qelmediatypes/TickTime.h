#pragma once

#include <cstdint>
#include <limits>

#include "qelcore/Export.h"
#include "qelmediatypes/FrameRate.h"

namespace qelmediatypes
{

// A time or a duration, a signed count of ticks.
//
// Threads  A value type.
// Errors   Nothing raises. A result that does not fit saturates: every operation answers within
//          -kTime_Max and kTime_Max, about 420 days each way.
class RK_API TickTime
{
public:
    /// Zero.
    constexpr TickTime() noexcept = default;
    constexpr explicit TickTime(std::int64_t inTicks) noexcept
        : mTicks(inTicks)
    {
    }

    constexpr std::int64_t GetTicks() const noexcept { return mTicks; }
    constexpr double GetSeconds() const noexcept
    {
        return static_cast<double>(mTicks) / static_cast<double>(kTicksPerSecond);
    }

    TickTime& operator+=(const TickTime& inOther) noexcept;
    TickTime& operator-=(const TickTime& inOther) noexcept;
    TickTime operator-() const noexcept;
    /// Scale. The result is the nearest tick, a half away from zero; no precision is lost on the way
    /// however long the time is. A NaN makes zero, and so does zero times infinity.
    TickTime& operator*=(double inFactor) noexcept;
    /// The inverse. A division by 0 saturates by the signs of time and divisor; 0 / 0 is zero.
    TickTime& operator/=(double inDivisor) noexcept;

    /// The beginning of the frame that this time lies in: the greatest multiple of a frame's duration
    /// that is not above it, for negative times as well. Without a rate the time itself.
    TickTime AlignToFrame(const FrameRate& inRate) const noexcept;
    /// The time inCount frames later; earlier if inCount is negative.
    TickTime AddFrames(std::int64_t inCount, const FrameRate& inRate) const noexcept;

    friend TickTime operator+(TickTime a, const TickTime& b) noexcept { return a += b; }
    friend TickTime operator-(TickTime a, const TickTime& b) noexcept { return a -= b; }
    /// Truncates toward zero. A division by 0 saturates by the sign of the time; 0 / 0 is zero.
    RK_API friend TickTime operator/(const TickTime& inTime, int inDivisor) noexcept;

    friend constexpr bool operator==(const TickTime& a, const TickTime& b) noexcept
    {
        return a.mTicks == b.mTicks;
    }
    friend constexpr bool operator!=(const TickTime& a, const TickTime& b) noexcept
    {
        return a.mTicks != b.mTicks;
    }
    friend constexpr bool operator<(const TickTime& a, const TickTime& b) noexcept
    {
        return a.mTicks < b.mTicks;
    }
    friend constexpr bool operator>(const TickTime& a, const TickTime& b) noexcept { return b < a; }
    friend constexpr bool operator<=(const TickTime& a, const TickTime& b) noexcept
    {
        return !(b < a);
    }
    friend constexpr bool operator>=(const TickTime& a, const TickTime& b) noexcept
    {
        return !(a < b);
    }

private:
    std::int64_t mTicks = 0;
};

constexpr TickTime kTime_Zero;
/// The latest time; the earliest is -kTime_Max.
constexpr TickTime kTime_Max{std::numeric_limits<std::int64_t>::max()};

} // namespace qelmediatypes
