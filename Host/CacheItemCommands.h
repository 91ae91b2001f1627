#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "HostError.h"

namespace RKHost
{

// Verbs of "rkhost cache" on single items: get, put, ls and rm; see CacheVerb.

/// @throw HostError, as all of them
ExitCode RunCacheGet(const std::vector<std::string>& inArguments, EventLoop& ioLoop);
/// @throw Interrupted while it reads what is to be put
ExitCode RunCachePut(const std::vector<std::string>& inArguments, EventLoop& ioLoop);
ExitCode RunCacheList(const std::vector<std::string>& inArguments, EventLoop& ioLoop);
ExitCode RunCacheRemove(const std::vector<std::string>& inArguments, EventLoop& ioLoop);

const char* CacheGetHelp();
const char* CachePutHelp();
const char* CacheListHelp();
const char* CacheRemoveHelp();

} // namespace RKHost
