#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

struct CacheFillOptions
{
    std::string mFolder;
    int mCount = 1000;                     ///< items to put at most
    std::uint64_t mLeastBytes = 64 * 1024; ///< of an item
    std::uint64_t mMostBytes = 64 * 1024;
    int mThreads = 2;
    double mSeconds = 0; ///< nothing is put after that long; 0: no such limit
};

/// @throw HostError with kExit_Usage
CacheFillOptions ParseCacheFill(const std::vector<std::string>& inArguments);

/// @throw HostError; Interrupted
ExitCode RunCacheFill(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

const char* CacheFillHelp();

} // namespace RKHost
