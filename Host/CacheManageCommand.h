#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

/// Keeps a folder within limits by the disk cache manager.
ExitCode RunCacheManage(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

} // namespace RKHost
