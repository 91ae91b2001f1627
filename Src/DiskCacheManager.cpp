#include "DiskCacheManager.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include <boost/make_shared.hpp>

#include "DiskCacheManagerSweep.h"
#include "Platform/FileSystem.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using qelcore::debug::CachedDatabaseValue;

constexpr char kSourcePath[] = "Src/DiskCacheManager";
constexpr std::uint64_t kCloseToFullBytes = 102400;
constexpr std::chrono::milliseconds kProgressInterval{100};

constinit CachedDatabaseValue<float>
    sDefaultFreeSpacePercentage("RKDiskCacheManager.DefaultFreeSpacePercentagePerVolume", 10.0f);
constinit CachedDatabaseValue<int> sDiskSweepIntervalMs("RKDiskCacheManager.DiskSweepInterval",
                                                        600000);
constinit CachedDatabaseValue<int> sVolumeSilenceLimitMs("RKDiskCacheManager.VolumeSilenceLimit",
                                                         20000);

bool IsLink(const Path& inPath)
{
    Platform::FileStatus status;
    const std::string path =
        qelcore::utility::UTF16ToFileName(ZOR::PathUtils::RemoveTrailingSlash(inPath));
    return Platform::FileSystem().Stat(path, Platform::LinkPolicy::kDoNotFollow, status) == 0 &&
           status.kind == Platform::FileKind::kSymbolicLink;
}

SweepProgress ProgressOf(const SweepCounters& inCounters)
{
    SweepProgress progress;
    progress.foldersListed = inCounters.foldersListed;
    progress.filesListed = inCounters.filesListed;
    progress.deleted = {inCounters.filesDeleted, inCounters.bytesDeleted};
    return progress;
}

constinit std::atomic<Manager*> sExistingInstance{nullptr};

struct Singleton
{
    Singleton() { sExistingInstance = &mManager; }
    ~Singleton() { sExistingInstance = nullptr; }
    Manager mManager;
};

} // namespace

CleanCompleteMessage::~CleanCompleteMessage() = default;

Manager& Manager::Instance()
{
    static Singleton sSingleton; // if its making throws, the next call tries again
    return sSingleton.mManager;
}

Manager* Manager::ExistingInstance()
{
    return sExistingInstance;
}

Manager::Manager()
    : mLeftBehind(std::make_shared<LeftBehind>())
    , mExecutor(qelcore::threads::CreateSubExecutor(qelcore::threads::CreateIOBoundExecutor(), 1))
{
}

Manager::~Manager()
{
    Shutdown();
}

void Manager::Shutdown()
{
    *mShuttingDown = 1;
    qelcore::threads::AsyncExecutorPtr executor;
    {
        ScopedLock lock(mMutex);
        executor.swap(mExecutor);
    }
    if (!executor)
        return;
    executor->Stop();
    executor->Flush(); // without the lock, which a sweep takes
}

ManagedVolumePtr Manager::GetOrInitializeManagedVolume(const Path& inPath,
                                                       const Extensions& inExtensions)
{
    // Ahead of the lock, since a volume may take its time.
    ManagedVolumePtr volume(new ManagedVolume);
    volume->mPath = boost::make_shared<Path>(inPath);
    volume->mVolumeSize = qelcore::utility::FileUtils::GetVolumeSize(inPath);
    volume->mFileExtensionsAllowedToDelete = inExtensions;

    ScopedLock lock(mMutex, "RK::DiskCacheManager::GetOrInitializeManagedVolume");
    const auto found = mVolumes.find(inPath);
    if (found != mVolumes.end())
        return found->second.mVolume;
    ManagedVolumeRecord record;
    record.mFreeSpacePercentage = sDefaultFreeSpacePercentage.Get();
    record.mVolume = volume;
    mVolumes.emplace(inPath, record);
    return volume;
}

ManagedDirectoryPtr
Manager::GetOrInitializeManagedDirectory(const Path& inPath, const Extensions& inExtensions,
                                         const OptionalDuration& inPriorityBoost)
{
    AssertNotEmpty(inExtensions, kSourcePath, __PRETTY_FUNCTION__, __LINE__);
    // A volume of its own for each path, and not the one that is mounted there.
    const ManagedVolumePtr volume = GetOrInitializeManagedVolume(inPath, inExtensions);
    ManagedDirectoryPtr directory(new ManagedDirectory);
    directory->mVolume = volume;
    directory->mPath = boost::make_shared<Path>(inPath);
    const bool isLink = IsLink(inPath);

    ScopedLock lock(mMutex, "RK::DiskCacheManager::GetOrInitializeManagedDirectory");
    const auto found = mDirectories.find(inPath);
    if (found != mDirectories.end())
    {
        if (const ManagedDirectoryPtr living = found->second.mDirectory.lock())
            return living;
        mDirectories.erase(found);
    }
    ManagedDirectoryRecord record;
    record.mPriorityBoost = inPriorityBoost;
    record.mIsLink = isLink;
    record.mPath = directory->mPath;
    record.mVolumePath = volume->mPath;
    record.mDirectory = directory;
    record.mFileExtensionsAllowedToDelete = inExtensions;
    mDirectories.emplace(inPath, record);
    return directory;
}

ManagedVolumeRecord* Manager::Find(const ManagedVolume& inVolume)
{
    const auto found = mVolumes.find(*inVolume.mPath);
    return found == mVolumes.end() ? nullptr : &found->second;
}

ManagedDirectoryRecord* Manager::Find(const ManagedDirectory& inDirectory)
{
    const auto found = mDirectories.find(*inDirectory.mPath);
    return found == mDirectories.end() ? nullptr : &found->second;
}

template <class Value>
void Manager::SetVolumeValue(const char* inTag, const ManagedVolume& inVolume,
                             Value ManagedVolumeRecord::* inField, const Value& inValue)
{
    ScopedLock lock(mMutex, inTag);
    if (ManagedVolumeRecord* const record = Find(inVolume))
    {
        record->*inField = inValue;
        QueueCleanup(lock, inVolume.mFileExtensionsAllowedToDelete);
    }
}

template <class Value>
Value Manager::GetVolumeValue(const char* inTag, const ManagedVolume& inVolume,
                              Value ManagedVolumeRecord::* inField)
{
    ScopedLock lock(mMutex, inTag);
    const ManagedVolumeRecord* const record = Find(inVolume);
    return record != nullptr ? record->*inField : Value();
}

template <class Value>
void Manager::SetDirectoryValue(const char* inTag, const ManagedDirectory& inDirectory,
                                Value ManagedDirectoryRecord::* inField, const Value& inValue)
{
    ScopedLock lock(mMutex, inTag);
    if (ManagedDirectoryRecord* const record = Find(inDirectory))
    {
        record->*inField = inValue;
        QueueCleanup(lock, record->mFileExtensionsAllowedToDelete);
    }
}

template <class Value>
Value Manager::GetDirectoryValue(const char* inTag, const ManagedDirectory& inDirectory,
                                 Value ManagedDirectoryRecord::* inField)
{
    ScopedLock lock(mMutex, inTag);
    const ManagedDirectoryRecord* const record = Find(inDirectory);
    return record != nullptr ? record->*inField : Value();
}

void Manager::SetVolumeFreeSpaceBytes(const ManagedVolume& inVolume, const OptionalBytes& inBytes)
{
    SetVolumeValue("RK::DiskCacheManager::SetVolumeFreeSpaceBytes", inVolume,
                   &ManagedVolumeRecord::mFreeSpaceBytes, inBytes);
}

OptionalBytes Manager::GetVolumeFreeSpaceBytes(const ManagedVolume& inVolume)
{
    return GetVolumeValue("RK::DiskCacheManager::GetVolumeFreeSpaceBytes", inVolume,
                          &ManagedVolumeRecord::mFreeSpaceBytes);
}

void Manager::SetVolumeFreeSpacePercentage(const ManagedVolume& inVolume,
                                           const boost::optional<float>& inPercentage)
{
    SetVolumeValue("RK::DiskCacheManager::SetVolumeFreeSpacePercentage", inVolume,
                   &ManagedVolumeRecord::mFreeSpacePercentage, inPercentage);
}

boost::optional<float> Manager::GetVolumeFreeSpacePercentage(const ManagedVolume& inVolume)
{
    return GetVolumeValue("RK::DiskCacheManager::GetVolumeFreeSpacePercentage", inVolume,
                          &ManagedVolumeRecord::mFreeSpacePercentage);
}

void Manager::SetVolumeMaxUsedBytes(const ManagedVolume& inVolume, const OptionalBytes& inBytes)
{
    SetVolumeValue("RK::DiskCacheManager::SetVolumeMaxUsedBytes", inVolume,
                   &ManagedVolumeRecord::mMaxUsedBytes, inBytes);
}

OptionalBytes Manager::GetVolumeMaxUsedBytes(const ManagedVolume& inVolume)
{
    return GetVolumeValue("RK::DiskCacheManager::GetVolumeMaxUsedBytes", inVolume,
                          &ManagedVolumeRecord::mMaxUsedBytes);
}

bool Manager::IsCloseToFull(const ManagedVolume& inVolume)
{
    ManagedVolumeRecord copy;
    {
        ScopedLock lock(mMutex, "RK::DiskCacheManager::GetVolumeMaxUsedBytes");
        const ManagedVolumeRecord* const record = Find(inVolume);
        if (record == nullptr)
            return false;
        copy = *record;
    }
    std::uint64_t allowedBytes = 0;
    return DetermineAllowedBytes(copy, kCloseToFullBytes, allowedBytes) &&
           allowedBytes < kCloseToFullBytes;
}

void Manager::SetDirectoryMaxUsedBytes(const ManagedDirectory& inDirectory,
                                       const OptionalBytes& inBytes)
{
    SetDirectoryValue("RK::DiskCacheManager::SetDirectoryMaxUsedBytes", inDirectory,
                      &ManagedDirectoryRecord::mMaxUsedBytes, inBytes);
}

OptionalBytes Manager::GetDirectoryMaxUsedBytes(const ManagedDirectory& inDirectory)
{
    return GetDirectoryValue("RK::DiskCacheManager::GetDirectoryMaxUsedBytes", inDirectory,
                             &ManagedDirectoryRecord::mMaxUsedBytes);
}

void Manager::SetDirectoryMaxFileCount(const ManagedDirectory& inDirectory,
                                       const boost::optional<std::uint64_t>& inCount)
{
    SetDirectoryValue("RK::DiskCacheManager::SetDirectoryMaxFileCount", inDirectory,
                      &ManagedDirectoryRecord::mMaxFileCount, inCount);
}

boost::optional<std::uint64_t>
Manager::GetDirectoryMaxFileCount(const ManagedDirectory& inDirectory)
{
    return GetDirectoryValue("RK::DiskCacheManager::GetDirectoryMaxFileCount", inDirectory,
                             &ManagedDirectoryRecord::mMaxFileCount);
}

void Manager::SetDirectoryPriorityBoost(const ManagedDirectory& inDirectory,
                                        const OptionalDuration& inBoost)
{
    SetDirectoryValue("RK::DiskCacheManager::SetDirectoryPriorityBoost", inDirectory,
                      &ManagedDirectoryRecord::mPriorityBoost, inBoost);
}

OptionalDuration Manager::GetDirectoryPriorityBoost(const ManagedDirectory& inDirectory)
{
    return GetDirectoryValue("RK::DiskCacheManager::GetDirectoryPriorityBoost", inDirectory,
                             &ManagedDirectoryRecord::mPriorityBoost);
}

void Manager::SetDirectoryAutomaticExpiryDuration(const ManagedDirectory& inDirectory,
                                                  const OptionalDuration& inDuration)
{
    SetDirectoryValue("RK::DiskCacheManager::SetDirectoryAutomaticExpiryDuration", inDirectory,
                      &ManagedDirectoryRecord::mAutomaticExpiryDuration, inDuration);
}

OptionalDuration Manager::GetDirectoryAutomaticExpiryDuration(const ManagedDirectory& inDirectory)
{
    return GetDirectoryValue("RK::DiskCacheManager::GetDirectoryAutomaticExpiryDuration",
                             inDirectory, &ManagedDirectoryRecord::mAutomaticExpiryDuration);
}

void Manager::SetDirectoryDeleteEmptySubDirectories(const ManagedDirectory& inDirectory,
                                                    bool inDelete)
{
    SetDirectoryValue("RK::DiskCacheManager::SetDirectoryDeleteEmptySubDirectories", inDirectory,
                      &ManagedDirectoryRecord::mDeleteEmptySubDirectories,
                      boost::optional<bool>(inDelete));
}

bool Manager::GetDirectoryDeleteEmptySubDirectories(const ManagedDirectory& inDirectory)
{
    return GetDirectoryValue("RK::DiskCacheManager::GetDirectoryDeleteEmptySubDirectories",
                             inDirectory, &ManagedDirectoryRecord::mDeleteEmptySubDirectories)
        .value_or(false);
}

void Manager::DisableRepeatDiskSweep(const ManagedDirectory& inDirectory)
{
    ScopedLock lock(mMutex, "RK::DiskCacheManager::DisableRepeatDiskSweep");
    if (ManagedDirectoryRecord* const record = Find(inDirectory))
        record->mDisableRepeatDiskSweep = true;
}

void Manager::AddFileExtensionsAllowedToDelete(ManagedDirectory& ioDirectory,
                                               const Extensions& inExtensions)
{
    // The handle's list too, since any thread may add.
    ScopedLock lock(mMutex, "void RK::DiskCacheManager::(anonymous namespace)::Manager::"
                            "AddFileExtensionsAllowedToDelete(const qelcore::utility::FileUtils::"
                            "PathSpecifier &, const qelcore::vector<qelcore::UTF16String> &)");
    const auto append = [&](Extensions& ioList)
    { ioList.insert(ioList.end(), inExtensions.begin(), inExtensions.end()); };
    append(ioDirectory.mFileExtensionsAllowedToDelete);
    if (ManagedDirectoryRecord* const record = Find(ioDirectory))
        append(record->mFileExtensionsAllowedToDelete);
}

VolumeLimits Manager::LimitsOf(const ManagedVolumeRecord& inVolume)
{
    return {inVolume.mVolume->mVolumeSize, inVolume.mFreeSpaceBytes, inVolume.mFreeSpacePercentage,
            inVolume.mMaxUsedBytes};
}

const Extensions& Manager::ExtensionsOf(const ManagedVolumeRecord& inVolume)
{
    return inVolume.mVolume->mFileExtensionsAllowedToDelete;
}

bool Manager::DetermineAllowedBytes(const ManagedVolumeRecord& inVolume, std::uint64_t inUsedBytes,
                                    std::uint64_t& ioAllowedBytes)
{
    try
    {
        const std::uint64_t free =
            qelcore::utility::FileUtils::GetVolumeFreeSpace(*inVolume.mVolume->mPath);
        ioAllowedBytes = AllowedBytes(LimitsOf(inVolume), inUsedBytes, free);
        return true;
    }
    catch (...)
    {
        return false;
    }
}

void Manager::QueueCleanup(const ScopedLock&, const Extensions& inExtensions)
{
    if (!mExecutor)
        return;
    bool anySingle = false;
    bool anyRepeating = false;
    for (const auto& directory : mDirectories)
        (directory.second.mDisableRepeatDiskSweep ? anySingle : anyRepeating) = true;
    if (anySingle && !mOneShotQueued)
        QueueOneShot(inExtensions);
    if (!anyRepeating)
        mRepeatFunction.reset();
    else if (!mRepeatFunction) // one that runs keeps the extensions that it was made with
        mRepeatFunction = boost::make_shared<qelcore::threads::RepeatDelayFunction>(
            mExecutor, [this, inExtensions] { Cleanup(true, inExtensions); },
            sDiskSweepIntervalMs.Get());
}

void Manager::QueueOneShot(const Extensions& inExtensions)
{
    mOneShotQueued = mExecutor->Post([this, inExtensions] { Cleanup(false, inExtensions); },
                                     sDiskSweepIntervalMs.Get());
}

void Manager::Cleanup(bool inRepeating, const Extensions& inExtensions)
{
    SweepSettings settings;
    settings.kind = inRepeating ? SweepReport::Kind::kRepeating : SweepReport::Kind::kSingle;
    settings.extensions = inExtensions;
    RunSweep(settings, std::make_shared<SweepCounters>());
}

SweepReportPtr Manager::RunSweep(const SweepSettings& inSettings,
                                 const std::shared_ptr<SweepCounters>& inCounters)
{
    if (*mShuttingDown != 0)
        return SweepReportPtr();
    VolumeRecords volumes;
    DirectoryRecords directories;
    TakeCopies(inSettings.kind, volumes, directories);
    SweepSettings settings = inSettings;
    settings.now = CurrentTime();
    settings.silenceLimit = std::chrono::milliseconds(sVolumeSilenceLimitMs.Get());
    const SweepReportPtr report =
        Sweep(volumes, directories, settings, mShuttingDown, inCounters, mLeftBehind).Run();
    if (settings.dryRun)
        return report;
    {
        ScopedLock lock(mMutex, "RK::DiskCacheManager::Cleanup");
        mLastReport = report;
    }
    if (*mShuttingDown == 0)
        ZOR::StationUtils::PostMessageToUIThread(
            GetStationID(), CleanCompleteMessage(settings.kind == SweepReport::Kind::kRepeating),
            false);
    return report;
}

void Manager::TakeCopies(SweepReport::Kind inKind, VolumeRecords& outVolumes,
                         DirectoryRecords& outDirectories)
{
    ScopedLock lock(mMutex, "RK::DiskCacheManager::Cleanup");
    outVolumes = mVolumes;
    for (const auto& directory : mDirectories)
    {
        if (!directory.second.mDirectory.expired())
            outDirectories.insert(directory);
    }
    if (outDirectories.size() < mDirectories.size())
        mDirectories = outDirectories;
    if (inKind == SweepReport::Kind::kSingle)
        mOneShotQueued = false;
}

SweepReportPtr Manager::GetLastSweepReport()
{
    ScopedLock lock(mMutex, "RK::DiskCacheManager::GetLastSweepReport");
    return mLastReport;
}

SweepReportPtr Manager::SweepNow(const SweepOptions& inOptions)
{
    struct Waiting
    {
        std::mutex mutex; // guards all below
        std::condition_variable changed;
        bool isDone = false;
        SweepReportPtr report;
    };
    struct AtEnd // also where the sweep raises something
    {
        ~AtEnd()
        {
            const std::lock_guard<std::mutex> lock(waiting.mutex);
            waiting.report = report;
            waiting.isDone = true;
            waiting.changed.notify_all();
        }
        Waiting& waiting;
        SweepReportPtr report;
    };
    qelcore::threads::AsyncExecutorPtr executor;
    {
        ScopedLock lock(mMutex, "RK::DiskCacheManager::SweepNow");
        executor = mExecutor;
    }
    const auto waiting = std::make_shared<Waiting>();
    const auto counters = std::make_shared<SweepCounters>();
    SweepSettings settings;
    settings.kind = SweepReport::Kind::kOnDemand;
    settings.dryRun = inOptions.dryRun;
    settings.nameFiles = inOptions.nameFiles;
    const auto sweep = [this, waiting, settings, counters]
    {
        AtEnd end{*waiting, {}};
        end.report = RunSweep(settings, counters);
    };
    if (!executor || !executor->Post(sweep, 0))
        return SweepReportPtr();
    if (!inOptions.onProgress)
        executor->Flush();
    std::unique_lock<std::mutex> lock(waiting->mutex);
    while (!waiting->changed.wait_for(lock, kProgressInterval, [&] { return waiting->isDone; }))
    {
        lock.unlock();
        if (inOptions.onProgress)
            inOptions.onProgress(ProgressOf(*counters));
        lock.lock();
    }
    return waiting->report;
}

} // namespace DiskCacheManager
} // namespace RK
