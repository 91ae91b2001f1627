#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

// One of what "rkhost cache" can do, in a row of the table in CacheCommand.cpp.
struct CacheVerb
{
    const char* mName;
    const char* mSummary;   ///< a line of "rkhost cache --help"
    const char* (*mHelp)(); ///< what "rkhost cache NAME --help" prints
    /// @param inArguments  what stands behind the verb.
    ExitCode (*mRun)(const std::vector<std::string>& inArguments, EventLoop& ioLoop);
};

/// Runs a verb, or prints help where that is asked for.
/// @param inArguments  the verb and what is meant for it.
/// @throw HostError with kExit_Usage  if there is no such verb.
ExitCode RunCache(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

} // namespace RKHost
