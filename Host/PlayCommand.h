#pragma once

#include "EventLoop.h"
#include "HostError.h"
#include "Options.h"

namespace RKHost
{

/// @throw HostError
ExitCode RunPlay(const Options& inOptions, EventLoop& ioLoop);

} // namespace RKHost
