#include "CacheManageCommand.h"

#include <cstdlib>
#include <iostream>
#include <limits>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <RiverKit/RKDiskCacheManager.h>
#include <RiverKit/RKDiskCacheSweepReport.h>

#include "BackgroundSweep.h"
#include "CacheManageOptions.h"
#include "CommandLine.h"
#include "Progress.h"
#include "Stopwatch.h"
#include "SweepText.h"
#include "Text.h"
#include "ZORMessaging/Station.h"
#include "qelcore/DebugDatabase.h"

namespace RKHost
{

namespace
{

using RK::DiskCacheManager::ManagedDirectory;
using RK::DiskCacheManager::ManagedDirectoryPtr;
using RK::DiskCacheManager::ManagedVolume;
using RK::DiskCacheManager::ManagedVolumePtr;
using RK::DiskCacheManager::SweepReport;
using RK::DiskCacheManager::SweepReportPtr;

std::vector<qelcore::UTF16String> Extensions(const CacheManageOptions& inOptions)
{
    std::vector<qelcore::UTF16String> extensions;
    extensions.reserve(inOptions.mExtensions.size());
    for (const std::string& extension : inOptions.mExtensions)
        extensions.push_back(ToLibraryPath(extension));
    return extensions;
}

boost::optional<boost::posix_time::time_duration>
Duration(const boost::optional<std::int64_t>& inSeconds)
{
    if (!inSeconds)
        return boost::none;
    return boost::posix_time::time_duration(boost::posix_time::seconds(*inSeconds));
}

void SetInterval(std::int64_t inMilliseconds)
{
    qelcore::debug::DebugDatabase::Instance().SetEntry("RKDiskCacheManager.DiskSweepInterval",
                                                       std::to_string(inMilliseconds));
}

ManagedDirectoryPtr Manage(const std::string& inFolder, ManagedVolume& ioVolume,
                           const CacheManageOptions& inOptions)
{
    const ManagedDirectoryPtr directory = ManagedDirectory::Create(
        ToLibraryPath(inFolder), Extensions(inOptions), Duration(inOptions.mBoostSeconds));
    if (inOptions.mFreePercent)
        ioVolume.SetFreeSpacePercentage(inOptions.mFreePercent);
    directory->SetAutomaticExpiryDuration(Duration(inOptions.mExpirySeconds));
    directory->SetMaxFileCount(inOptions.mMaxFiles);
    directory->SetMaxUsedBytes(inOptions.mMaxBytes);
    directory->SetDeleteEmptySubDirectories(inOptions.mDeleteEmptyFolders);
    return directory;
}

std::string Limits(const CacheManageOptions& inOptions, const ManagedVolume& inVolume)
{
    std::string text;
    const auto add = [&text](const std::string& inLimit)
    { text += (text.empty() ? "" : ", ") + inLimit; };
    if (inOptions.mExpirySeconds)
        add("unused for " + DurationText(*inOptions.mExpirySeconds));
    if (inOptions.mMaxFiles)
        add(std::to_string(*inOptions.mMaxFiles) + " files");
    if (inOptions.mMaxBytes)
        add(MemoryText(*inOptions.mMaxBytes));
    if (const auto percentage = inVolume.GetFreeSpacePercentage())
        add(NumberText(static_cast<double>(*percentage), 1) + " % of the volume kept free");
    if (inOptions.mBoostSeconds)
        add("younger by " + DurationText(*inOptions.mBoostSeconds) + " for the volume");
    return text;
}

void WriteOut(const std::string& inText)
{
    std::cout << inText << std::flush;
}

// Shows how far a sweep is: on a terminal in one line, elsewhere by a line each five seconds.
class SweepDisplay
{
public:
    explicit SweepDisplay(const BackgroundSweep& inSweep)
        : mSweep(inSweep)
        , mColumns(SizeOfTerminal().mColumns)
    {
    }
    void Tick()
    {
        constexpr double kLineSeconds = 5;
        const std::string text = SweepProgressText(mSweep.Progress(), mStopwatch.Seconds());
        if (mColumns > 1)
            WriteOut(kEraseLine + text.substr(0, static_cast<std::size_t>(mColumns - 1)));
        else if (mStopwatch.Seconds() - mShownAt >= kLineSeconds)
        {
            mShownAt = mStopwatch.Seconds();
            WriteOut(text + "\n");
        }
    }
    void End() const
    {
        if (mColumns > 1)
            WriteOut(kEraseLine);
    }

private:
    static constexpr const char* kEraseLine = "\r\033[K";

    const BackgroundSweep& mSweep;
    const int mColumns;
    const Stopwatch mStopwatch;
    double mShownAt = 0;
};

/// @return null if it was interrupted, and then the manager has stopped.
SweepReportPtr SweepAtOnce(const CacheManageOptions& inOptions, EventLoop& ioLoop)
{
    constexpr double kSecondsBetweenTicks = 0.1;
    BackgroundSweep sweep(inOptions.mDryRun);
    SweepDisplay display(sweep);
    {
        const Ticker ticker(ioLoop, kSecondsBetweenTicks, [&] { display.Tick(); });
        while (!sweep.IsDone() && !ioLoop.IsInterrupted())
            ioLoop.WaitAndRun();
    }
    display.End();
    if (!sweep.IsDone())
        return nullptr;
    const SweepReportPtr report = sweep.Report();
    if (!report)
        throw HostError(kExit_Failure, "the disk cache manager could not sweep");
    return report;
}

void Print(const SweepReport& inReport)
{
    PrintSweptNames(inReport, std::cout);
    WriteOut(SweepReportText(inReport));
}

// Prints the report of each sweep that ends from now on.
class SweepPrinter : public ZOR::Listener
{
public:
    /// @param inPrinted  the end of this one may still be told.
    explicit SweepPrinter(const SweepReportPtr& inPrinted)
        : mPrinted(inPrinted)
    {
        ZOR::StationUtils::AddListener(RK::DiskCacheManager::GetStationID(), this);
    }
    ~SweepPrinter() override
    {
        ZOR::StationUtils::RemoveListener(RK::DiskCacheManager::GetStationID(), this);
    }
    void ListenToMessage(const ZOR::Message&) override
    {
        const SweepReportPtr report = RK::DiskCacheManager::GetLastSweepReport();
        if (!report || report == mPrinted)
            return;
        mPrinted = report;
        WriteOut("\n");
        Print(*report);
    }

private:
    SweepReportPtr mPrinted;
};

} // namespace

ExitCode RunCacheManage(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    const CacheManageOptions options = ParseCacheManage(inArguments);
    const char* home = std::getenv("HOME");
    const std::string folder = FolderToManage(options.mFolder, home != nullptr ? home : "");
    if (options.mOnce) // no other sweep shall come, least of all one that deletes during a dry run
        SetInterval(std::numeric_limits<int>::max());
    else if (options.mIntervalSeconds)
        SetInterval(*options.mIntervalSeconds * 1000);
    const ManagedVolumePtr volume =
        ManagedVolume::Create(ToLibraryPath(folder), Extensions(options));
    const ManagedDirectoryPtr directory = Manage(folder, *volume, options);
    WriteOut("limits: " + Limits(options, *volume) + "\n");
    const SweepReportPtr report = SweepAtOnce(options, ioLoop);
    if (!report && options.mOnce)
        throw Interrupted();
    if (report)
        Print(*report);
    if (options.mOnce)
        return HasFailures(*report) ? kExit_Failure : kExit_OK;
    const SweepPrinter printer(report);
    while (!ioLoop.IsInterrupted())
        ioLoop.WaitAndRun();
    return kExit_OK;
}

} // namespace RKHost
