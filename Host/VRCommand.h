#pragma once

#include <string>
#include <vector>

#include "HostError.h"

namespace RKHost
{

/// "rkhost vr": what a file of VR text says, and changes of it.
/// @param inArguments  what stands behind the word; "--help" prints what there is.
/// @throw HostError with kExit_Usage; with kExit_Failure for a file, which is then as it was.
ExitCode RunVR(const std::vector<std::string>& inArguments);

} // namespace RKHost
