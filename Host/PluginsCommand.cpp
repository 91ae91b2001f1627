#include "PluginsCommand.h"

#include <iostream>

#include "CommandLine.h"
#include "PluginChild.h"
#include "PluginScan.h"
#include "Text.h"

namespace RKHost
{

namespace
{

constexpr char kCommand[] = "rkhost plugins scan";
constexpr double kMostSeconds = 86400;

struct ScanOptions
{
    double mLimitSeconds = 10;
    std::string mQuarantine = PluginQuarantine::DefaultPath();
    std::vector<std::string> mPaths;
};

const char* HelpOfScan()
{
    return R"(rkhost plugins scan [OPTION...] DIR...

Tries each "*.plugin" folder and "*.so" file in DIR and below, in a process of its own, then starts the good ones
together in one more. Prints what became of each, the order of start-up with the reason for each place, and the
suites. What crashes, hangs, ends its process or cannot be loaded goes into the quarantine, and is not tried again
until its file has changed.

  --limit SECONDS      how long a plug-in may take (10)
  --quarantine FILE    where the quarantine is kept (rkhost/plugin-quarantine in the user's cache folder)

Exit code: 0 all plug-ins are good and were started; 1 some are not; 2 what is asked for makes no sense.
)";
}

ScanOptions ParseScan(const std::vector<std::string>& inArguments)
{
    ScanOptions options;
    const std::vector<OptionRow> rows = {
        {"--limit", true, [&](const Given& g) { options.mLimitSeconds = g.Amount(kMostSeconds); }},
        {"--quarantine", true,
         [&](const Given& g) { options.mQuarantine = g.Text("the name of a file"); }},
    };
    options.mPaths = ParseArguments(kCommand, "plugins scan", rows, inArguments);
    if (options.mPaths.empty())
        Refuse(kCommand, "plugins scan wants a folder");
    if (options.mQuarantine.empty())
        Refuse(kCommand, "this user has no cache folder: --quarantine FILE says where it is kept");
    return options;
}

ExitCode Scan(const ScanOptions& inOptions, EventLoop& ioLoop)
{
    std::vector<std::string> errors;
    const auto candidates = FindPluginCandidates(inOptions.mPaths, errors);
    for (const std::string& error : errors)
        std::cerr << "rkhost: " << Printable(error) << "\n";
    PluginQuarantine quarantine(inOptions.mQuarantine);
    PluginScan scan(ioLoop, quarantine, inOptions.mLimitSeconds);
    for (const PluginCandidate& candidate : candidates)
        scan.Try(candidate);
    scan.StartTogether();
    quarantine.Save(); // what was let out
    std::vector<std::vector<std::string>> rows = {{"CANDIDATE", "RESULT"}};
    for (const PluginVerdict& verdict : scan.Verdicts())
        rows.push_back({Printable(verdict.mCandidate.mPath), Printable(verdict.mText)});
    std::cout << Columns(rows) << "\n";
    for (const std::string& line : scan.StartLines())
        std::cout << line << "\n";
    return scan.IsAllWell() && errors.empty() ? kExit_OK : kExit_Failure;
}

} // namespace

bool IsPluginChild(const std::vector<std::string>& inArguments)
{
    return inArguments.size() > 1 && inArguments[1] == "--" &&
           (inArguments[0] == "load-one" || inArguments[0] == "start-all");
}

ExitCode RunPluginChild(const std::vector<std::string>& inArguments)
{
    const std::vector<std::string> paths(inArguments.begin() + 2, inArguments.end());
    return inArguments[0] == "load-one" ? RunPluginLoad(paths.at(0)) : RunPluginStart(paths);
}

ExitCode RunPlugins(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    if (inArguments.empty())
        Refuse("rkhost plugins", "what is to be done with plug-ins?");
    const std::vector<std::string> rest(inArguments.begin() + 1, inArguments.end());
    if (AsksForHelp(inArguments))
    {
        std::cout << HelpOfScan();
        return kExit_OK;
    }
    if (inArguments[0] != "scan")
        Refuse("rkhost plugins", "plugins has no verb '" + inArguments[0] + "'");
    return Scan(ParseScan(rest), ioLoop);
}

} // namespace RKHost
