#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "DiskCacheManager.h"
#include "ZOR/PathUtils.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using boost::posix_time::ptime;
using boost::posix_time::time_duration;

constexpr int kGraceSeconds = 900;

/// A volume that is away would hold up the sweep, and with it those of all other volumes.
bool VolumeAnswers(const Path& inPath)
{
    try
    {
        qelcore::utility::FileUtils::GetVolumeFreeSpace(inPath);
        return true;
    }
    catch (const qelcore::filesupport::file_exception& failure)
    {
        return failure.ErrorNumber() != ETIMEDOUT;
    }
}

} // namespace

Sweep::Sweep(const VolumeRecords& inVolumes, const DirectoryRecords& inDirectories,
             const qelcore::threads::AtomicInt& inAbortFlag, bool inRepeating,
             const Extensions& inExtensions, const ptime& inNow)
    : mVolumeRecords(inVolumes)
    , mDirectoryRecords(inDirectories)
    , mAbortFlag(inAbortFlag)
    , mRepeating(inRepeating)
    , mExtensions(inExtensions)
    , mCutoff(Shifted(inNow, boost::posix_time::seconds(-kGraceSeconds)))
{
    // Also those that this sweep passes over. A listing meets them without a slash at their end.
    for (const auto& directory : inDirectories)
        mExcluded.insert(ZOR::PathUtils::RemoveTrailingSlash(directory.first));
}

void Sweep::Run()
{
    for (const auto& directory : mDirectoryRecords)
    {
        if (IsShuttingDown())
            return;
        if (directory.second.mDisableRepeatDiskSweep != mRepeating &&
            VolumeAnswers(directory.first))
            CleanDirectory(directory.second);
    }
    for (auto& volume : mVolumes)
    {
        if (IsShuttingDown())
            return;
        CleanVolume(volume.first, volume.second);
    }
}

bool Sweep::IsInGracePeriod(const FileRecord& inFile) const
{
    return !IsBefore(inFile.mTime, mCutoff);
}

void Sweep::CleanDirectory(const ManagedDirectoryRecord& inDirectory)
{
    std::vector<FileRecord> files;
    std::vector<SubDirectoryRecord> subDirectories;
    std::uint64_t usedBytes = 0;
    bool isEmpty = true; // nobody asks about the top
    GetFlattenedDirectoryListing(inDirectory.mPath, mExcluded, mAbortFlag,
                                 inDirectory.mFileExtensionsAllowedToDelete, files, usedBytes,
                                 subDirectories, isEmpty);
    std::sort(files.begin(), files.end());
    std::sort(subDirectories.begin(), subDirectories.end());
    KeepLimits(inDirectory, files, usedBytes);
    if (inDirectory.mPriorityBoost)
        Boost(*inDirectory.mPriorityBoost, files);
    if (inDirectory.mDeleteEmptySubDirectories.value_or(false))
        DeleteSubDirectories(subDirectories);
    Join(*inDirectory.mVolumePath, files, usedBytes);
}

void Sweep::KeepLimits(const ManagedDirectoryRecord& inDirectory, std::vector<FileRecord>& ioFiles,
                       std::uint64_t& ioUsedBytes) const
{
    const auto deleteBackWhile = [&](const auto& inCondition)
    {
        DeleteBackWhile(inCondition, inDirectory.mFileExtensionsAllowedToDelete, ioFiles,
                        ioUsedBytes);
    };
    if (inDirectory.mAutomaticExpiryDuration)
    {
        const ptime threshold =
            Shifted(mCutoff, inDirectory.mAutomaticExpiryDuration->invert_sign());
        deleteBackWhile([&](const FileRecord& inBack)
                        { return IsBefore(inBack.mTime, threshold); });
    }
    if (inDirectory.mMaxFileCount)
        deleteBackWhile([&](const FileRecord&)
                        { return ioFiles.size() > *inDirectory.mMaxFileCount; });
    if (inDirectory.mMaxUsedBytes)
        deleteBackWhile([&](const FileRecord&)
                        { return ioUsedBytes > *inDirectory.mMaxUsedBytes; });
}

/// The back is the oldest. It leaves the list whether it could be deleted or not, so that one that cannot
/// be does not keep the next ones; but its bytes stay used. Nothing in its grace period goes, whatever the
/// condition says.
template <class Condition>
void Sweep::DeleteBackWhile(const Condition& inCondition, const Extensions& inExtensions,
                            std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes) const
{
    while (!ioFiles.empty() && inCondition(ioFiles.back()) && !IsInGracePeriod(ioFiles.back()))
    {
        if (IsShuttingDown())
            return;
        if (DeleteFile(ioFiles.back(), inExtensions))
            ioUsedBytes -= ioFiles.back().mSize;
        ioFiles.pop_back();
    }
}

/// A boost back in time takes no file out of its grace period. The order stays.
void Sweep::Boost(const time_duration& inBoost, std::vector<FileRecord>& ioFiles) const
{
    for (FileRecord& file : ioFiles)
    {
        const ptime boosted = Shifted(file.mTime, inBoost);
        if (!IsInGracePeriod(file) || IsBefore(file.mTime, boosted))
            file.mTime = boosted;
    }
}

void Sweep::DeleteSubDirectories(const std::vector<SubDirectoryRecord>& inSubDirectories) const
{
    for (const SubDirectoryRecord& subDirectory : inSubDirectories)
    {
        if (IsShuttingDown())
            return;
        DeleteSubDirectory(subDirectory);
    }
}

void Sweep::Join(const Path& inVolumePath, std::vector<FileRecord>& ioFiles,
                 std::uint64_t inUsedBytes)
{
    VolumeCleanupRecord& volume = mVolumes[inVolumePath];
    volume.mUsedBytes += inUsedBytes;
    if (volume.mFiles.empty())
        return volume.mFiles.swap(ioFiles);
    std::vector<FileRecord> merged;
    merged.reserve(volume.mFiles.size() + ioFiles.size());
    std::merge(std::make_move_iterator(volume.mFiles.begin()),
               std::make_move_iterator(volume.mFiles.end()),
               std::make_move_iterator(ioFiles.begin()), std::make_move_iterator(ioFiles.end()),
               std::back_inserter(merged));
    volume.mFiles.swap(merged);
}

/// Only what the sweep itself was allowed to delete: the volume's list and not the directories'.
void Sweep::CleanVolume(const Path& inVolumePath, VolumeCleanupRecord& ioVolume) const
{
    const auto record = mVolumeRecords.find(inVolumePath);
    std::uint64_t allowedBytes = 0;
    if (record == mVolumeRecords.end() ||
        !Manager::DetermineAllowedBytes(record->second, ioVolume.mUsedBytes, allowedBytes))
        return;
    DeleteBackWhile([&](const FileRecord&) { return ioVolume.mUsedBytes > allowedBytes; },
                    mExtensions, ioVolume.mFiles, ioVolume.mUsedBytes);
}

} // namespace DiskCacheManager
} // namespace RK
