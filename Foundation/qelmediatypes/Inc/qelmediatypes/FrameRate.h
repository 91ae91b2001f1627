#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// The unit of all times: it divides the frames of every usual rate, and the samples of every usual
/// audio rate, without a remainder.
constexpr std::int64_t kTicksPerSecond = 254016000000;

// A frame rate, held as the duration of one frame in ticks. 0 is no rate at all.
// Threads  A value type.
class FrameRate
{
public:
    /// No rate.
    constexpr FrameRate() noexcept = default;
    constexpr explicit FrameRate(std::int64_t inTicksPerFrame) noexcept
        : mTicks(inTicksPerFrame)
    {
    }
    /// inFrames frames in inSeconds seconds: (30000, 1001) is the rate called 29.97. A rate whose frame
    /// is no whole number of ticks loses the fraction of a tick.
    /// @param inFrames  0 makes no rate.
    static constexpr FrameRate FromFramesPerSeconds(std::int64_t inFrames,
                                                    std::int64_t inSeconds) noexcept
    {
        if (inFrames == 0)
            return FrameRate();
        return FrameRate(kTicksPerSecond / inFrames * inSeconds +
                         kTicksPerSecond % inFrames * inSeconds / inFrames);
    }

    /// The raw value: ticks of one frame.
    constexpr std::int64_t GetTicksPerFrame() const noexcept { return mTicks; }

    /// The rate multiplied: inFactor times as many frames in a second, so the duration of a frame is
    /// divided, and a fraction of a tick lost. A factor below 1 makes no rate.
    constexpr FrameRate operator*(int inFactor) const noexcept
    {
        return inFactor < 1 ? FrameRate() : FrameRate(mTicks / inFactor);
    }

    friend constexpr bool operator==(const FrameRate& a, const FrameRate& b) noexcept
    {
        return a.mTicks == b.mTicks;
    }
    friend constexpr bool operator!=(const FrameRate& a, const FrameRate& b) noexcept
    {
        return a.mTicks != b.mTicks;
    }

private:
    std::int64_t mTicks = 0;
};

constexpr FrameRate kFrameRate_Video23976 = FrameRate::FromFramesPerSeconds(24000, 1001);
constexpr FrameRate kFrameRate_Video24 = FrameRate::FromFramesPerSeconds(24, 1);
constexpr FrameRate kFrameRate_Video25 = FrameRate::FromFramesPerSeconds(25, 1);
constexpr FrameRate kFrameRate_Video2997 = FrameRate::FromFramesPerSeconds(30000, 1001);
constexpr FrameRate kFrameRate_Video30 = FrameRate::FromFramesPerSeconds(30, 1);
constexpr FrameRate kFrameRate_Video47952 = FrameRate::FromFramesPerSeconds(48000, 1001);
constexpr FrameRate kFrameRate_Video48 = FrameRate::FromFramesPerSeconds(48, 1);
constexpr FrameRate kFrameRate_Video50 = FrameRate::FromFramesPerSeconds(50, 1);
constexpr FrameRate kFrameRate_Video5994 = FrameRate::FromFramesPerSeconds(60000, 1001);
constexpr FrameRate kFrameRate_Video60 = FrameRate::FromFramesPerSeconds(60, 1);
constexpr FrameRate kFrameRate_Video11988 = FrameRate::FromFramesPerSeconds(120000, 1001);
constexpr FrameRate kFrameRate_Video120 = FrameRate::FromFramesPerSeconds(120, 1);
constexpr FrameRate kFrameRate_Video1000 = FrameRate::FromFramesPerSeconds(1000, 1);

} // namespace qelmediatypes
