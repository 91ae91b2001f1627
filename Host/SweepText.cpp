#include "SweepText.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ostream>

#include "Text.h"

namespace RKHost
{

namespace
{

using boost::posix_time::ptime;
using RK::DiskCacheManager::DirectorySweepReport;
using RK::DiskCacheManager::kSweepRuleCount;
using RK::DiskCacheManager::SweepAmount;
using RK::DiskCacheManager::SweepOutcome;
using RK::DiskCacheManager::SweepProgress;
using RK::DiskCacheManager::SweepRefusal;
using RK::DiskCacheManager::SweepRefusals;
using RK::DiskCacheManager::SweepReport;
using RK::DiskCacheManager::SweepRule;
using RK::DiskCacheManager::SweepStep;
using RK::DiskCacheManager::SweptFile;
using RK::DiskCacheManager::VolumeSweepReport;

constexpr std::size_t kNameColumns = 22;

const char* NameOf(SweepRule inRule)
{
    switch (inRule)
    {
    case SweepRule::kAge:
        return "age";
    case SweepRule::kCount:
        return "count";
    case SweepRule::kBytes:
        return "bytes";
    default:
        return "volume";
    }
}

const char* NameOf(SweepStep inStep)
{
    switch (inStep)
    {
    case SweepStep::kAskVolume:
        return "ask the volume of";
    case SweepStep::kOpenFolder:
        return "open folder";
    case SweepStep::kListFolder:
        return "list folder";
    case SweepStep::kLookAtEntry:
        return "look at";
    case SweepStep::kDeleteFile:
        return "delete";
    default:
        return "remove folder";
    }
}

const char* NameOf(SweepOutcome inOutcome)
{
    switch (inOutcome)
    {
    case SweepOutcome::kUnreadable:
        return "could not be opened";
    case SweepOutcome::kNoAnswer:
        return "the volume does not answer";
    case SweepOutcome::kStopped:
        return "stopped before its end";
    default:
        return "";
    }
}

/// Names may hold any bytes, and a terminal obeys some of them.
std::string PathText(const qelcore::UTF16String& inPath)
{
    std::string text;
    for (const char byte : FromLibraryPath(inPath))
    {
        char escaped[8];
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x20 && code != 0x7F)
        {
            text += byte;
            continue;
        }
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(code));
        text += escaped;
    }
    return text;
}

std::string Counted(std::uint64_t inCount, const std::string& inThing)
{
    return std::to_string(inCount) + " " + inThing + (inCount == 1 ? "" : "s");
}

std::string Text(const SweepAmount& inAmount)
{
    return Counted(inAmount.files, "file") + ", " + MemoryText(inAmount.bytes);
}

bool IsSomething(const SweepAmount& inAmount)
{
    return inAmount.files != 0 || inAmount.bytes != 0;
}

std::string Row(std::string inName, const std::string& inText)
{
    inName.resize(std::max(kNameColumns, inName.size() + 1), ' ');
    return "  " + inName + inText + "\n";
}

std::string Seconds(const ptime& inFrom, const ptime& inTo)
{
    if (inFrom.is_special() || inTo.is_special())
        return "?";
    const auto milliseconds = (inTo - inFrom).total_milliseconds();
    return NumberText(static_cast<double>(milliseconds) / 1000, 3) + " s";
}

/// "2026-11-21 18:30:00", in UTC.
std::string TimeText(const ptime& inTime)
{
    if (inTime.is_special())
        return "at no time";
    const auto date = inTime.date().year_month_day();
    const auto day = inTime.time_of_day();
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", static_cast<int>(date.year),
                  static_cast<int>(date.month), static_cast<int>(date.day),
                  static_cast<int>(day.hours()), static_cast<int>(day.minutes()),
                  static_cast<int>(day.seconds()));
    return text;
}

std::string RefusalsText(const SweepRefusals& inRefusals)
{
    if (inRefusals.count == 0)
        return std::string();
    std::string text = Row("refused", Counted(inRefusals.count, "time"));
    for (const SweepRefusal& refusal : inRefusals.first)
        text += Row("", std::string(NameOf(refusal.step)) + " " + PathText(refusal.path) + ": " +
                            refusal.reason);
    if (inRefusals.count > inRefusals.first.size())
        text +=
            Row("", "and " + std::to_string(inRefusals.count - inRefusals.first.size()) + " more");
    return text;
}

std::string LimitText(const std::string& inName, std::uint64_t inOver,
                      const std::string& inOverText, const std::string& inLimit)
{
    return Row(inName, "at most " + inLimit +
                           (inOver == 0 ? ": kept" : ": still " + inOverText + " over it"));
}

std::string LimitsText(const DirectorySweepReport& inFolder)
{
    std::string text;
    if (inFolder.maxFileCount)
        text += LimitText("limit of files", inFolder.filesOverLimit,
                          std::to_string(inFolder.filesOverLimit),
                          std::to_string(*inFolder.maxFileCount));
    if (inFolder.maxUsedBytes)
        text += LimitText("limit of bytes", inFolder.bytesOverLimit,
                          MemoryText(inFolder.bytesOverLimit), MemoryText(*inFolder.maxUsedBytes));
    return text;
}

std::string DeletedText(const DirectorySweepReport& inFolder, const char* inVerb)
{
    std::string text;
    for (std::size_t i = 0; i < kSweepRuleCount; ++i)
    {
        if (IsSomething(inFolder.deleted[i]))
            text += Row(std::string(inVerb) + " by " + NameOf(static_cast<SweepRule>(i)),
                        Text(inFolder.deleted[i]));
    }
    if (text.empty())
        text = Row(inVerb, "nothing");
    if (inFolder.foldersRemoved != 0)
        text += Row(inVerb, Counted(inFolder.foldersRemoved, "empty folder"));
    return text;
}

std::string FolderText(const DirectorySweepReport& inFolder, bool inDryRun)
{
    std::string text = PathText(inFolder.path) + "\n";
    if (inFolder.outcome != SweepOutcome::kDone)
        text += Row("not done", NameOf(inFolder.outcome));
    text +=
        Row("found", Text(inFolder.found) + ", in " + Counted(inFolder.foldersListed, "folder"));
    text += DeletedText(inFolder, inDryRun ? "would delete" : "deleted");
    if (IsSomething(inFolder.gone))
        text += Row("had gone already", Text(inFolder.gone));
    if (IsSomething(inFolder.spared))
        text += Row("spared", Text(inFolder.spared) + ": used in the last 15 minutes");
    text += RefusalsText(inFolder.refused);
    text += Row(inDryRun ? "would leave" : "left", Text(inFolder.left));
    text += LimitsText(inFolder);
    return text +
           Row("took", Seconds(inFolder.started, inFolder.listed) + " to list, " +
                           Seconds(inFolder.listed, inFolder.ended) + " to decide and delete");
}

std::string VolumeText(const VolumeSweepReport& inVolume)
{
    std::string text = "volume of " + PathText(inVolume.path) + "\n";
    if (inVolume.outcome != SweepOutcome::kDone)
        return text + Row("not done", NameOf(inVolume.outcome));
    text += Row("free", MemoryText(inVolume.freeBytes) + " of " + MemoryText(inVolume.sizeBytes));
    text += LimitText("limit of bytes", inVolume.bytesOverLimit,
                      MemoryText(inVolume.bytesOverLimit), MemoryText(inVolume.allowedBytes));
    if (IsSomething(inVolume.spared))
        text += Row("spared", Text(inVolume.spared) + ": used in the last 15 minutes");
    return text;
}

/// A folder that holds files of others is meant to stay.
bool IsFailure(int inError)
{
    return inError != ENOTEMPTY;
}

} // namespace

std::string SweepReportText(const SweepReport& inReport)
{
    std::string text = std::string(inReport.dryRun ? "dry run" : "sweep") + " of " +
                       TimeText(inReport.started) +
                       " UTC: " + Seconds(inReport.started, inReport.ended) +
                       (inReport.complete ? "\n" : ", stopped before its end\n");
    for (const DirectorySweepReport& folder : inReport.directories)
        text += FolderText(folder, inReport.dryRun);
    for (const VolumeSweepReport& volume : inReport.volumes)
        text += VolumeText(volume);
    return text;
}

void PrintSweptNames(const SweepReport& inReport, std::ostream& ioOutput)
{
    const std::string verb = inReport.dryRun ? "would delete" : "deleted";
    for (const DirectorySweepReport& folder : inReport.directories)
    {
        for (const SweptFile& file : folder.files)
            ioOutput << verb << " by " << NameOf(file.rule) << ", " << MemoryText(file.bytes)
                     << ", last used " << TimeText(file.lastUse) << ": " << PathText(file.path)
                     << "\n";
        for (const auto& path : folder.folders)
            ioOutput << verb << " the empty folder " << PathText(path) << "\n";
    }
}

std::string SweepProgressText(const SweepProgress& inProgress, double inSeconds)
{
    return Counted(inProgress.filesListed, "file") + " in " +
           Counted(inProgress.foldersListed, "folder") + " found, " +
           std::to_string(inProgress.deleted.files) + " deleted (" +
           MemoryText(inProgress.deleted.bytes) + "), " + NumberText(inSeconds, 1) + " s";
}

bool HasFailures(const SweepReport& inReport)
{
    bool failed = !inReport.complete;
    for (const DirectorySweepReport& folder : inReport.directories)
    {
        failed = failed || folder.outcome != SweepOutcome::kDone;
        for (const auto& [error, count] : folder.refused.countByError)
            failed = failed || (IsFailure(error) && count != 0);
    }
    for (const VolumeSweepReport& volume : inReport.volumes)
        failed = failed || volume.outcome != SweepOutcome::kDone;
    return failed;
}

} // namespace RKHost
