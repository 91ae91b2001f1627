#include "ConsoleCommand.h"

#include <iostream>

#include <unistd.h>

#include <RiverKit/RKVolumeUtilities.h>

#include "Text.h"
#include "qelcore/Console.h"
#include "qelcore/UTFStream.h"

namespace RKHost
{

namespace
{

using qelcore::console::CommandRegistry;

std::string Trimmed(const std::string& inLine)
{
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t first = inLine.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return std::string();
    return inLine.substr(first, inLine.find_last_not_of(kBlanks) - first + 1);
}

void ListCommands()
{
    for (const CommandRegistry::Entry& entry : CommandRegistry::List())
        std::cout << FromLibraryText(entry.description) << "\n";
    std::cout << "help - lists the commands\n"
              << "quit - ends the console\n";
}

/// @return false if there is no such command.
bool RunLine(const std::string& inLine)
{
    if (inLine == "help" || inLine == "list")
    {
        ListCommands();
        return true;
    }
    if (inLine.substr(0, inLine.find_first_of(" \t")) == "RK.Volumes")
        RK::VolumeUtilities::InitializeDriveDiscovery(); // or there would be none to list
    qelcore::oUTF16StringStream output;
    const bool found = CommandRegistry::Execute(ToLibraryText(inLine), output);
    if (found)
        std::cout << FromLibraryText(output.str()) << std::flush;
    else
        std::cerr << "rkhost: there is no command '" << inLine.substr(0, inLine.find(' '))
                  << "'; help lists them\n";
    return found;
}

} // namespace

ExitCode RunConsole(const Options& inOptions, std::istream& inInput, const std::string& inPrompt)
{
    bool allFound = true;
    for (const std::string& line : inOptions.mLines)
        allFound = RunLine(Trimmed(line)) && allFound;
    if (!inOptions.mLines.empty())
        return allFound ? kExit_OK : kExit_Failure;

    std::string line;
    while (std::cout << inPrompt << std::flush, std::getline(inInput, line))
    {
        line = Trimmed(line);
        if (line == "quit" || line == "exit")
            break;
        if (!line.empty())
            allFound = RunLine(line) && allFound;
    }
    return allFound ? kExit_OK : kExit_Failure;
}

ExitCode RunConsole(const Options& inOptions)
{
    return RunConsole(inOptions, std::cin, isatty(STDIN_FILENO) != 0 ? "rkhost> " : "");
}

} // namespace RKHost
