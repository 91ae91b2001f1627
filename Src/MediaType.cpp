#include "RKMediaType.h"

#include "LoadOrder.h"

RK_RECORD_SET_UP("Src/MediaType");

namespace RK
{

using qelcore::utility::Guid;

const Guid kMediaType_Video = Guid::StringToGUID("228CDA18-3625-4d2d-951E-348879E4ED93", 36);
const Guid kMediaType_Audio = Guid::StringToGUID("80B8E3D5-6DCA-4195-AEFB-CB5F407AB009", 36);

} // namespace RK
