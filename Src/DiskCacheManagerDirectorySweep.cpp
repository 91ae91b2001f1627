#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "DiskCacheManagerSweep.h"
#include "Platform/FileSystem.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"
#include "qelcore/UTCTime.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using boost::posix_time::ptime;
using boost::posix_time::time_duration;
using Removal = ManagedTree::Removal;

constexpr char kSourcePath[] = "Src/DiskCacheManagerDirectorySweep";
constexpr int kGraceSeconds = 900;
constexpr std::size_t kRefusalsByName = 8;

std::uint64_t Beyond(std::uint64_t inAmount, std::uint64_t inLimit)
{
    return inAmount - std::min(inAmount, inLimit);
}

} // namespace

ptime ReportTime()
{
    const Platform::FileTime now = Platform::FileSystem().Now();
    return qelcore::utility::ToUTCTime(now.seconds, now.nanoseconds / 1000);
}

Ticks CutoffOf(const SweepSettings& inSettings)
{
    return TicksOf(Shifted(inSettings.now, boost::posix_time::seconds(-kGraceSeconds)));
}

SweepAmount SparedBeyond(const std::vector<TreeFile>& inFiles, std::uint64_t inUsedBytes,
                         std::uint64_t inAllowedBytes)
{
    SweepAmount spared;
    for (auto file = inFiles.rbegin();
         file != inFiles.rend() && Beyond(inUsedBytes, spared.bytes) > inAllowedBytes; ++file)
        spared = {spared.files + 1, spared.bytes + file->size};
    return spared;
}

DirectorySweep::DirectorySweep(const ManagedDirectoryRecord& inDirectory,
                               const SweepSettings& inSettings,
                               std::shared_ptr<const PathSet> inExcluded)
    : mDirectory(inDirectory)
    , mSettings(inSettings)
    , mExcluded(std::move(inExcluded))
    , mCutoff(CutoffOf(inSettings))
    , mTree(*inDirectory.mPath, inDirectory.mIsLink ? Platform::LinkPolicy::kFollow
                                                    : Platform::LinkPolicy::kDoNotFollow)
{
    report.path = *inDirectory.mPath;
    report.maxFileCount = inDirectory.mMaxFileCount;
    report.maxUsedBytes = inDirectory.mMaxUsedBytes;
}

void DirectorySweep::Run(SweepWatch& ioWatch)
{
    report.started = ReportTime();
    List(ioWatch);
    report.listed = ReportTime();
    KeepLimits(ioWatch);
    NoteSpared();
    if (mDirectory.mPriorityBoost)
        Boost(*mDirectory.mPriorityBoost);
    if (mDirectory.mDeleteEmptySubDirectories.value_or(false))
        RemoveEmptyFolders(ioWatch);
    report.ended = ReportTime();
    mTree.Close();
}

void DirectorySweep::List(SweepWatch& ioWatch)
{
    const ExtensionMatcher matcher(mDirectory.mFileExtensionsAllowedToDelete);
    const auto refuse = [this](SweepStep inStep, const std::string& inPath, int inError)
    { Refuse(inStep, inPath, inError); };
    if (const int error = mTree.List({matcher, *mExcluded, ioWatch, refuse}, files))
    {
        report.outcome = SweepOutcome::kUnreadable;
        Refuse(SweepStep::kOpenFolder, mTree.PathOf(ManagedTree::kTop), error);
    }
    std::sort(files.begin(), files.end());
    for (const TreeFile& file : files)
        usedBytes += file.size;
    report.foldersListed = mTree.ListedFolders();
    report.found = {files.size(), usedBytes};
}

void DirectorySweep::KeepLimits(SweepWatch& ioWatch)
{
    const auto deleteBackWhile = [&](const auto& inIsTooMuch, SweepRule inRule)
    {
        const auto remove = [&](const TreeFile& inFile)
        { return Delete(inFile, mDirectory.mFileExtensionsAllowedToDelete, inRule, ioWatch); };
        DeleteBackWhile(inIsTooMuch, remove, mCutoff, ioWatch, files, usedBytes, report.spared);
    };
    if (mDirectory.mAutomaticExpiryDuration)
    {
        const Ticks threshold =
            TicksOf(Shifted(TimeOf(mCutoff), mDirectory.mAutomaticExpiryDuration->invert_sign()));
        deleteBackWhile([&](const TreeFile& inBack) { return inBack.lastUse < threshold; },
                        SweepRule::kAge);
    }
    if (mDirectory.mMaxFileCount)
        deleteBackWhile([&](const TreeFile&) { return files.size() > *mDirectory.mMaxFileCount; },
                        SweepRule::kCount);
    if (mDirectory.mMaxUsedBytes)
        deleteBackWhile([&](const TreeFile&) { return usedBytes > *mDirectory.mMaxUsedBytes; },
                        SweepRule::kBytes);
}

/// The limits ask for the files at the back, so the longer reach has them all.
void DirectorySweep::NoteSpared()
{
    SweepAmount byCount;
    const std::uint64_t tooMany =
        mDirectory.mMaxFileCount ? Beyond(files.size(), *mDirectory.mMaxFileCount) : 0;
    for (std::uint64_t i = 1; i <= tooMany; ++i)
        byCount = {i, byCount.bytes + files[files.size() - i].size};
    SweepAmount byBytes;
    if (mDirectory.mMaxUsedBytes)
        byBytes = SparedBeyond(files, usedBytes, *mDirectory.mMaxUsedBytes);
    const SweepAmount& more = byCount.files > byBytes.files ? byCount : byBytes;
    report.spared = {report.spared.files + more.files, report.spared.bytes + more.bytes};
}

/// A boost back in time takes no file out of its grace period. The order stays.
void DirectorySweep::Boost(const time_duration& inBoost)
{
    for (TreeFile& file : files)
    {
        const Ticks boosted = TicksOf(Shifted(TimeOf(file.lastUse), inBoost));
        if (file.lastUse < mCutoff || file.lastUse < boosted)
            file.lastUse = boosted;
    }
}

/// The last barrier stands here too: whatever was listed, only what is claimed goes.
Removal DirectorySweep::Delete(const TreeFile& inFile, const Extensions& inExtensions,
                               SweepRule inRule, SweepWatch& ioWatch)
{
    AssertNotEmpty(inExtensions, kSourcePath, __PRETTY_FUNCTION__, __LINE__);
    int error = 0;
    Removal removal = Removal::kRefused;
    if (MatchExtension(qelcore::utility::FileNameToUTF16(inFile.name), inExtensions))
        removal = mTree.RemoveFile(inFile, mCutoff, !mSettings.dryRun, error);
    ++ioWatch.steps;
    SweepAmount& deleted = report.deleted[static_cast<std::size_t>(inRule)];
    switch (removal)
    {
    case Removal::kDone:
        deleted = {deleted.files + 1, deleted.bytes + inFile.size};
        ++ioWatch.counters->filesDeleted;
        ioWatch.counters->bytesDeleted += inFile.size;
        if (mSettings.nameFiles)
            report.files.push_back({qelcore::utility::FileNameToUTF16(mTree.PathOf(inFile)),
                                    inFile.size, TimeOf(inFile.lastUse), inRule});
        break;
    case Removal::kGone:
        report.gone = {report.gone.files + 1, report.gone.bytes + inFile.size};
        break;
    case Removal::kYoung:
        break;
    case Removal::kRefused:
        Refuse(SweepStep::kDeleteFile, mTree.PathOf(inFile), error);
        break;
    }
    return removal;
}

void DirectorySweep::RemoveEmptyFolders(SweepWatch& ioWatch)
{
    std::vector<std::pair<Ticks, std::uint32_t>> folders;
    for (const std::uint32_t folder : mTree.EmptyFolders())
    {
        if (ioWatch.ShouldStop())
            return;
        folders.emplace_back(mTree.LastUseOf(folder), folder);
        ++ioWatch.steps;
    }
    std::sort(folders.begin(), folders.end(),
              [](const auto& a, const auto& b) { return a.first > b.first; }); // the newest first
    for (const auto& folder : folders)
    {
        if (ioWatch.ShouldStop())
            return;
        RemoveFolder(folder.second);
        ++ioWatch.steps;
    }
}

void DirectorySweep::RemoveFolder(std::uint32_t inFolder)
{
    const int error = mTree.RemoveFolder(inFolder, !mSettings.dryRun);
    const Path path = qelcore::utility::FileNameToUTF16(mTree.PathOf(inFolder));
    if (error != 0)
    {
        TraceRefusedFolder(path);
        return Refuse(SweepStep::kRemoveFolder, mTree.PathOf(inFolder), error);
    }
    ++report.foldersRemoved;
    if (mSettings.nameFiles)
        report.folders.push_back(path);
}

void DirectorySweep::Refuse(SweepStep inStep, const std::string& inPath, int inError)
{
    SweepRefusals& refused = report.refused;
    ++refused.count;
    ++refused.countByError[inError];
    if (refused.first.size() < kRefusalsByName)
        refused.first.push_back({inStep, qelcore::utility::FileNameToUTF16(inPath), inError,
                                 inError != 0 ? std::generic_category().message(inError)
                                              : "its extension is not claimed"});
}

void DirectorySweep::Finish()
{
    SweepAmount left = report.found;
    for (const SweepAmount& deleted : report.deleted)
        left = {left.files - deleted.files, left.bytes - deleted.bytes};
    report.left = {left.files - report.gone.files, left.bytes - report.gone.bytes};
    if (report.maxFileCount)
        report.filesOverLimit = Beyond(report.left.files, *report.maxFileCount);
    if (report.maxUsedBytes)
        report.bytesOverLimit = Beyond(report.left.bytes, *report.maxUsedBytes);
}

} // namespace DiskCacheManager
} // namespace RK
