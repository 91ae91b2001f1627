#include <algorithm>
#include <cstdint>
#include <limits>

#include "RKPixelAspectRatio.h"
#include "qelmediatypes/PixelAspectGeometry.h"

namespace RK
{

namespace
{

using qelmediatypes::PixelAspectRatio;
using ZOR::ParamDimension;
using ZOR::ParamRect;

std::int32_t Saturated(std::int64_t inValue)
{
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(inValue, std::numeric_limits<std::int32_t>::min(),
                                 std::numeric_limits<std::int32_t>::max()));
}

/// The form that the foundation works on.
struct OriginAndSize
{
    explicit OriginAndSize(const ParamRect<int>& inRect)
        : mLeft(inRect.left)
        , mTop(inRect.top)
        , mWidth(Saturated(std::int64_t{inRect.right} - inRect.left))
        , mHeight(Saturated(std::int64_t{inRect.bottom} - inRect.top))
    {
    }
    ParamRect<int> ToRect() const
    {
        return {mLeft, mTop, Saturated(std::int64_t{mLeft} + mWidth),
                Saturated(std::int64_t{mTop} + mHeight)};
    }

    std::int32_t mLeft;
    std::int32_t mTop;
    std::int32_t mWidth;
    std::int32_t mHeight;
};

} // namespace

ParamRect<int> AdjustPixelAspectRectToSquarePixelRect(const ParamRect<int>& inRect,
                                                      const PixelAspectRatio& inRatio) noexcept
{
    OriginAndSize rect(inRect);
    qelmediatypes::AdjustPixelAspectRectToSquarePixelRect(rect.mLeft, rect.mTop, rect.mWidth,
                                                          rect.mHeight, inRatio);
    return rect.ToRect();
}

ParamRect<int> AdjustSquarePixelRectToPixelAspectRect(const ParamRect<int>& inRect,
                                                      const PixelAspectRatio& inRatio) noexcept
{
    OriginAndSize rect(inRect);
    qelmediatypes::AdjustSquarePixelRectToPixelAspectRect(rect.mLeft, rect.mTop, rect.mWidth,
                                                          rect.mHeight, inRatio);
    return rect.ToRect();
}

ParamDimension<int>
AdjustPixelAspectDimensionToSquarePixelDimension(const ParamDimension<int>& inDimension,
                                                 const PixelAspectRatio& inRatio) noexcept
{
    ParamDimension<int> dimension = inDimension;
    qelmediatypes::AdjustPixelAspectDimensionToSquarePixelDimension(dimension.width,
                                                                    dimension.height, inRatio);
    return dimension;
}

ParamDimension<int>
AdjustSquarePixelDimensionToPixelAspectDimension(const ParamDimension<int>& inDimension,
                                                 const PixelAspectRatio& inRatio) noexcept
{
    ParamDimension<int> dimension = inDimension;
    qelmediatypes::AdjustSquarePixelDimensionToPixelAspectDimension(dimension.width,
                                                                    dimension.height, inRatio);
    return dimension;
}

PixelAspectRatio
AdjustPixelAspectRatioForNonUniformDownsample(const PixelAspectRatio& inRatio,
                                              const ParamRect<int>& inFromRect,
                                              const ParamRect<int>& inToRect) noexcept
{
    const OriginAndSize from(inFromRect);
    const OriginAndSize to(inToRect);
    return qelmediatypes::AdjustPixelAspectRatioForNonUniformDownsample(
        inRatio, from.mWidth, from.mHeight, to.mWidth, to.mHeight);
}

PixelAspectRatio CorrectedPixelAspectRatio(const PixelAspectRatio& inRatio) noexcept
{
    PixelAspectRatio ratio = inRatio;
    qelmediatypes::CorrectLegacyPixelAspectRatio(ratio);
    return ratio;
}

bool IsPixelAspectRatioIncorrect(const PixelAspectRatio& inRatio) noexcept
{
    return qelmediatypes::IsLegacyPixelAspectRatio(inRatio);
}

} // namespace RK
