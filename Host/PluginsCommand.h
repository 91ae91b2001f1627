#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

/// Whether these are for a child process of "plugins scan", which brings up the library by itself.
bool IsPluginChild(const std::vector<std::string>& inArguments);
ExitCode RunPluginChild(const std::vector<std::string>& inArguments);

/// "rkhost plugins scan DIR...": tries plug-ins and tells of those that can be used. No code of theirs runs in this
/// process.
/// @param inArguments  the verb and what is meant for it.
/// @throw HostError; Interrupted
ExitCode RunPlugins(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

} // namespace RKHost
