#include "WatchCommand.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <limits>

#include "CommandLine.h"
#include "FolderWatches.h"
#include "Stopwatch.h"

namespace RKHost
{

namespace
{

constexpr const char* kCommand = "rkhost watch";

constexpr const char* kHelp =
    R"(rkhost watch [OPTION...] PATH...   prints a line for each change of a folder, as it is told

  --recursive    all below each PATH as well; told about once a second
  --volumes      volumes that come and go; then no PATH is needed
  --count N      ends after N lines
  --seconds S    ends after S seconds

A line is the time of day, what is told, and the PATH as it was given:
  changed        entries were added, removed or renamed, or the folder itself was; with --recursive
                 rights, owners and times count as well. Several changes may make one line.
  look-now       the folder's volume gives no events: look at it again
  volumes        volumes came or went
Without --count and --seconds it ends by an interruption, with exit code 130.
)";

struct WatchOptions
{
    std::vector<std::string> mPaths;
    bool mRecursive = false;
    bool mVolumes = false;
    int mCount = 0;      ///< 0: no limit
    double mSeconds = 0; ///< 0: no limit
};

WatchOptions Parse(const std::vector<std::string>& inArguments)
{
    constexpr double kMostSeconds = 1e7;
    WatchOptions options;
    options.mPaths = ParseArguments(
        kCommand, "watch",
        {{"--recursive", false, [&](const Given&) { options.mRecursive = true; }},
         {"--volumes", false, [&](const Given&) { options.mVolumes = true; }},
         {"--count", true, [&](const Given& g) { options.mCount = g.Count(1); }},
         {"--seconds", true, [&](const Given& g) { options.mSeconds = g.Amount(kMostSeconds); }}},
        inArguments);
    if (options.mPaths.empty() && !options.mVolumes)
        Refuse(kCommand, "watch wants the path of a folder, or --volumes");
    return options;
}

// The monitor itself is silent about what it cannot watch.
void RequireFolder(const std::string& inPath)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(inPath, error);
    if (std::filesystem::is_directory(status))
        return;
    const bool isThere = status.type() != std::filesystem::file_type::not_found && !error;
    throw HostError(kExit_Failure,
                    inPath + (isThere ? ": is no folder" : ": there is no such folder"));
}

/// "14:05:09.250", local.
std::string TimeOfDay()
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm local = {};
    localtime_r(&seconds, &local);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(milliseconds.count() % 1000));
    return text;
}

const char* NameOf(FolderWatches::What inWhat)
{
    switch (inWhat)
    {
    case FolderWatches::What::kChanged:
        return "changed ";
    case FolderWatches::What::kLookNow:
        return "look-now";
    default:
        return "volumes ";
    }
}

std::string Line(FolderWatches::What inWhat, const std::string& inPath)
{
    std::string line = TimeOfDay() + "  " + NameOf(inWhat);
    if (!inPath.empty())
        line += "  " + inPath;
    else
        line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

std::uint64_t EndOf(const WatchOptions& inOptions)
{
    if (inOptions.mSeconds == 0)
        return std::numeric_limits<std::uint64_t>::max();
    return NowInNanoseconds() + static_cast<std::uint64_t>(inOptions.mSeconds * 1e9);
}

} // namespace

ExitCode RunWatch(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    if (AsksForHelp(inArguments))
    {
        std::cout << kHelp;
        return kExit_OK;
    }
    const WatchOptions options = Parse(inArguments);
    for (const std::string& path : options.mPaths)
        RequireFolder(path);

    int lines = 0;
    const auto isEnough = [&] { return options.mCount != 0 && lines >= options.mCount; };
    FolderWatches watches(
        [&](FolderWatches::What inWhat, const std::string& inPath)
        {
            if (isEnough())
                return;
            ++lines;
            std::cout << Line(inWhat, inPath) << std::flush;
        });
    for (const std::string& path : options.mPaths)
        watches.Add(path, options.mRecursive);
    if (options.mVolumes)
        watches.AddVolumes();

    const std::uint64_t end = EndOf(options);
    while (!isEnough() && NowInNanoseconds() < end)
    {
        if (options.mSeconds == 0)
            ioLoop.WaitAndRun();
        else
            ioLoop.WaitAndRunUntil(end);
        if (ioLoop.IsInterrupted())
            throw Interrupted();
    }
    return kExit_OK;
}

} // namespace RKHost
