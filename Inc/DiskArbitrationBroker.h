#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "Platform/VolumeTable.h"
#include "VolumeUtilities.h"
#include "qelcore/DescriptorWatch.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{
namespace VolumeUtilities
{
namespace PlatformSpecific
{

/// The system's number of a mount. A mount that is moved keeps it.
using DiskRef = std::uint64_t;

struct VolumeAndDiskRef
{
    Volume mVolume;
    DiskRef mDisk;
};

// The table of mounted volumes. One at a time.
//
// Threads  Start(), and what the main thread calls after it, on one thread at a time; InsertVolumes() from any.
// Locks    mMutex guards mDisks alone; the notifier is called without it.
class DiskArbitrationBroker : public boost::enable_shared_from_this<DiskArbitrationBroker>
{
public:
    explicit DiskArbitrationBroker(const boost::function<void()>& inNotifier);

    /// Takes in what is mounted, and watches the system's table.
    void Start();
    void InsertVolumes(Volumes& ioVolumes) const;

    /// Runs on the main thread after a change of the system's table. Finds the broker by itself, and does
    /// nothing if there is none any more.
    static void TableChangedCallback();

    // Each returns whether the table changed.
    bool OnDiskAppeared(const Platform::Mount& inDisk);
    bool OnDiskDisappeared(DiskRef inDisk);
    bool OnDescriptionChanged(const Platform::Mount& inDisk);

private:
    using Mounts = std::map<DiskRef, Platform::Mount>;
    using Disks =
        std::map<qelcore::UTF16String, VolumeAndDiskRef, std::less<qelcore::UTF16String>,
                 qelcore::STLAllocator<std::pair<const qelcore::UTF16String, VolumeAndDiskRef>>>;

    /// Compares the system's table with what was last seen of it. @return whether mDisks changed.
    bool CatchUp();

    const boost::function<void()> mChangeNotifier;
    mutable qelcore::threads::RecursiveMutex mMutex;
    Disks mDisks RK_GUARDED_BY(mMutex); ///< by VolumePath
    Mounts mSeen;                       ///< the visible mounts at the last look
    std::unique_ptr<Platform::IVolumeChanges> mChanges;
    qelcore::threads::DescriptorWatch mWatch; // ends first
};

} // namespace PlatformSpecific
} // namespace VolumeUtilities
} // namespace RK
