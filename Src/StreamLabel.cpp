#include "RKStreamLabel.h"

#include "LoadOrder.h"

RK_RECORD_SET_UP("Src/StreamLabel");

namespace RK
{

using qelcore::utility::ImmutableString;

const ImmutableString kStreamLabel_Stereoscopic_Left =
    ImmutableString::CreateStatic("RVNS.Stereoscopic.Left");
const ImmutableString kStreamLabel_Stereoscopic_Right =
    ImmutableString::CreateStatic("RVNS.Stereoscopic.Right");

} // namespace RK
