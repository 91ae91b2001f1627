#include "RKPixelAspectRatio.h"

#include "LoadOrder.h"

RK_RECORD_SET_UP("Src/PixelAspectRatio/PixelAspectRatio");

namespace RK
{

using qelmediatypes::PixelAspectRatio;

const PixelAspectRatio kPixelAspectRatio_Unknown = qelmediatypes::kPixelAspectRatio_Unknown;
const PixelAspectRatio kPixelAspectRatio_Any = qelmediatypes::kPixelAspectRatio_Any;
const PixelAspectRatio kPixelAspectRatio_Square = qelmediatypes::kPixelAspectRatio_Square;
const PixelAspectRatio kPixelAspectRatio_DVNTSC_Incorrect =
    qelmediatypes::kPixelAspectRatio_DVNTSC_Incorrect;
const PixelAspectRatio kPixelAspectRatio_DVNTSCWide_Incorrect =
    qelmediatypes::kPixelAspectRatio_DVNTSCWide_Incorrect;
const PixelAspectRatio kPixelAspectRatio_DVPAL_Incorrect =
    qelmediatypes::kPixelAspectRatio_DVPAL_Incorrect;
const PixelAspectRatio kPixelAspectRatio_DVPAL_TooPrecise =
    qelmediatypes::kPixelAspectRatio_DVPAL_TooPrecise;
const PixelAspectRatio kPixelAspectRatio_DVPALWide_Incorrect =
    qelmediatypes::kPixelAspectRatio_DVPALWide_Incorrect;
const PixelAspectRatio kPixelAspectRatio_DVNTSC = qelmediatypes::kPixelAspectRatio_DVNTSC;
const PixelAspectRatio kPixelAspectRatio_DVNTSCWide = qelmediatypes::kPixelAspectRatio_DVNTSCWide;
const PixelAspectRatio kPixelAspectRatio_DVPAL = qelmediatypes::kPixelAspectRatio_DVPAL;
const PixelAspectRatio kPixelAspectRatio_DVPALWide = qelmediatypes::kPixelAspectRatio_DVPALWide;
const PixelAspectRatio kPixelAspectRatio_Anamorphic = qelmediatypes::kPixelAspectRatio_Anamorphic;
const PixelAspectRatio kPixelAspectRatio_HDAnamorphic1080 =
    qelmediatypes::kPixelAspectRatio_HDAnamorphic1080;
const PixelAspectRatio kPixelAspectRatio_DVCProHD = qelmediatypes::kPixelAspectRatio_DVCProHD;

} // namespace RK
