#include "DiskCacheManagerSweep.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <system_error>
#include <utility>

#include <boost/make_shared.hpp>

#include "Platform/VolumeTable.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using boost::posix_time::ptime;

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

/// One that answers now may still fall silent, unless it is of this machine.
bool MayFallSilent(const Path& inPath)
{
    Platform::Mount mount;
    return Platform::VolumeTable().MountOfPath(qelcore::utility::UTF16ToFileName(inPath), mount) !=
               0 ||
           !Platform::IsLocalFileSystem(mount.type);
}

/// @return 0 or the error's number.
int FindFreeBytes(const Path& inPath, std::uint64_t& outBytes)
{
    try
    {
        outBytes = qelcore::utility::FileUtils::GetVolumeFreeSpace(inPath);
        return 0;
    }
    catch (const qelcore::filesupport::file_exception& failure)
    {
        return failure.ErrorNumber();
    }
    catch (const std::exception&)
    {
        return EIO;
    }
}

} // namespace

VolumeSweep::VolumeSweep(const Path& inPath, const SweepSettings& inSettings)
    : mSettings(inSettings)
    , mCutoff(CutoffOf(inSettings))
{
    report.path = inPath;
}

void VolumeSweep::Join(const DirectorySweepPtr& inDirectory)
{
    std::vector<TreeFile>& files = inDirectory->files;
    for (TreeFile& file : files)
        file.tree = static_cast<std::uint32_t>(mDirectories.size());
    mDirectories.push_back(inDirectory);
    mUsedBytes += inDirectory->usedBytes;
    if (mFiles.empty())
        return mFiles.swap(files);
    std::vector<TreeFile> merged;
    merged.reserve(mFiles.size() + files.size());
    std::merge(mFiles.begin(), mFiles.end(), files.begin(), files.end(),
               std::back_inserter(merged));
    mFiles.swap(merged);
    std::vector<TreeFile>().swap(files);
}

/// Only what the sweep itself was allowed to delete: the volume's list and not the directories'.
void VolumeSweep::Run(const ManagedVolumeRecord& inVolume, SweepWatch& ioWatch)
{
    report.usedBytes = mUsedBytes;
    if (!FindAllowedBytes(inVolume))
        return;
    DeleteDownTo(report.allowedBytes,
                 mSettings.extensions.value_or(Manager::ExtensionsOf(inVolume)), ioWatch);
    for (const DirectorySweepPtr& directory : mDirectories)
        directory->Close();
}

bool VolumeSweep::FindAllowedBytes(const ManagedVolumeRecord& inVolume)
{
    report.errorNumber = FindFreeBytes(report.path, report.freeBytes);
    if (report.errorNumber != 0)
    {
        report.outcome = SweepOutcome::kNoAnswer;
        return false;
    }
    std::uint64_t freeBytes = report.freeBytes;
    for (const DirectorySweepPtr& directory : mDirectories)
    {
        for (const SweepAmount& deleted : directory->report.deleted)
            freeBytes += mSettings.dryRun ? deleted.bytes : 0; // as if that had gone
    }
    const VolumeLimits limits = Manager::LimitsOf(inVolume);
    report.sizeBytes = limits.mVolumeSize;
    report.allowedBytes = AllowedBytes(limits, mUsedBytes, freeBytes);
    return true;
}

void VolumeSweep::DeleteDownTo(std::uint64_t inAllowedBytes, const Extensions& inExtensions,
                               SweepWatch& ioWatch)
{
    const auto remove = [&](const TreeFile& inFile)
    {
        const ManagedTree::Removal removal =
            mDirectories[inFile.tree]->Delete(inFile, inExtensions, SweepRule::kVolume, ioWatch);
        if (removal == ManagedTree::Removal::kDone)
            report.deleted = {report.deleted.files + 1, report.deleted.bytes + inFile.size};
        return removal;
    };
    DeleteBackWhile([&](const TreeFile&) { return mUsedBytes > inAllowedBytes; }, remove, mCutoff,
                    ioWatch, mFiles, mUsedBytes, report.spared);
    const SweepAmount spared = SparedBeyond(mFiles, mUsedBytes, inAllowedBytes);
    report.spared = {report.spared.files + spared.files, report.spared.bytes + spared.bytes};
    report.bytesOverLimit = mUsedBytes - std::min(mUsedBytes, inAllowedBytes);
}

Sweep::Sweep(const VolumeRecords& inVolumes, const DirectoryRecords& inDirectories,
             const SweepSettings& inSettings,
             std::shared_ptr<const qelcore::threads::AtomicInt> inAbortFlag,
             std::shared_ptr<SweepCounters> inCounters, std::shared_ptr<LeftBehind> inLeftBehind)
    : mVolumeRecords(inVolumes)
    , mDirectoryRecords(inDirectories)
    , mSettings(inSettings)
    , mAbortFlag(std::move(inAbortFlag))
    , mCounters(std::move(inCounters))
    , mLeftBehind(std::move(inLeftBehind))
    , mReport(boost::make_shared<SweepReport>())
{
    // Also those that this sweep passes over. A listing meets them without a slash at their end.
    PathSet excluded;
    for (const auto& directory : inDirectories)
        excluded.insert(ZOR::PathUtils::RemoveTrailingSlash(directory.first));
    mExcluded = std::make_shared<const PathSet>(std::move(excluded));
    mReport->kind = inSettings.kind;
    mReport->dryRun = inSettings.dryRun;
    mReport->started = inSettings.now;
    mReport->cutoff = TimeOf(CutoffOf(inSettings));
}

SweepReportPtr Sweep::Run()
{
    for (const auto& directory : mDirectoryRecords)
    {
        if (IsStopped())
            break;
        if (Takes(directory.second))
            CleanDirectory(directory.second);
    }
    for (const auto& volume : mVolumes)
        CleanVolume(volume.first, volume.second);
    std::sort(mReport->directories.begin(), mReport->directories.end(),
              [](const DirectorySweepReport& a, const DirectorySweepReport& b)
              { return a.path < b.path; });
    mReport->complete = !IsStopped();
    mReport->ended = ReportTime();
    return mReport;
}

bool Sweep::Takes(const ManagedDirectoryRecord& inDirectory) const
{
    if (mSettings.kind == SweepReport::Kind::kOnDemand)
        return true;
    return inDirectory.mDisableRepeatDiskSweep == (mSettings.kind == SweepReport::Kind::kSingle);
}

/// @return false if the work was left behind; then nothing that it touches may be looked at any more.
bool Sweep::RunGuarded(bool inAttended, const Path& inPath,
                       const std::function<void(SweepWatch&)>& inWork)
{
    const auto watch = std::make_shared<SweepWatch>(mAbortFlag, mCounters);
    if (!inAttended)
    {
        inWork(*watch);
        return true;
    }
    return RunAttended(watch, mLeftBehind, inPath, mSettings.silenceLimit,
                       [watch, inWork] { inWork(*watch); });
}

void Sweep::CleanDirectory(const ManagedDirectoryRecord& inDirectory)
{
    const Path& path = *inDirectory.mPath;
    const ptime started = ReportTime();
    if (mLeftBehind->Has(path) || !VolumeAnswers(path))
        return TellNoAnswer(path, started, SweepStep::kAskVolume);
    const bool attended = MayFallSilent(path);
    const auto directory = std::make_shared<DirectorySweep>(inDirectory, mSettings, mExcluded);
    if (!RunGuarded(attended, path, [directory](SweepWatch& ioWatch) { directory->Run(ioWatch); }))
        return TellNoAnswer(path, started, SweepStep::kListFolder);
    if (IsStopped())
        directory->report.outcome = SweepOutcome::kStopped;
    std::shared_ptr<VolumeSweep>& volume = mVolumes[directory->VolumePath()];
    if (!volume)
        volume = std::make_shared<VolumeSweep>(directory->VolumePath(), mSettings);
    volume->isAttended = volume->isAttended || attended;
    volume->Join(directory);
}

void Sweep::TellNoAnswer(const Path& inPath, const ptime& inStarted, SweepStep inStep)
{
    DirectorySweepReport report;
    report.path = inPath;
    report.outcome = SweepOutcome::kNoAnswer;
    report.started = inStarted;
    report.ended = ReportTime();
    report.refused.count = 1;
    report.refused.countByError[ETIMEDOUT] = 1;
    report.refused.first.push_back(
        {inStep, inPath, ETIMEDOUT, std::generic_category().message(ETIMEDOUT)});
    mReport->directories.push_back(std::move(report));
}

void Sweep::CleanVolume(const Path& inPath, const std::shared_ptr<VolumeSweep>& inVolume)
{
    // As they stand now, in case that the work of the volume does not come back with them.
    std::vector<DirectorySweepReport> directories;
    for (const DirectorySweepPtr& directory : inVolume->Directories())
    {
        directory->Finish();
        if (inVolume->isAttended)
            directories.push_back(directory->report);
    }
    const auto record = mVolumeRecords.find(inPath);
    bool isBack = true;
    if (record != mVolumeRecords.end() && !IsStopped())
        isBack = RunGuarded(inVolume->isAttended, inPath,
                            [inVolume, volume = record->second](SweepWatch& ioWatch)
                            { inVolume->Run(volume, ioWatch); });
    VolumeSweepReport report;
    report.path = inPath;
    report.outcome = SweepOutcome::kNoAnswer;
    report.errorNumber = ETIMEDOUT;
    if (isBack)
    {
        directories.clear();
        for (const DirectorySweepPtr& directory : inVolume->Directories())
        {
            directory->Finish();
            directories.push_back(std::move(directory->report));
        }
        report = inVolume->report;
        if (IsStopped())
            report.outcome = SweepOutcome::kStopped;
    }
    std::move(directories.begin(), directories.end(), std::back_inserter(mReport->directories));
    mReport->volumes.push_back(std::move(report));
}

} // namespace DiskCacheManager
} // namespace RK
