#include "RKSDKValidation.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "RKSDKConversion.h"
#include "qelmediatypes/PixelFormat.h"

namespace RK
{

namespace
{

using namespace qelmediatypes;

constexpr QzRenderQuality kHighestSDKQuality = 4;

bool CanBeRendered(const ZOR::ParamRect<int>& inRect)
{
    const std::int64_t width = std::int64_t{inRect.right} - inRect.left;
    const std::int64_t height = std::int64_t{inRect.bottom} - inRect.top;
    return width >= 1 && width <= kMaxRenderWidth && height >= 1 && height <= kMaxRenderHeight;
}

bool FitsIntoSDK(int inEdge)
{
    return inEdge >= std::numeric_limits<std::int16_t>::min() &&
           inEdge <= std::numeric_limits<std::int16_t>::max();
}

} // namespace

QzResult ConvertAndValidateForRenderSDKToBEPixelFormatList(const QzPixelFormat* inFormats,
                                                           std::int32_t inCount,
                                                           std::vector<PixelFormat>& ioFormats)
{
    if (inCount > kMaxRenderPixelFormats)
        return kQzParameterError;
    for (std::int32_t i = 0; i < inCount; ++i)
    {
        ioFormats.push_back(SDKToBEPixelFormat(inFormats[i]));
        if (ioFormats.back() == qelmediatypes::kPixelFormat_Invalid)
            return kQzBadFormatError;
    }
    return ioFormats.empty() ? kQzBadFormatError : kQzSuccess;
}

QzResult
ConvertAndValidateForRenderBEToSDKPixelFormatList(const std::vector<PixelFormat>& inFormats,
                                                  QzPixelFormat* outFormats, std::int32_t& ioCount)
{
    ioCount = static_cast<std::int32_t>(
        std::min(std::int64_t{ioCount}, static_cast<std::int64_t>(inFormats.size())));
    for (std::int32_t i = 0; i < ioCount; ++i)
    {
        outFormats[i] = BEToSDKPixelFormat(inFormats[static_cast<std::size_t>(i)]);
        if (outFormats[i] == kQzPixelFormatInvalid)
            return kQzBadFormatError;
    }
    return kQzSuccess;
}

QzResult ConvertAndValidateForRenderSDKRectToZORRect(const qzRect& inRect,
                                                     ZOR::ParamRect<int>& outRect) noexcept
{
    outRect = {inRect.left, inRect.top, inRect.right, inRect.bottom};
    return CanBeRendered(outRect) ? kQzSuccess : kQzParameterError;
}

QzResult ConvertAndValidateForRenderZORRectToSDKRect(const ZOR::ParamRect<int>& inRect,
                                                     qzRect& outRect) noexcept
{
    if (!CanBeRendered(inRect) || !FitsIntoSDK(inRect.left) || !FitsIntoSDK(inRect.top) ||
        !FitsIntoSDK(inRect.right) || !FitsIntoSDK(inRect.bottom))
        return kQzParameterError;
    outRect.left = static_cast<std::int16_t>(inRect.left);
    outRect.top = static_cast<std::int16_t>(inRect.top);
    outRect.right = static_cast<std::int16_t>(inRect.right);
    outRect.bottom = static_cast<std::int16_t>(inRect.bottom);
    return kQzSuccess;
}

QzResult ConvertAndValidateForRenderSDKToBEQuality(QzRenderQuality inQuality,
                                                   RenderQuality& outQuality) noexcept
{
    if (inQuality > kHighestSDKQuality)
        return kQzParameterError;
    outQuality = static_cast<RenderQuality>(inQuality + kRenderQuality_Lowest);
    return kQzSuccess;
}

QzResult ConvertAndValidateQzTimeToBETime(const QzTime* inTime, TickTime& outTime) noexcept
{
    if (!inTime || *inTime < 0)
        return kQzParameterError;
    outTime = TickTime(*inTime);
    return kQzSuccess;
}

} // namespace RK
