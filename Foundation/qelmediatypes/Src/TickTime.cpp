#include "qelmediatypes/TickTime.h"

#include <cmath>

namespace qelmediatypes
{

namespace
{

constexpr std::int64_t kMaxTicks = std::numeric_limits<std::int64_t>::max();

// Wide enough that no sum or product of two 64-bit numbers overflows.
__extension__ using Wide = __int128;

std::int64_t Saturate(Wide inTicks) noexcept
{
    if (inTicks > kMaxTicks)
        return kMaxTicks;
    return inTicks < -static_cast<Wide>(kMaxTicks) ? -kMaxTicks
                                                   : static_cast<std::int64_t>(inTicks);
}

// long double, whose 64 bits of mantissa hold every count of ticks, where a double has 53.
static_assert(std::numeric_limits<long double>::digits >= 64, "a time would lose ticks");

std::int64_t SaturateAndRound(long double inTicks) noexcept
{
    if (std::isnan(inTicks))
        return 0;
    if (inTicks >= static_cast<long double>(kMaxTicks))
        return kMaxTicks;
    return inTicks <= -static_cast<long double>(kMaxTicks)
               ? -kMaxTicks
               : static_cast<std::int64_t>(std::llroundl(inTicks));
}

} // namespace

TickTime& TickTime::operator+=(const TickTime& inOther) noexcept
{
    mTicks = Saturate(static_cast<Wide>(mTicks) + inOther.mTicks);
    return *this;
}

TickTime& TickTime::operator-=(const TickTime& inOther) noexcept
{
    mTicks = Saturate(static_cast<Wide>(mTicks) - inOther.mTicks);
    return *this;
}

TickTime TickTime::operator-() const noexcept
{
    return TickTime(Saturate(-static_cast<Wide>(mTicks)));
}

TickTime& TickTime::operator*=(double inFactor) noexcept
{
    mTicks = SaturateAndRound(static_cast<long double>(mTicks) * inFactor);
    return *this;
}

TickTime& TickTime::operator/=(double inDivisor) noexcept
{
    mTicks = SaturateAndRound(static_cast<long double>(mTicks) / inDivisor);
    return *this;
}

TickTime operator/(const TickTime& inTime, int inDivisor) noexcept
{
    if (inDivisor != 0)
        return TickTime(Saturate(static_cast<Wide>(inTime.mTicks) / inDivisor));
    if (inTime.mTicks == 0)
        return TickTime();
    return TickTime(inTime.mTicks > 0 ? kMaxTicks : -kMaxTicks);
}

TickTime TickTime::AlignToFrame(const FrameRate& inRate) const noexcept
{
    const Wide frame = inRate.GetTicksPerFrame();
    if (frame <= 0)
        return *this;
    const Wide remainder = mTicks % frame; // has the sign of the time
    return TickTime(Saturate(mTicks - remainder - (remainder < 0 ? frame : 0)));
}

TickTime TickTime::AddFrames(std::int64_t inCount, const FrameRate& inRate) const noexcept
{
    return TickTime(Saturate(mTicks + static_cast<Wide>(inCount) * inRate.GetTicksPerFrame()));
}

} // namespace qelmediatypes
