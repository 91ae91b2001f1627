#include "FolderWatches.h"

#include <RiverKit/RKDirectoryChangeMonitor.h>

#include "Text.h"
#include "ZORMessaging/Station.h"

namespace RKHost
{

namespace Monitor = RK::DirectoryChangeMonitor;

FolderWatches::FolderWatches(const OnTold& inOnTold)
    : mOnTold(inOnTold)
{
    ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, this);
}

FolderWatches::~FolderWatches()
{
    ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, this);
    for (const auto& [folder, recursive] : mFolders)
        recursive ? Monitor::StopMonitoringDirectoryRecursively(folder)
                  : Monitor::StopMonitoringDirectory(folder);
    if (mHasVolumes)
        Monitor::StopMonitoringVolumeChanges();
}

void FolderWatches::Add(const std::string& inFolder, bool inRecursive)
{
    const qelcore::UTF16String folder = ToLibraryPath(inFolder);
    mFolders.emplace_back(folder, inRecursive);
    inRecursive ? Monitor::MonitorDirectoryRecursively(folder) : Monitor::MonitorDirectory(folder);
}

void FolderWatches::AddVolumes()
{
    mHasVolumes = true;
    Monitor::MonitorVolumeChanges();
}

void FolderWatches::ListenToMessage(const ZOR::Message& inMessage)
{
    using RK::DirectoryChangedMessage;
    using RK::DirectoryPollingMessage;
    const auto id = inMessage.GetMessageID();
    if (id == DirectoryChangedMessage::GetClassMessageID())
        mOnTold(What::kChanged,
                FromLibraryPath(static_cast<const DirectoryChangedMessage&>(inMessage).mPath));
    else if (id == DirectoryPollingMessage::GetClassMessageID())
        mOnTold(What::kLookNow,
                FromLibraryPath(static_cast<const DirectoryPollingMessage&>(inMessage).mPath));
    else if (id == RK::VolumeChangedMessage::GetClassMessageID())
        mOnTold(What::kVolumes, std::string());
}

} // namespace RKHost
