#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "DiskCacheManagerFileUtils.h"
#include "RKDiskCacheManager.h"
#include "RKDiskCacheSweepReport.h"
#include "ZORMessaging/Station.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/AtomicInt.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/RepeatDelayFunction.h"

namespace RK
{
namespace DiskCacheManager
{

class LeftBehind;
struct SweepCounters;
struct SweepSettings;

using OptionalBytes = boost::optional<std::uint64_t>;
using OptionalDuration = boost::optional<boost::posix_time::time_duration>;

struct ManagedVolumeRecord
{
    OptionalBytes mFreeSpaceBytes;
    boost::optional<float> mFreeSpacePercentage; // of the volume's size
    OptionalBytes mMaxUsedBytes;
    ManagedVolumePtr mVolume; // strong: a volume's limits are never forgotten
};

struct ManagedDirectoryRecord
{
    OptionalBytes mMaxUsedBytes;
    boost::optional<std::uint64_t> mMaxFileCount;
    OptionalDuration mPriorityBoost;
    OptionalDuration mAutomaticExpiryDuration;
    boost::optional<bool> mDeleteEmptySubDirectories;
    bool mDisableRepeatDiskSweep = false;
    bool mIsLink = false; // at first; a link that takes the folder's place later is not followed
    PathPtr mPath;
    PathPtr mVolumePath; // key of the volume's record
    boost::weak_ptr<ManagedDirectory> mDirectory;
    Extensions mFileExtensionsAllowedToDelete;
};

using VolumeRecords = std::map<Path, ManagedVolumeRecord>;
using DirectoryRecords = std::map<Path, ManagedDirectoryRecord>;

struct VolumeLimits
{
    std::uint64_t mVolumeSize = 0;
    OptionalBytes mFreeSpaceBytes;
    boost::optional<float> mFreeSpacePercentage;
    OptionalBytes mMaxUsedBytes;
};

/// How many bytes managed files may use where they use inUsedBytes and inFreeBytes are free. While every
/// limit is met that is still no more than is free.
std::uint64_t AllowedBytes(const VolumeLimits& inLimits, std::uint64_t inUsedBytes,
                           std::uint64_t inFreeBytes);

/// inTime and inDuration, or the nearest time that there is: never an overflow.
boost::posix_time::ptime Shifted(const boost::posix_time::ptime& inTime,
                                 const boost::posix_time::time_duration& inDuration);

/// The time of day in UTC, in whole seconds.
/// @throws std::runtime_error  "could not convert calendar time to UTC time"
boost::posix_time::ptime CurrentTime();

// One per process, made on first use; tests make others. What its functions promise is told with the
// handles that forward to them.
//
// Locks    mMutex guards the records and when sweeps run. No disk is touched with it held, and nobody
//          called out to, but for posting to the executor. A sweep works on copies.
// Life     Sweeps hold the manager by its address: its end stops the executor and waits for them.
class Manager
{
public:
    Manager();
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// Makes it if there is none. @throws what the making throws; then the next call tries again.
    static Manager& Instance();
    /// @return null until Instance() has made it.
    static Manager* ExistingInstance();

    const ZOR::StationID& GetStationID() const { return mStation.GetStationID(); }
    void Shutdown();

    ManagedVolumePtr GetOrInitializeManagedVolume(const Path& inPath,
                                                  const Extensions& inExtensions);
    ManagedDirectoryPtr GetOrInitializeManagedDirectory(const Path& inPath,
                                                        const Extensions& inExtensions,
                                                        const OptionalDuration& inPriorityBoost);

    void SetVolumeFreeSpaceBytes(const ManagedVolume& inVolume, const OptionalBytes& inBytes);
    OptionalBytes GetVolumeFreeSpaceBytes(const ManagedVolume& inVolume);
    void SetVolumeFreeSpacePercentage(const ManagedVolume& inVolume,
                                      const boost::optional<float>& inPercentage);
    boost::optional<float> GetVolumeFreeSpacePercentage(const ManagedVolume& inVolume);
    void SetVolumeMaxUsedBytes(const ManagedVolume& inVolume, const OptionalBytes& inBytes);
    OptionalBytes GetVolumeMaxUsedBytes(const ManagedVolume& inVolume);
    bool IsCloseToFull(const ManagedVolume& inVolume);

    void SetDirectoryMaxUsedBytes(const ManagedDirectory& inDirectory,
                                  const OptionalBytes& inBytes);
    OptionalBytes GetDirectoryMaxUsedBytes(const ManagedDirectory& inDirectory);
    void SetDirectoryMaxFileCount(const ManagedDirectory& inDirectory,
                                  const boost::optional<std::uint64_t>& inCount);
    boost::optional<std::uint64_t> GetDirectoryMaxFileCount(const ManagedDirectory& inDirectory);
    void SetDirectoryPriorityBoost(const ManagedDirectory& inDirectory,
                                   const OptionalDuration& inBoost);
    OptionalDuration GetDirectoryPriorityBoost(const ManagedDirectory& inDirectory);
    void SetDirectoryAutomaticExpiryDuration(const ManagedDirectory& inDirectory,
                                             const OptionalDuration& inDuration);
    OptionalDuration GetDirectoryAutomaticExpiryDuration(const ManagedDirectory& inDirectory);
    void SetDirectoryDeleteEmptySubDirectories(const ManagedDirectory& inDirectory, bool inDelete);
    bool GetDirectoryDeleteEmptySubDirectories(const ManagedDirectory& inDirectory);
    void DisableRepeatDiskSweep(const ManagedDirectory& inDirectory);
    void AddFileExtensionsAllowedToDelete(ManagedDirectory& ioDirectory,
                                          const Extensions& inExtensions);

    /// Null before the first sweep has ended.
    SweepReportPtr GetLastSweepReport();
    /// Waits for its end. Null if there is none, after Shutdown().
    SweepReportPtr SweepNow(const SweepOptions& inOptions);

    static VolumeLimits LimitsOf(const ManagedVolumeRecord& inVolume);
    /// What the volume was made with.
    static const Extensions& ExtensionsOf(const ManagedVolumeRecord& inVolume);
    /// Asks the volume, so without the lock.
    /// @param ioAllowedBytes  untouched if this fails.
    /// @return false if the free space cannot be found.
    static bool DetermineAllowedBytes(const ManagedVolumeRecord& inVolume,
                                      std::uint64_t inUsedBytes, std::uint64_t& ioAllowedBytes);

private:
    friend struct ManagerProbe; // of the tests
    using ScopedLock = qelcore::threads::RecursiveMutex::ScopedLock;

    template <class Value>
    void SetVolumeValue(const char* inTag, const ManagedVolume& inVolume,
                        Value ManagedVolumeRecord::* inField, const Value& inValue);
    template <class Value>
    Value GetVolumeValue(const char* inTag, const ManagedVolume& inVolume,
                         Value ManagedVolumeRecord::* inField);
    template <class Value>
    void SetDirectoryValue(const char* inTag, const ManagedDirectory& inDirectory,
                           Value ManagedDirectoryRecord::* inField, const Value& inValue);
    template <class Value>
    Value GetDirectoryValue(const char* inTag, const ManagedDirectory& inDirectory,
                            Value ManagedDirectoryRecord::* inField);
    ManagedVolumeRecord* Find(const ManagedVolume& inVolume) RK_REQUIRES(mMutex);
    ManagedDirectoryRecord* Find(const ManagedDirectory& inDirectory) RK_REQUIRES(mMutex);

    /// @param inLock  testifies that the mutex is held.
    /// @param inExtensions  what the volume phase of the sweeps that this starts may delete.
    void QueueCleanup(const ScopedLock& inLock, const Extensions& inExtensions) RK_REQUIRES(mMutex);
    void QueueOneShot(const Extensions& inExtensions) RK_REQUIRES(mMutex);
    /// One sweep, on the executor.
    void Cleanup(bool inRepeating, const Extensions& inExtensions);
    SweepReportPtr RunSweep(const SweepSettings& inSettings,
                            const std::shared_ptr<SweepCounters>& inCounters);
    /// Drops the records of directories that nobody holds any more.
    void TakeCopies(SweepReport::Kind inKind, VolumeRecords& outVolumes,
                    DirectoryRecords& outDirectories);

    // These two are shared with work that was left behind on a volume that fell silent.
    const std::shared_ptr<qelcore::threads::AtomicInt> mShuttingDown =
        std::make_shared<qelcore::threads::AtomicInt>(0);
    const std::shared_ptr<LeftBehind> mLeftBehind;
    qelcore::threads::RecursiveMutex mMutex; // guards all below but the last
    VolumeRecords mVolumes RK_GUARDED_BY(mMutex);
    DirectoryRecords mDirectories RK_GUARDED_BY(mMutex);
    qelcore::threads::AsyncExecutorPtr mExecutor RK_GUARDED_BY(mMutex); // null after Shutdown()
    boost::shared_ptr<qelcore::threads::RepeatDelayFunction> mRepeatFunction RK_GUARDED_BY(mMutex);
    bool mOneShotQueued RK_GUARDED_BY(mMutex) = false;
    SweepReportPtr mLastReport RK_GUARDED_BY(mMutex);
    ZOR::StationUtils::ManagedStation mStation;
};

} // namespace DiskCacheManager
} // namespace RK
