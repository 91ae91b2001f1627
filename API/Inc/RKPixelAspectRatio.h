#pragma once

#include "ZOR/ParamRect.h"
#include "qelcore/Export.h"
#include "qelmediatypes/PixelAspectRatio.h"

namespace RK
{

// The usual pixel aspect ratios, described in qelmediatypes/PixelAspectRatio.h. Set up when the library
// is loaded: other static objects may read these only in code that runs after that.
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_Unknown;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_Any;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_Square;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVNTSC_Incorrect;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVNTSCWide_Incorrect;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVPAL_Incorrect;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVPAL_TooPrecise;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVPALWide_Incorrect;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVNTSC;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVNTSCWide;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVPAL;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVPALWide;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_Anamorphic;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_HDAnamorphic1080;
extern RK_API const qelmediatypes::PixelAspectRatio kPixelAspectRatio_DVCProHD;

// Rectangles and sizes under pixels that are not square, in the form that the application has them. What
// is computed, how it is rounded and what becomes of a ratio that is none stands at the functions of the
// same names in qelmediatypes/PixelAspectGeometry.h.
//
// Units    Pixels.
// Threads  Pure functions.
// Errors   Nothing raises. An edge beyond 32 bits saturates.

RK_API ZOR::ParamRect<int>
AdjustPixelAspectRectToSquarePixelRect(const ZOR::ParamRect<int>& inRect,
                                       const qelmediatypes::PixelAspectRatio& inRatio) noexcept;
RK_API ZOR::ParamRect<int>
AdjustSquarePixelRectToPixelAspectRect(const ZOR::ParamRect<int>& inRect,
                                       const qelmediatypes::PixelAspectRatio& inRatio) noexcept;
RK_API ZOR::ParamDimension<int> AdjustPixelAspectDimensionToSquarePixelDimension(
    const ZOR::ParamDimension<int>& inDimension,
    const qelmediatypes::PixelAspectRatio& inRatio) noexcept;
RK_API ZOR::ParamDimension<int> AdjustSquarePixelDimensionToPixelAspectDimension(
    const ZOR::ParamDimension<int>& inDimension,
    const qelmediatypes::PixelAspectRatio& inRatio) noexcept;
/// The aspect of the pixels once a picture was scaled from the size of one rectangle to that of another.
RK_API qelmediatypes::PixelAspectRatio
AdjustPixelAspectRatioForNonUniformDownsample(const qelmediatypes::PixelAspectRatio& inRatio,
                                              const ZOR::ParamRect<int>& inFromRect,
                                              const ZOR::ParamRect<int>& inToRect) noexcept;

/// The right ratio for one of the five of older documents; any other as it is.
RK_API qelmediatypes::PixelAspectRatio
CorrectedPixelAspectRatio(const qelmediatypes::PixelAspectRatio& inRatio) noexcept;
/// Whether a ratio is one of those five.
RK_API bool IsPixelAspectRatioIncorrect(const qelmediatypes::PixelAspectRatio& inRatio) noexcept;

} // namespace RK
