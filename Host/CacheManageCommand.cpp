#include "CacheManageCommand.h"

#include <cstdlib>
#include <iostream>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <RiverKit/RKDiskCacheManager.h>

#include "CacheManageOptions.h"
#include "Text.h"
#include "ZORMessaging/Station.h"
#include "qelcore/DebugDatabase.h"

namespace RKHost
{

namespace
{

using RK::DiskCacheManager::ManagedDirectory;
using RK::DiskCacheManager::ManagedDirectoryPtr;
using RK::DiskCacheManager::ManagedVolume;
using RK::DiskCacheManager::ManagedVolumePtr;

std::vector<qelcore::UTF16String> LibraryExtensions(const CacheManageOptions& inOptions)
{
    std::vector<qelcore::UTF16String> extensions;
    for (const std::string& extension : inOptions.mExtensions)
        extensions.push_back(ToLibraryPath(extension));
    return extensions;
}

boost::optional<boost::posix_time::time_duration>
LibraryDuration(const boost::optional<std::int64_t>& inSeconds)
{
    if (!inSeconds)
        return boost::none;
    return boost::posix_time::time_duration(boost::posix_time::seconds(*inSeconds));
}

// Counts the sweeps that have ended.
class SweepCounter : public ZOR::Listener
{
public:
    SweepCounter() { ZOR::StationUtils::AddListener(RK::DiskCacheManager::GetStationID(), this); }
    ~SweepCounter() override
    {
        ZOR::StationUtils::RemoveListener(RK::DiskCacheManager::GetStationID(), this);
    }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        using RK::DiskCacheManager::CleanCompleteMessage;
        if (inMessage.GetMessageID() == CleanCompleteMessage::GetClassMessageID())
            ++mCount;
    }
    int Count() const { return mCount; }

private:
    int mCount = 0;
};

void SetInterval(std::int64_t inMilliseconds)
{
    qelcore::debug::DebugDatabase::Instance().SetEntry("RKDiskCacheManager.DiskSweepInterval",
                                                       std::to_string(inMilliseconds));
}

ManagedDirectoryPtr Manage(const std::string& inFolder, const CacheManageOptions& inOptions)
{
    const auto path = ToLibraryPath(inFolder);
    const auto extensions = LibraryExtensions(inOptions);
    const ManagedDirectoryPtr directory =
        ManagedDirectory::Create(path, extensions, LibraryDuration(inOptions.mBoostSeconds));
    if (inOptions.mFreePercent)
        ManagedVolume::Create(path, extensions)->SetFreeSpacePercentage(inOptions.mFreePercent);
    directory->SetAutomaticExpiryDuration(LibraryDuration(inOptions.mExpirySeconds));
    directory->SetMaxFileCount(inOptions.mMaxFiles);
    directory->SetMaxUsedBytes(inOptions.mMaxBytes);
    directory->SetDeleteEmptySubDirectories(inOptions.mDeleteEmptyFolders);
    return directory;
}

} // namespace

ExitCode RunCacheManage(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    const CacheManageOptions options = ParseCacheManage(inArguments);
    const char* home = std::getenv("HOME");
    const std::string folder = FolderToManage(options.mFolder, home != nullptr ? home : "");
    if (options.mOnce)
        SetInterval(1);
    else if (options.mIntervalSeconds)
        SetInterval(*options.mIntervalSeconds * 1000);
    const ManagedDirectoryPtr directory = Manage(folder, options);
    const SweepCounter sweeps;
    while (!ioLoop.IsInterrupted() && !(options.mOnce && sweeps.Count() > 0))
        ioLoop.WaitAndRun();
    if (options.mOnce && sweeps.Count() == 0)
        throw Interrupted();
    return kExit_OK;
}

} // namespace RKHost
