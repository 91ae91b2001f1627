#pragma once

#include <string>

#include "EventLoop.h"
#include "HostError.h"
#include "Options.h"

namespace RKHost
{

/// @throw HostError, Interrupted
ExitCode RunMonitor(const Options& inOptions, EventLoop& ioLoop);

/// What the media manager tells of itself for people to look at, several lines.
std::string MediaManagerReport();

} // namespace RKHost
