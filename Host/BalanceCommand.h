#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"
#include "Options.h"

namespace RKHost
{

/// Starts players that share the machine's memory, shows who is granted what as it changes, and ends them.
/// A player that ends by itself, or tells of an error, is a failure.
/// @throw HostError, Interrupted
ExitCode RunBalance(const Options& inOptions, EventLoop& ioLoop);

/// What a player is started with, the program's name left out.
std::vector<std::string> PlayerArguments(const Options& inOptions, const std::string& inSuite);

} // namespace RKHost
