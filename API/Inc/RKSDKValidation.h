#pragma once

#include <cstdint>
#include <vector>

#include "RKPixelFormat.h"
#include "RKSDKTypes.h"
#include "ZOR/ParamRect.h"
#include "qelcore/Export.h"
#include "qelmediatypes/RenderQuality.h"
#include "qelmediatypes/TickTime.h"

// The conversions of RKSDKConversion.h for what a render is asked to do, with its limits: a number that
// cannot be rendered is refused here, before anything is allocated for it.
//
// Units    Pixels; ticks.
// Threads  Pure functions.
// Errors   kQzParameterError, kQzBadFormatError or kQzSuccess. Nothing raises but std::bad_alloc.
namespace RK
{

/// The most formats that a plug-in may offer in one list.
constexpr std::int32_t kMaxRenderPixelFormats = 49;
/// The largest frame that is rendered.
constexpr std::int32_t kMaxRenderWidth = 16384;
constexpr std::int32_t kMaxRenderHeight = 8192;

/// Appends each format to ioFormats.
/// @return kQzParameterError if inCount is above 49, and then ioFormats is as it was; kQzBadFormatError
///         at the first format that is not valid, those ahead of it and itself being appended; the
///         same if ioFormats is empty at the end.
RK_API QzResult ConvertAndValidateForRenderSDKToBEPixelFormatList(
    const QzPixelFormat* inFormats, std::int32_t inCount, std::vector<PixelFormat>& ioFormats);

/// @param ioCount  the room of outFormats; becomes the smaller of itself and the list's size, also if
///                 the call then fails.
/// @return kQzBadFormatError at the first format that is invalid, which has been written.
RK_API QzResult ConvertAndValidateForRenderBEToSDKPixelFormatList(
    const std::vector<PixelFormat>& inFormats, QzPixelFormat* outFormats, std::int32_t& ioCount);

/// @param outRect  written in every case.
/// @return kQzParameterError unless the width is 1 to 16384 and the height 1 to 8192.
RK_API QzResult ConvertAndValidateForRenderSDKRectToZORRect(const qzRect& inRect,
                                                            ZOR::ParamRect<int>& outRect) noexcept;

/// @param outRect  written on success alone.
/// @return kQzParameterError unless the width is 1 to 16384 and the height 1 to 8192, and each edge
///         can be told in 16 bits.
RK_API QzResult ConvertAndValidateForRenderZORRectToSDKRect(const ZOR::ParamRect<int>& inRect,
                                                            qzRect& outRect) noexcept;

/// @param outQuality  written on success alone.
/// @return kQzParameterError above 4.
RK_API QzResult ConvertAndValidateForRenderSDKToBEQuality(
    QzRenderQuality inQuality, qelmediatypes::RenderQuality& outQuality) noexcept;

/// @param inTime   null is refused.
/// @param outTime  written on success alone. Both sides count the same ticks.
/// @return kQzParameterError for a time below 0.
RK_API QzResult ConvertAndValidateQzTimeToBETime(const QzTime* inTime,
                                                 qelmediatypes::TickTime& outTime) noexcept;

} // namespace RK
