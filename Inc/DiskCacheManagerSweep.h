#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <boost/optional.hpp>

#include "DiskCacheManager.h"
#include "DiskCacheManagerTree.h"
#include "RKDiskCacheSweepReport.h"
#include "qelcore/Mutex.h"

namespace RK
{
namespace DiskCacheManager
{

struct SweepSettings
{
    SweepReport::Kind kind = SweepReport::Kind::kRepeating;
    bool dryRun = false;
    bool nameFiles = false;
    /// What the volume phase may delete; nothing stands for what each volume itself was made with.
    boost::optional<Extensions> extensions;
    boost::posix_time::ptime now;
    /// How long a volume that may be away can go without any answer while it is worked on.
    std::chrono::milliseconds silenceLimit{20000};
};

// The work that was left behind with volumes that fell silent, by its folder's path. Any thread.
class LeftBehind
{
public:
    bool Has(const Path& inPath) const;
    void Add(const Path& inPath);
    void Remove(const Path& inPath);

private:
    mutable qelcore::threads::Mutex mMutex; // a leaf
    std::multiset<Path> mPaths RK_GUARDED_BY(mMutex);
};

/// Runs inWork on a thread of its own, for as long as inWatch's steps grow.
/// @param inWork  must own all that it touches: it may come back after everybody else has gone.
/// @return false if it was left behind, which inWatch tells it too. What it raises is raised here.
bool RunAttended(const std::shared_ptr<SweepWatch>& inWatch,
                 const std::shared_ptr<LeftBehind>& inLeftBehind, const Path& inPath,
                 std::chrono::milliseconds inSilenceLimit, const std::function<void()>& inWork);

/// The time of day in UTC, for reports.
boost::posix_time::ptime ReportTime();

/// What was used then or later is in its grace period.
Ticks CutoffOf(const SweepSettings& inSettings);

/// The oldest files are at the back. Each that is asked about leaves the list whether it could be deleted or
/// not, so that one that cannot be does not keep the next ones; but its bytes stay used. Nothing in its
/// grace period goes, whatever inIsTooMuch says.
/// @param ioSpared  gets what was used since the listing.
template <class IsTooMuch, class Delete>
void DeleteBackWhile(const IsTooMuch& inIsTooMuch, const Delete& inDelete, Ticks inCutoff,
                     const SweepWatch& inWatch, std::vector<TreeFile>& ioFiles,
                     std::uint64_t& ioUsedBytes, SweepAmount& ioSpared)
{
    while (!ioFiles.empty() && ioFiles.back().lastUse < inCutoff && inIsTooMuch(ioFiles.back()))
    {
        if (inWatch.ShouldStop())
            return;
        const TreeFile file = ioFiles.back();
        ioFiles.pop_back();
        const ManagedTree::Removal removal = inDelete(file);
        if (removal == ManagedTree::Removal::kDone || removal == ManagedTree::Removal::kGone)
            ioUsedBytes -= file.size;
        else if (removal == ManagedTree::Removal::kYoung)
            ioSpared = {ioSpared.files + 1, ioSpared.bytes + file.size};
    }
}

/// How much more would have to go from the back until inAllowedBytes are kept: what the grace period spares.
SweepAmount SparedBeyond(const std::vector<TreeFile>& inFiles, std::uint64_t inUsedBytes,
                         std::uint64_t inAllowedBytes);

// One folder of a sweep, with copies of all that it needs.
class DirectorySweep
{
public:
    DirectorySweep(const ManagedDirectoryRecord& inDirectory, const SweepSettings& inSettings,
                   std::shared_ptr<const PathSet> inExcluded);

    /// Lists the folder, and keeps its own limits. Ends early where inWatch says so.
    void Run(SweepWatch& ioWatch);
    /// Deletes a file of this folder, and takes it into the report unless it was used meanwhile.
    ManagedTree::Removal Delete(const TreeFile& inFile, const Extensions& inExtensions,
                                SweepRule inRule, SweepWatch& ioWatch);
    /// No more deletions come: what is left, and over which limit.
    void Finish();
    void Close() { mTree.Close(); }

    const Path& VolumePath() const { return *mDirectory.mVolumePath; }
    const Path& GetPath() const { return *mDirectory.mPath; }

    DirectorySweepReport report;
    std::vector<TreeFile> files; // that may still go, the newest first
    std::uint64_t usedBytes = 0;

private:
    void List(SweepWatch& ioWatch);
    void KeepLimits(SweepWatch& ioWatch);
    void NoteSpared();
    void Boost(const boost::posix_time::time_duration& inBoost);
    void RemoveEmptyFolders(SweepWatch& ioWatch);
    void RemoveFolder(std::uint32_t inFolder);
    void Refuse(SweepStep inStep, const std::string& inPath, int inError);

    const ManagedDirectoryRecord mDirectory;
    const SweepSettings mSettings;
    const std::shared_ptr<const PathSet> mExcluded;
    const Ticks mCutoff;
    ManagedTree mTree;
};
using DirectorySweepPtr = std::shared_ptr<DirectorySweep>;

// The phase of one volume, over the folders of its name.
class VolumeSweep
{
public:
    VolumeSweep(const Path& inPath, const SweepSettings& inSettings);

    /// What a folder's own limits have left competes here.
    void Join(const DirectorySweepPtr& inDirectory);
    void Run(const ManagedVolumeRecord& inVolume, SweepWatch& ioWatch);

    const std::vector<DirectorySweepPtr>& Directories() const { return mDirectories; }
    VolumeSweepReport report;
    bool isAttended = false; // some folder's volume may be away

private:
    bool FindAllowedBytes(const ManagedVolumeRecord& inVolume);
    void DeleteDownTo(std::uint64_t inAllowedBytes, const Extensions& inExtensions,
                      SweepWatch& ioWatch);

    const SweepSettings mSettings;
    const Ticks mCutoff;
    std::vector<DirectorySweepPtr> mDirectories; // by TreeFile::tree
    std::vector<TreeFile> mFiles;                // the newest first
    std::uint64_t mUsedBytes = 0;
};

// One sweep over copies of the records. It ends early wherever the flag is set.
class Sweep
{
public:
    Sweep(const VolumeRecords& inVolumes, const DirectoryRecords& inDirectories,
          const SweepSettings& inSettings,
          std::shared_ptr<const qelcore::threads::AtomicInt> inAbortFlag,
          std::shared_ptr<SweepCounters> inCounters = std::make_shared<SweepCounters>(),
          std::shared_ptr<LeftBehind> inLeftBehind = std::make_shared<LeftBehind>());
    SweepReportPtr Run();

private:
    bool IsStopped() const { return *mAbortFlag != 0; }
    bool Takes(const ManagedDirectoryRecord& inDirectory) const;
    void CleanDirectory(const ManagedDirectoryRecord& inDirectory);
    void CleanVolume(const Path& inPath, const std::shared_ptr<VolumeSweep>& inVolume);
    bool RunGuarded(bool inAttended, const Path& inPath,
                    const std::function<void(SweepWatch&)>& inWork);
    void TellNoAnswer(const Path& inPath, const boost::posix_time::ptime& inStarted,
                      SweepStep inStep);

    const VolumeRecords& mVolumeRecords;
    const DirectoryRecords& mDirectoryRecords;
    const SweepSettings mSettings;
    const std::shared_ptr<const qelcore::threads::AtomicInt> mAbortFlag;
    const std::shared_ptr<SweepCounters> mCounters;
    const std::shared_ptr<LeftBehind> mLeftBehind;
    std::map<Path, std::shared_ptr<VolumeSweep>> mVolumes;
    std::shared_ptr<const PathSet> mExcluded;
    boost::shared_ptr<SweepReport> mReport;
};

} // namespace DiskCacheManager
} // namespace RK
