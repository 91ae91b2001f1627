// rkhost: plays sequences of stills through the whole of RiverKit. Start reading at Playback.cpp,
// then Player.cpp.
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <RiverKit/RKInitializer.h>

#include "BalanceCommand.h"
#include "CacheCommand.h"
#include "ConsoleCommand.h"
#include "ConvertCommand.h"
#include "CurveCommand.h"
#include "EventLoop.h"
#include "FilePool.h"
#include "HostError.h"
#include "InfoCommand.h"
#include "MemorySettings.h"
#include "MonitorCommand.h"
#include "Options.h"
#include "PlayCommand.h"
#include "Player.h"
#include "PluginsCommand.h"
#include "VRCommand.h"
#include "VolumesCommand.h"
#include "WatchCommand.h"

namespace
{

using namespace RKHost;

ExitCode RunWithLibrary(const Options& inOptions)
{
    if (inOptions.mWord == Word::kConsole)
    {
        // The console leaves Ctrl-C as it is: it may wait for input, and has nothing to tidy up.
        const RK::Initializer library;
        return RunConsole(inOptions);
    }
    if (inOptions.mWord == Word::kPlugins && IsPluginChild(inOptions.mLines))
        return RunPluginChild(inOptions.mLines);
    EventLoop loop;
    MemorySettings::NameSuite(inOptions);
    const RK::Initializer library;
    AdoptSystemFileLimits();
    switch (inOptions.mWord)
    {
    case Word::kPlay:
        return RunPlay(inOptions, loop);
    case Word::kMonitor:
        return RunMonitor(inOptions, loop);
    case Word::kBalance:
        return RunBalance(inOptions, loop);
    case Word::kCache:
        return RunCache(inOptions.mLines, loop);
    case Word::kConvert:
        return RunConvert(inOptions.mLines);
    case Word::kVR:
        return RunVR(inOptions.mLines);
    case Word::kCurve:
        return RunCurve(inOptions.mLines);
    case Word::kWatch:
        return RunWatch(inOptions.mLines, loop);
    case Word::kVolumes:
        return RunVolumes(inOptions.mLines);
    case Word::kPlugins:
        return RunPlugins(inOptions.mLines, loop);
    default:
        return RunInfo();
    }
}

ExitCode Run(const Options& inOptions)
{
    switch (inOptions.mWord)
    {
    case Word::kHelp:
        std::fputs(HelpText(), stdout);
        return kExit_OK;
    case Word::kVersion:
        std::printf("rkhost %s\n", RKHOST_VERSION);
        return kExit_OK;
    default:
        return RunWithLibrary(inOptions);
    }
}

// What could not be written was not told, so it is a failure too.
ExitCode CheckOutput(ExitCode inCode)
{
    std::cout.flush();
    const bool written = std::cout.good() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!written)
        std::cerr << "rkhost: standard output cannot be written\n";
    return written || inCode != kExit_OK ? inCode : kExit_Failure;
}

// A standard stream that is closed must not become the number of a file that is opened later. What takes
// its place fails as a closed one does.
void OccupyClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int inCount, char** inArguments)
{
    OccupyClosedStreams();
    try
    {
        const std::vector<std::string> arguments(inArguments + 1, inArguments + inCount);
        return CheckOutput(Run(ParseOptions(arguments)));
    }
    catch (const Interrupted&)
    {
        std::cerr << "rkhost: interrupted\n";
        return kExit_Interrupted;
    }
    catch (const HostError& error)
    {
        std::cerr << "rkhost: " << error.what() << "\n";
        return error.Code();
    }
    catch (const std::exception& error)
    {
        std::cerr << "rkhost: " << error.what() << "\n";
        return kExit_Failure;
    }
}
