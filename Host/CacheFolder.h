#pragma once

#include <string>

#include <RiverKit/RKDataCache.h>
#include <RiverKit/RKDiskCacheManager.h>

namespace RKHost
{

// The store in a folder.
struct CacheFolder
{
    RK::DataCachePtr mStore;
    RK::DiskCacheManager::ManagedDirectoryPtr mDirectory;

    /// @throw HostError if there is no such folder.
    static CacheFolder Open(const std::string& inFolder);
    /// @throw HostError if there is none and it cannot be made.
    static CacheFolder OpenOrMake(const std::string& inFolder);
};

/// Waits until nothing waits to be written, but not longer than some seconds without any progress: a dead
/// file system must not hold up whoever wants to end.
/// @return whether everything was written, or given up by the store.
bool AwaitWrites(const RK::DataCachePtr& inStore);

} // namespace RKHost
