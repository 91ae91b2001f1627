#pragma once

#include <string>
#include <vector>

#include "HostError.h"

namespace RKHost
{

/// "rkhost convert": what a value of the plug-in SDK is for the library, and the other way round.
/// @param inArguments  what stands behind the word; "--help" prints what there is.
/// @throw HostError with kExit_Usage
ExitCode RunConvert(const std::vector<std::string>& inArguments);

} // namespace RKHost
