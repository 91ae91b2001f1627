#pragma once

#include <cstdint>
#include <functional>
#include <set>

#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/SmallBlockAllocator.h"
#include "qelcore/UTFString.h"

// The volumes that the process knows, on which of them a path lies, and how the path reads on that volume:
//
//     RK::VolumeUtilities::InitializeDriveDiscovery();
//     ...
//     RK::VolumeUtilities::Volume volume;
//     qelcore::UTF16String relative;
//     if (RK::VolumeUtilities::MakeAbsolutePathRelativeToVolumePath(path, relative, volume))
//         Remember(volume.FriendlyName, relative);
//
// The list holds the mounted volumes (but for the kernel's own file systems, what lies in /proc and /sys, and
// triggers of the automounter), the user's cloud sync folder if it is there
// (qelcore::filesupport::commondirs::SkyAtelierSyncDir), and the cloud libraries folder once it was told. It
// is kept in memory and follows the system from InitializeDriveDiscovery() to Shutdown(); before, it is empty,
// and afterwards it stays as it was.
//
// Each change of the set of mount paths is told by a VolumesChangedMessage on GetVolumesChangedStationID(),
// on the main thread, which must therefore be registered and turn its loop: without one the list does not
// follow. What changes in a volume while its path stays takes effect without a word.
//
// Threads  Any function from any thread.
// Errors   None is told but by false. An exception of the foundation in InitializeDriveDiscovery() passes
//          through (std::system_error if there are no descriptors left); call Shutdown() before it is tried
//          again.
// Waiting  A function that takes a path asks the volume of that path, and a volume that does not answer, such
//          as a server that is away, costs two seconds the first time and none after that. Building the
//          list asks nothing of servers, but for the two cloud folders.
namespace RK
{
namespace VolumeUtilities
{

constexpr std::uint32_t kVolumeTypeLocal = 0;
constexpr std::uint32_t kVolumeTypeNetwork = 1; ///< of a server
constexpr std::uint32_t kVolumeTypeSkyAtelierSync = 7;
constexpr std::uint32_t kVolumeTypeSkyAtelierLibraries = 8;

/// A known volume, or a folder that counts as one. A value.
struct Volume
{
    qelcore::utility::ImmutableString VolumePath;   ///< with a trailing slash
    qelcore::utility::ImmutableString FriendlyName; ///< for display
    qelcore::utility::ImmutableString HostName;     ///< of the server; null if there is none
    /// "scheme://host/path", percent-encoded, without user, port and query; null for what is local.
    qelcore::utility::ImmutableString NetworkMountURL;
    std::uint32_t VolumeType = kVolumeTypeLocal;
};

/// By VolumePath, VolumeType, HostName and NetworkMountURL. Texts go by identity, not by the alphabet: the
/// order is the same within a run, and means nothing to a reader.
RK_API bool operator<(const Volume& inA, const Volume& inB) noexcept;

using Volumes = std::set<Volume, std::less<Volume>, qelcore::STLAllocator<Volume>>;

/// The set of volumes has changed.
class RK_API VolumesChangedMessage : public ZOR::MessageImpl<VolumesChangedMessage>
{
public:
    VolumesChangedMessage();
    VolumesChangedMessage(const VolumesChangedMessage&);
    ~VolumesChangedMessage() override;
};

/// A step of the library's start: the station, and the console command "RK.Volumes".
void Startup();

/// Begins to follow the system. Does nothing if it does so already.
RK_API void InitializeDriveDiscovery();
/// Ends that, and is a step of the library's stop; the list stays.
RK_API void Shutdown();

/// Where VolumesChangedMessage is told. Registered by the library's start, for good.
RK_API qelcore::utility::ImmutableString GetVolumesChangedStationID();

/// Adds the known volumes to ioVolumes, and keeps what is in it.
RK_API void GetVolumes(Volumes& ioVolumes);

/// Adds a volume until the list is built anew, which the next change of the mounted volumes does.
RK_API void AddVolume(const Volume& inVolume);

/// Names the cloud libraries folder, and builds the list anew. The folder is made unless it is there; where
/// that cannot be done the list does without it. An empty path names none.
RK_API void AddSkyAtelierLibrariesDirectoryAsVolume(const qelcore::UTF16String& inPath);

/// The volume on which inPath lies. A cloud folder goes before the volume that holds it.
/// @param outVolume  untouched on false.
/// @return false for the empty path, and where no known volume holds it.
RK_API bool GetVolumeInfo(const qelcore::UTF16String& inPath, Volume& outVolume);

/// A path without the volume's: "clips/a.mov" of "/mnt/disk/clips/a.mov". Of a path below "/Volumes/" it is
/// what follows the name there, slash included, whatever the volume's path is.
/// @param outRelative  untouched on false.
/// @param outVolume    the volume, also where the volume is known and the path names nothing on it.
/// @return false where GetVolumeInfo() gives false, and for a path that is no longer than the volume's.
RK_API bool MakeAbsolutePathRelativeToVolumePath(const qelcore::UTF16String& inAbsolute,
                                                 qelcore::UTF16String& outRelative,
                                                 Volume& outVolume);

/// The server of the volume of inPath; null for a volume of this machine, and one that does not answer.
RK_API qelcore::utility::ImmutableString
GetHostNameFromDrivePath(const qelcore::UTF16String& inPath);

} // namespace VolumeUtilities
} // namespace RK
