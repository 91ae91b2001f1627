#pragma once

#include "ZOR/ParamRect.h"
#include "qelcore/Export.h"
#include "qelmediatypes/PixelAspectRatio.h"

// Where a picture is drawn.
//
// Units    Pixels.
// Threads  Pure functions.
// Errors   Nothing raises. A length beyond 32 bits saturates.
namespace RK
{

/// Scales a rectangle so that it just fits into another, keeping its shape. Scale and lengths are 32-bit
/// floats, a length being rounded by adding a half and cutting.
/// @param outResult  begins at the target's top left corner: it is not centred. The target itself if the
///                   source has no width or no height.
RK_API void FitRectInRect(const ZOR::ParamRect<int>& inSource, const ZOR::ParamRect<int>& inTarget,
                          ZOR::ParamRect<int>& outResult) noexcept;

/// Where in inFrameRect a video of such pixels is shown whole: scaled as by FitRectInRect, with bars on
/// two sides, and centred. An odd pixel of the bars lies right or below; where the result is larger than
/// the frame, its overhang is halved toward zero.
/// @return at least 1 wide and 2 high, also where the frame is not: a picture of fields has no single
///         line. The frame itself for a video without width or height.
RK_API ZOR::ParamRect<int> AdaptVideoRectToPAR(const qelmediatypes::PixelAspectRatio& inRatio,
                                               const ZOR::ParamRect<int>& inVideoRect,
                                               const ZOR::ParamRect<int>& inFrameRect) noexcept;

} // namespace RK
