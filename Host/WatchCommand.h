#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

/// "rkhost watch": prints what the directory change monitor tells, as it comes.
/// @param inArguments  what stands behind the word; "--help" prints what there is.
/// @throw HostError, Interrupted
ExitCode RunWatch(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

} // namespace RKHost
