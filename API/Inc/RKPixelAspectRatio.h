#pragma once

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

} // namespace RK
