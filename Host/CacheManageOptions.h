#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <boost/optional.hpp>

namespace RKHost
{

struct CacheManageOptions
{
    std::string mFolder; ///< as it was given
    boost::optional<std::uint64_t> mMaxBytes;
    boost::optional<std::uint64_t> mMaxFiles;
    boost::optional<std::int64_t> mExpirySeconds;
    boost::optional<std::int64_t> mBoostSeconds;
    boost::optional<float> mFreePercent;
    std::vector<std::string> mExtensions;           ///< each with its dot; never empty
    boost::optional<std::int64_t> mIntervalSeconds; ///< between two sweeps
    bool mDeleteEmptyFolders = false;
    bool mOnce = false; ///< one sweep; also for a dry run
    bool mDryRun = false;
};

/// @throw HostError with kExit_Usage
CacheManageOptions ParseCacheManage(const std::vector<std::string>& inArguments);

const char* CacheManageHelp();

/// The folder's path without links, if it may be managed: not "/", nobody's home or what holds one, and
/// nothing that belongs to the system. A mistaken path and a common extension would be a disaster.
/// @param inHome  the user's home; empty: unknown.
/// @throw HostError  with kExit_Failure if there is no such folder, with kExit_Usage if it is refused.
std::string FolderToManage(const std::string& inFolder, const std::string& inHome);

} // namespace RKHost
