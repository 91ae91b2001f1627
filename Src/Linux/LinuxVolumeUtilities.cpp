#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "DiskArbitrationBroker.h"
#include "LoadOrder.h"
#include "Platform/Process.h"
#include "Platform/VisibleMounts.h"
#include "Platform/VolumeAddress.h"
#include "Platform/VolumeKind.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/Linux/LinuxVolumeUtilities");

namespace RK
{
namespace VolumeUtilities
{
namespace PlatformSpecific
{
namespace
{

using Platform::Mount;
using qelcore::UTF16String;
using qelcore::threads::RecursiveMutex;
using qelcore::utility::FileNameToUTF16;
using qelcore::utility::ImmutableString;
using qelcore::utility::UTF16ToFileName;

using BrokerPtr = boost::shared_ptr<DiskArbitrationBroker>;

constinit std::mutex sBrokerMutex;         // a leaf
BrokerPtr sDiskArbitrationBrokerSharedPtr; // guarded by sBrokerMutex
/// By which callbacks reach the broker: one that comes late finds nothing.
boost::weak_ptr<DiskArbitrationBroker> sDiskArbitrationBrokerWeakPtr; // guarded by sBrokerMutex

BrokerPtr CurrentBroker()
{
    const std::lock_guard<std::mutex> lock(sBrokerMutex);
    return sDiskArbitrationBrokerWeakPtr.lock();
}

/// What stood there before ends with the argument, without the lock.
void SetBroker(BrokerPtr ioBroker)
{
    const std::lock_guard<std::mutex> lock(sBrokerMutex);
    sDiskArbitrationBrokerWeakPtr = ioBroker;
    sDiskArbitrationBrokerSharedPtr.swap(ioBroker);
}

/// Null for the empty text.
ImmutableString Interned(const std::string& inBytes)
{
    return inBytes.empty() ? ImmutableString()
                           : ImmutableString::CreateDynamic(FileNameToUTF16(inBytes));
}

std::string LastPart(const std::string& inMountPoint)
{
    return inMountPoint.substr(inMountPoint.rfind('/') + 1);
}

/// What lies in these folders is no place for files either, whatever its type: containers hide a part of them
/// beneath an empty tmpfs.
bool IsInFoldersOfTheKernel(const Mount& inMount)
{
    return inMount.mountPoint.compare(0, 6, "/proc/") == 0 ||
           inMount.mountPoint.compare(0, 5, "/sys/") == 0;
}

/// Whether the mount can be a volume. Nothing of the system's own is one, nor a trigger of the automounter.
bool HasDescription(const Mount& inMount)
{
    return !inMount.type.empty() && !inMount.mountPoint.empty() && !IsAutomounter(inMount) &&
           !IsPseudoMount(inMount) && !IsInFoldersOfTheKernel(inMount);
}

/// The label belongs to the whole file system: a folder of it that is mounted elsewhere goes by its own name.
bool HasLabel(const Mount& inMount)
{
    return inMount.root == "/" || inMount.mountPoint == "/";
}

std::string NameOf(const Mount& inMount, const std::string& inLabel)
{
    if (!inLabel.empty() && HasLabel(inMount))
        return inLabel;
    if (inMount.mountPoint != "/")
        return LastPart(inMount.mountPoint);
    const std::string machine = Platform::MachineName();
    return machine.empty() ? inMount.mountPoint : machine;
}

bool IsSameDescription(const Mount& inA, const Mount& inB)
{
    return inA.mountPoint == inB.mountPoint && inA.type == inB.type && inA.source == inB.source &&
           inA.root == inB.root;
}

/// @return null for a local volume.
ImmutableString NetworkMountURLOf(const Mount& inMount)
{
    return IsNetworkMount(inMount) ? Interned(URLOfVolume(inMount)) : ImmutableString();
}

} // namespace

DiskArbitrationBroker::DiskArbitrationBroker(const boost::function<void()>& inNotifier)
    : mChangeNotifier(inNotifier)
{
}

void DiskArbitrationBroker::Start()
{
    // Watched before it is read, so that no change falls between the two.
    mChanges = Platform::VolumeTable().WatchChanges();
    CatchUp();
    if (mChanges)
        mWatch = qelcore::threads::WatchDescriptor(mChanges->Descriptor(),
                                                   qelcore::threads::kDescriptorEvent_Readable,
                                                   [](unsigned) { TableChangedCallback(); });
    else
        RK_TRACE("RK.Volumes", 1, "The mount table cannot be watched: changes are not seen.");
}

void DiskArbitrationBroker::InsertVolumes(Volumes& ioVolumes) const
{
    RecursiveMutex::ScopedLock lock(mMutex, "DiskArbitrationBroker::InsertVolumes");
    for (const auto& [path, disk] : mDisks)
        ioVolumes.insert(disk.mVolume);
}

void DiskArbitrationBroker::TableChangedCallback()
{
    const BrokerPtr broker = CurrentBroker();
    if (broker && broker->CatchUp())
        broker->mChangeNotifier();
}

bool DiskArbitrationBroker::OnDiskAppeared(const Mount& inDisk)
{
    if (!HasDescription(inDisk))
        return false;
    // Only file systems of this machine's own are looked at: they have labels, and they answer.
    std::string label;
    if (Platform::IsLocalFileSystem(inDisk.type) &&
        Platform::VolumeTable().Label(inDisk.mountPoint, label) == ENOTDIR)
        return false; // a single file that is mounted onto another

    Volume volume;
    const UTF16String path = ZOR::PathUtils::AddTrailingSlash(FileNameToUTF16(inDisk.mountPoint));
    volume.VolumePath = ImmutableString::CreateDynamic(path);
    volume.FriendlyName = Interned(NameOf(inDisk, label));
    volume.HostName = Interned(Platform::HostOfVolume(inDisk.type, inDisk.source));
    volume.VolumeType = IsNetworkMount(inDisk) ? kVolumeTypeNetwork : kVolumeTypeLocal;
    volume.NetworkMountURL = NetworkMountURLOf(inDisk);

    RecursiveMutex::ScopedLock lock(mMutex, "DiskArbitrationBroker::OnDiskAppeared");
    mDisks[path] = {volume, inDisk.id};
    return true;
}

bool DiskArbitrationBroker::OnDiskDisappeared(DiskRef inDisk)
{
    RecursiveMutex::ScopedLock lock(mMutex, "DiskArbitrationBroker::OnDiskDisappeared");
    for (auto disk = mDisks.begin(); disk != mDisks.end(); ++disk)
    {
        if (disk->second.mDisk == inDisk)
        {
            mDisks.erase(disk);
            return true;
        }
    }
    return false;
}

bool DiskArbitrationBroker::OnDescriptionChanged(const Mount& inDisk)
{
    const bool disappeared = OnDiskDisappeared(inDisk.id);
    const bool appeared = OnDiskAppeared(inDisk);
    return disappeared || appeared;
}

// What has gone comes first: its path may belong to another disk by now.
bool DiskArbitrationBroker::CatchUp()
{
    if (mChanges)
        mChanges->Clear();
    std::vector<Mount> mounts;
    if (Platform::VolumeTable().Mounts(mounts) != 0)
        return false;
    Mounts now;
    for (Mount& mount : Platform::VisibleMounts(mounts))
        now.emplace(mount.id, std::move(mount));
    const Mounts before = std::exchange(mSeen, now);

    bool changed = false;
    for (const auto& [disk, mount] : before)
        if (now.count(disk) == 0)
            changed |= OnDiskDisappeared(disk);
    for (const auto& [disk, mount] : now)
    {
        const auto known = before.find(disk);
        if (known == before.end())
            changed |= OnDiskAppeared(mount);
        else if (!IsSameDescription(known->second, mount))
            changed |= OnDescriptionChanged(mount);
    }
    return changed;
}

void Startup(boost::function<void()>& inNotifier)
{
    const BrokerPtr broker = boost::make_shared<DiskArbitrationBroker>(inNotifier);
    SetBroker(nullptr); // if there was one, it ends while nobody finds another
    broker->Start();
    SetBroker(broker);
}

void Shutdown()
{
    SetBroker(nullptr);
}

void GetVolumesFromOS(Volumes& ioVolumes)
{
    if (const BrokerPtr broker = CurrentBroker())
        broker->InsertVolumes(ioVolumes);
}

ImmutableString GetNetworkMountURLFromDrivePath(const UTF16String& inPath)
{
    Mount mount;
    if (Platform::VolumeTable().MountOfPath(UTF16ToFileName(inPath), mount) != 0)
        return ImmutableString();
    return NetworkMountURLOf(mount);
}

bool IsDiskInDrive(const UTF16String&)
{
    return true;
}

void AddNoDriveLetterNetworkVolumes(Volumes&) {}

} // namespace PlatformSpecific
} // namespace VolumeUtilities
} // namespace RK
