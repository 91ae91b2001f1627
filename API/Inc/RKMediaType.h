#pragma once

#include "qelcore/Export.h"
#include "qelcore/Guid.h"

namespace RK
{

// What kind of media a stream holds. Set up when the library is loaded: other static objects may read
// these only in code that runs after that.
extern RK_API const qelcore::utility::Guid kMediaType_Video;
extern RK_API const qelcore::utility::Guid kMediaType_Audio;

} // namespace RK
