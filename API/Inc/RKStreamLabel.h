#pragma once

#include "qelcore/Export.h"
#include "qelcore/ImmutableString.h"

namespace RK
{

// Names of the streams of one clip, here of its two eyes. Set up when the library is loaded: other
// static objects may read these only in code that runs after that.
extern RK_API const qelcore::utility::ImmutableString kStreamLabel_Stereoscopic_Left;
extern RK_API const qelcore::utility::ImmutableString kStreamLabel_Stereoscopic_Right;

} // namespace RK
