#include "DiskCacheManager.h"

namespace RK
{
namespace DiskCacheManager
{

using boost::posix_time::time_duration;

ZOR::StationID GetStationID()
{
    const Manager* const manager = Manager::ExistingInstance();
    return manager != nullptr ? manager->GetStationID() : ZOR::StationID();
}

void Shutdown()
{
    if (Manager* const manager = Manager::ExistingInstance())
        manager->Shutdown();
}

SweepReportPtr GetLastSweepReport()
{
    Manager* const manager = Manager::ExistingInstance();
    return manager != nullptr ? manager->GetLastSweepReport() : SweepReportPtr();
}

SweepReportPtr SweepNow(const SweepOptions& inOptions)
{
    return Manager::Instance().SweepNow(inOptions);
}

ManagedVolumePtr ManagedVolume::Create(const Path& inPath,
                                       const Extensions& inFileExtensionsAllowedToDelete)
{
    return Manager::Instance().GetOrInitializeManagedVolume(inPath,
                                                            inFileExtensionsAllowedToDelete);
}

void ManagedVolume::SetFreeSpaceBytes(const boost::optional<std::uint64_t>& inBytes)
{
    Manager::Instance().SetVolumeFreeSpaceBytes(*this, inBytes);
}

boost::optional<std::uint64_t> ManagedVolume::GetFreeSpaceBytes() const
{
    return Manager::Instance().GetVolumeFreeSpaceBytes(*this);
}

void ManagedVolume::SetFreeSpacePercentage(const boost::optional<float>& inPercentage)
{
    Manager::Instance().SetVolumeFreeSpacePercentage(*this, inPercentage);
}

boost::optional<float> ManagedVolume::GetFreeSpacePercentage() const
{
    return Manager::Instance().GetVolumeFreeSpacePercentage(*this);
}

void ManagedVolume::SetMaxUsedBytes(const boost::optional<std::uint64_t>& inBytes)
{
    Manager::Instance().SetVolumeMaxUsedBytes(*this, inBytes);
}

boost::optional<std::uint64_t> ManagedVolume::GetMaxUsedBytes() const
{
    return Manager::Instance().GetVolumeMaxUsedBytes(*this);
}

bool ManagedVolume::IsCloseToFull() const
{
    return Manager::Instance().IsCloseToFull(*this);
}

ManagedDirectoryPtr ManagedDirectory::Create(const Path& inPath,
                                             const Extensions& inFileExtensionsAllowedToDelete,
                                             const boost::optional<time_duration>& inPriorityBoost)
{
    return Manager::Instance().GetOrInitializeManagedDirectory(
        inPath, inFileExtensionsAllowedToDelete, inPriorityBoost);
}

void ManagedDirectory::SetMaxUsedBytes(const boost::optional<std::uint64_t>& inBytes)
{
    Manager::Instance().SetDirectoryMaxUsedBytes(*this, inBytes);
}

boost::optional<std::uint64_t> ManagedDirectory::GetMaxUsedBytes() const
{
    return Manager::Instance().GetDirectoryMaxUsedBytes(*this);
}

void ManagedDirectory::SetMaxFileCount(const boost::optional<std::uint64_t>& inCount)
{
    Manager::Instance().SetDirectoryMaxFileCount(*this, inCount);
}

boost::optional<std::uint64_t> ManagedDirectory::GetMaxFileCount() const
{
    return Manager::Instance().GetDirectoryMaxFileCount(*this);
}

void ManagedDirectory::SetPriorityBoost(const boost::optional<time_duration>& inBoost)
{
    Manager::Instance().SetDirectoryPriorityBoost(*this, inBoost);
}

boost::optional<time_duration> ManagedDirectory::GetPriorityBoost() const
{
    return Manager::Instance().GetDirectoryPriorityBoost(*this);
}

void ManagedDirectory::SetAutomaticExpiryDuration(const boost::optional<time_duration>& inDuration)
{
    Manager::Instance().SetDirectoryAutomaticExpiryDuration(*this, inDuration);
}

boost::optional<time_duration> ManagedDirectory::GetAutomaticExpiryDuration() const
{
    return Manager::Instance().GetDirectoryAutomaticExpiryDuration(*this);
}

void ManagedDirectory::SetDeleteEmptySubDirectories(bool inDelete)
{
    Manager::Instance().SetDirectoryDeleteEmptySubDirectories(*this, inDelete);
}

bool ManagedDirectory::GetDeleteEmptySubDirectories() const
{
    return Manager::Instance().GetDirectoryDeleteEmptySubDirectories(*this);
}

void ManagedDirectory::DisableRepeatDiskSweep()
{
    Manager::Instance().DisableRepeatDiskSweep(*this);
}

void ManagedDirectory::AddFileExtensionsAllowedToDelete(
    const Extensions& inFileExtensionsAllowedToDelete)
{
    Manager::Instance().AddFileExtensionsAllowedToDelete(*this, inFileExtensionsAllowedToDelete);
}

} // namespace DiskCacheManager
} // namespace RK
