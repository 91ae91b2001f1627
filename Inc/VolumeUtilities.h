#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "RKVolumeUtilities.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{
namespace VolumeUtilities
{

// The process's list of volumes.
class VolumesHolder
{
public:
    /// Made on first use. Two threads that come first may each make one; one of the two lasts.
    static boost::shared_ptr<VolumesHolder> Instance();

    /// Replaces the list in any case. @return whether the number of volumes or one of their paths differs;
    /// other fields do not count.
    bool SetVolumes(const Volumes& inVolumes);
    /// @return whether it was not there.
    bool AddVolume(const Volume& inVolume);
    Volumes GetVolumes() const;

private:
    mutable qelcore::threads::RecursiveMutex mMutex;
    Volumes mVolumes RK_GUARDED_BY(mMutex);
};

/// A fresh list: what the system has mounted, and the cloud folders.
Volumes GetVolumesFromOS();

/// Builds the list anew, and posts a VolumesChangedMessage if it has changed.
void VolumeChangedOSNotification();

/// The fields in one line, each behind its label.
qelcore::UTF16String VolumeToString(const Volume& inVolume);

// What the system knows of volumes.
namespace PlatformSpecific
{

/// Fills the table of mounted volumes and follows the system from now on.
/// @param inNotifier  called on the main thread after each change of the table; not by this call.
/// @throws std::system_error if there are no descriptors left.
void Startup(boost::function<void()>& inNotifier);
/// On the main thread, or else a call of the notifier may outlast it.
void Shutdown();

/// Adds the table's volumes. Nothing is added before Startup() and after Shutdown().
void GetVolumesFromOS(Volumes& ioVolumes);

/// "scheme://host/path" of the volume of inPath; null for a local one, and where it cannot be found.
qelcore::utility::ImmutableString
GetNetworkMountURLFromDrivePath(const qelcore::UTF16String& inPath);

/// Always: there are no drives without a disk.
bool IsDiskInDrive(const qelcore::UTF16String& inPath);
/// Does nothing: every volume has a path.
void AddNoDriveLetterNetworkVolumes(Volumes& ioVolumes);

} // namespace PlatformSpecific
} // namespace VolumeUtilities
} // namespace RK
