#include "RKMediaUIUtilities.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "RKPixelAspectRatio.h"

namespace RK
{

namespace
{

using ZOR::ParamRect;

constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();

std::int32_t Saturated(std::int64_t inValue)
{
    return static_cast<std::int32_t>(std::clamp(inValue, kLeast, kMost));
}

std::int64_t Width(const ParamRect<int>& inRect)
{
    return std::int64_t{inRect.right} - inRect.left;
}

std::int64_t Height(const ParamRect<int>& inRect)
{
    return std::int64_t{inRect.bottom} - inRect.top;
}

std::int64_t ScaledLength(std::int64_t inLength, float inScale)
{
    const float scaled = static_cast<float>(inLength) * inScale + 0.5f;
    // The largest float below 2^31 and -2^31 itself: a cast of anything beyond is undefined.
    return static_cast<std::int64_t>(std::clamp(scaled, -2147483648.0f, 2147483520.0f));
}

ParamRect<int> Moved(const ParamRect<int>& inRect, std::int64_t inRight, std::int64_t inDown)
{
    return {Saturated(inRect.left + inRight), Saturated(inRect.top + inDown),
            Saturated(inRect.right + inRight), Saturated(inRect.bottom + inDown)};
}

} // namespace

void FitRectInRect(const ParamRect<int>& inSource, const ParamRect<int>& inTarget,
                   ParamRect<int>& outResult) noexcept
{
    const std::int64_t width = Width(inSource);
    const std::int64_t height = Height(inSource);
    if (width == 0 || height == 0)
    {
        outResult = inTarget;
        return;
    }
    const float scale = std::min(static_cast<float>(Height(inTarget)) / static_cast<float>(height),
                                 static_cast<float>(Width(inTarget)) / static_cast<float>(width));
    outResult = {inTarget.left, inTarget.top, Saturated(inTarget.left + ScaledLength(width, scale)),
                 Saturated(inTarget.top + ScaledLength(height, scale))};
}

ParamRect<int> AdaptVideoRectToPAR(const qelmediatypes::PixelAspectRatio& inRatio,
                                   const ParamRect<int>& inVideoRect,
                                   const ParamRect<int>& inFrameRect) noexcept
{
    ParamRect<int> shown;
    FitRectInRect(AdjustPixelAspectRectToSquarePixelRect(inVideoRect, inRatio), inFrameRect, shown);
    if (shown.right <= shown.left)
        shown.right = Saturated(std::int64_t{shown.left} + 1);
    if (Height(shown) < 2)
        shown.bottom = Saturated(std::int64_t{shown.top} + 2);
    return Moved(shown, (Width(inFrameRect) - Width(shown)) / 2,
                 (Height(inFrameRect) - Height(shown)) / 2);
}

} // namespace RK
