#pragma once

#include <string>
#include <vector>

#include "HostError.h"

namespace RKHost
{

/// "rkhost curve": the ease between two keyframes, as a table and as a picture.
/// @param inArguments  what stands behind the word; "--help" prints what there is.
/// @throw HostError
ExitCode RunCurve(const std::vector<std::string>& inArguments);

} // namespace RKHost
