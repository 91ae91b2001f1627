#include "VolumeUtilities.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <tuple>

#include <boost/make_shared.hpp>

#include "LoadOrder.h"
#include "Platform/VolumeTable.h"
#include "ZOR/InterfaceRef.h"
#include "ZOR/PathUtils.h"
#include "ZOR/WeakReference.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/CommonDirs.h"
#include "qelcore/Console.h"
#include "qelcore/FileUtils.h"
#include "qelcore/Localizer.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/VolumeUtilities");

namespace RK
{
namespace VolumeUtilities
{

using qelcore::UTF16String;
using qelcore::threads::RecursiveMutex;
using qelcore::utility::ImmutableString;

namespace
{

const ImmutableString kVolumesChangedStationID =
    ImmutableString::CreateStatic("VolumesChangedStationID");

constexpr const char* kLibrariesName = "$$$/RiverKit/SkyAtelierLibraries=Sky Atelier Libraries";

// Guards the libraries' path, and the start and stop of drive discovery, for whose whole length it is held. The
// holder's mutex is taken within it, never the other way round.
constinit RecursiveMutex sCriticalSection;
UTF16String sSkyAtelierLibrariesDirectory RK_GUARDED_BY(sCriticalSection);
constinit std::atomic<std::int32_t> sDriveDiscoveryInitialized{0};
boost::shared_ptr<VolumesHolder> sVolumesHolder; // by atomic operations

/// Traces the list at each change; for diagnostics alone.
class VolumesChangedListener : public ZOR::WeakCountedObject<ZOR::ISafeListener>
{
public:
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        if (inMessage.GetMessageID() == VolumesChangedMessage::GetClassMessageID())
            OnVolumesChanged();
    }

private:
    static void OnVolumesChanged()
    {
        Volumes volumes;
        GetVolumes(volumes);
        RK_TRACE("RK::VolumesChangedListener", 7, "Volumes:");
        for (const Volume& volume : volumes)
            RK_TRACE("RK::VolumeChangedListener", 7, VolumeToString(volume) << "\n\n");
    }
};

using VolumesChangedListenerRef = ZOR::InterfaceRef<VolumesChangedListener, ZOR::ISafeListener>;
boost::shared_ptr<VolumesChangedListenerRef> sRefHolder RK_GUARDED_BY(sCriticalSection);

void PostVolumesChanged()
{
    ZOR::StationUtils::PostMessageToUIThread(kVolumesChangedStationID, VolumesChangedMessage(),
                                             false);
}

/// A folder on a volume that does not answer counts as one that is not there: to look at it could take for ever.
bool VolumeAnswers(const UTF16String& inPath)
{
    Platform::VolumeSpace space;
    return Platform::VolumeTable().Space(qelcore::utility::UTF16ToFileName(inPath), space) !=
           ETIMEDOUT;
}

Volume FolderAsVolume(const UTF16String& inPath, const UTF16String& inName, std::uint32_t inType)
{
    Volume volume;
    volume.VolumePath = ImmutableString::CreateDynamic(ZOR::PathUtils::AddTrailingSlash(inPath));
    volume.FriendlyName = ImmutableString::CreateDynamic(inName);
    volume.NetworkMountURL = PlatformSpecific::GetNetworkMountURLFromDrivePath(inPath);
    volume.HostName = GetHostNameFromDrivePath(inPath);
    volume.VolumeType = inType;
    return volume;
}

void InsertSyncFolder(Volumes& ioVolumes)
{
    const auto folder = qelcore::filesupport::commondirs::SkyAtelierSyncDir(true);
    if (VolumeAnswers(folder.FullPath()) && folder.Exists())
        ioVolumes.insert(
            FolderAsVolume(folder.FullPath(), folder.GetName(), kVolumeTypeSkyAtelierSync));
}

UTF16String LibrariesDirectory()
{
    RecursiveMutex::ScopedLock lock(sCriticalSection, "VolumeUtilities::GetVolumesFromOS");
    return sSkyAtelierLibrariesDirectory;
}

void InsertLibraries(Volumes& ioVolumes)
{
    const UTF16String path = ZOR::PathUtils::AddTrailingSlash(LibrariesDirectory());
    if (path.empty() || !VolumeAnswers(path))
        return;
    if (!ZOR::PathUtils::ExistsOnDisk(path) &&
        qelcore::Failed(ZOR::PathUtils::PreparePathForWrite(path)))
        return;
    ioVolumes.insert(FolderAsVolume(path, qelcore::config::Localizer::Get().GetText(kLibrariesName),
                                    kVolumeTypeSkyAtelierLibraries));
}

/// Lists the known volumes, or tells the one of a path. It has never removed any.
class VolumesCommand : public qelcore::console::Command
{
public:
    using Command::Command;

    void Execute(const UTF16String& inArguments, qelcore::UTF16OutputStream& outStream) override
    {
        if (!inArguments.empty())
        {
            Volume volume;
            GetVolumeInfo(inArguments, volume);
            outStream << "Volume : " << VolumeToString(volume);
            return;
        }
        Volumes volumes;
        GetVolumes(volumes);
        for (const Volume& volume : volumes)
            outStream << "Volume : " << VolumeToString(volume) << "\n";
    }
};

} // namespace

bool operator<(const Volume& inA, const Volume& inB) noexcept
{
    return std::tie(inA.VolumePath, inA.VolumeType, inA.HostName, inA.NetworkMountURL) <
           std::tie(inB.VolumePath, inB.VolumeType, inB.HostName, inB.NetworkMountURL);
}

VolumesChangedMessage::VolumesChangedMessage() = default;
VolumesChangedMessage::VolumesChangedMessage(const VolumesChangedMessage&) = default;
VolumesChangedMessage::~VolumesChangedMessage() = default;

boost::shared_ptr<VolumesHolder> VolumesHolder::Instance()
{
    boost::shared_ptr<VolumesHolder> holder = boost::atomic_load(&sVolumesHolder);
    if (holder)
        return holder;
    const auto made = boost::make_shared<VolumesHolder>();
    return boost::atomic_compare_exchange(&sVolumesHolder, &holder, made) ? made : holder;
}

bool VolumesHolder::SetVolumes(const Volumes& inVolumes)
{
    RecursiveMutex::ScopedLock lock(mMutex, "VolumesHolder::SetVolumes");
    const bool changed = !std::equal(mVolumes.begin(), mVolumes.end(), inVolumes.begin(),
                                     inVolumes.end(), [](const Volume& inA, const Volume& inB)
                                     { return inA.VolumePath == inB.VolumePath; });
    mVolumes = inVolumes;
    return changed;
}

bool VolumesHolder::AddVolume(const Volume& inVolume)
{
    RecursiveMutex::ScopedLock lock(mMutex, "VolumesHolder::AddVolume");
    return mVolumes.insert(inVolume).second;
}

Volumes VolumesHolder::GetVolumes() const
{
    RecursiveMutex::ScopedLock lock(mMutex, "VolumesHolder::GetVolumes");
    return mVolumes;
}

Volumes GetVolumesFromOS()
{
    Volumes volumes;
    PlatformSpecific::GetVolumesFromOS(volumes);
    InsertSyncFolder(volumes);
    InsertLibraries(volumes);
    return volumes;
}

// No lock is held from one step to the next: of two that build at a time the last one stands.
void VolumeChangedOSNotification()
{
    const boost::shared_ptr<VolumesHolder> holder = VolumesHolder::Instance();
    if (holder->SetVolumes(GetVolumesFromOS()))
        PostVolumesChanged();
}

UTF16String VolumeToString(const Volume& inVolume)
{
    qelcore::oUTF16StringStream text;
    text << " VolumePath: " << inVolume.VolumePath.ToString()
         << " FriendlyName: " << inVolume.FriendlyName.ToString()
         << " HostName: " << inVolume.HostName.ToString()
         << " NetworkMountURL: " << inVolume.NetworkMountURL.ToString()
         << " VolumeType: " << inVolume.VolumeType;
    return text.str();
}

void Startup()
{
    using qelcore::console::CommandRegistrar;
    ZOR::StationRegistry::RegisterStation(kVolumesChangedStationID);
    qelcore::console::CommandRegistry::RegisterCommand(
        u"RK.Volumes", u"RK.Volumes - lists the known volumes, removes volumes with no disk",
        &CommandRegistrar<VolumesCommand>::CreateCommand);
}

void InitializeDriveDiscovery()
{
    std::int32_t notInitialized = 0;
    if (!sDriveDiscoveryInitialized.compare_exchange_strong(notInitialized, 1))
        return;
    RecursiveMutex::ScopedLock lock(sCriticalSection, "VolumeUtilities::InitializeDriveDiscovery");
    sRefHolder = boost::make_shared<VolumesChangedListenerRef>(new VolumesChangedListener);
    ZOR::StationUtils::AddListener(kVolumesChangedStationID, *sRefHolder);
    boost::function<void()> notifier = &VolumeChangedOSNotification;
    PlatformSpecific::Startup(notifier);
    VolumeChangedOSNotification();
}

// The station holds its listener weakly, so that one goes without being removed.
void Shutdown()
{
    std::int32_t initialized = 1;
    if (!sDriveDiscoveryInitialized.compare_exchange_strong(initialized, 0))
        return;
    RecursiveMutex::ScopedLock lock(sCriticalSection, "VolumeUtilities::Shutdown");
    PlatformSpecific::Shutdown();
    sRefHolder.reset();
}

ImmutableString GetVolumesChangedStationID()
{
    return kVolumesChangedStationID;
}

void GetVolumes(Volumes& ioVolumes)
{
    const Volumes known = VolumesHolder::Instance()->GetVolumes();
    ioVolumes.insert(known.begin(), known.end());
}

void AddVolume(const Volume& inVolume)
{
    if (VolumesHolder::Instance()->AddVolume(inVolume))
        PostVolumesChanged();
}

void AddSkyAtelierLibrariesDirectoryAsVolume(const UTF16String& inPath)
{
    {
        RecursiveMutex::ScopedLock lock(sCriticalSection,
                                        "VolumeUtilities::AddSkyAtelierLibrariesDirectoryAsVolume");
        sSkyAtelierLibrariesDirectory = inPath;
    }
    VolumeChangedOSNotification();
}

ImmutableString GetHostNameFromDrivePath(const UTF16String& inPath)
{
    UTF16String host;
    return qelcore::utility::FileUtils::GetPathVolumeHostName(inPath, host)
               ? ImmutableString::CreateDynamic(host)
               : ImmutableString();
}

} // namespace VolumeUtilities
} // namespace RK
