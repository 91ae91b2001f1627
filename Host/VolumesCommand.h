#pragma once

#include <string>
#include <vector>

#include "HostError.h"

namespace RKHost
{

/// Lists the known volumes, or tells on which of them a path lies and how it reads there.
/// @param inArguments  at most one path.
/// @throw HostError with kExit_Usage
ExitCode RunVolumes(const std::vector<std::string>& inArguments);

} // namespace RKHost
