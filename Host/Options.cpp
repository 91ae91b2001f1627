#include "Options.h"

#include <charconv>

#include "HostError.h"

namespace RKHost
{

namespace
{

[[noreturn]] void Refuse(const std::string& inText)
{
    throw HostError(kExit_Usage, inText + " (rkhost --help tells what there is)");
}

int ParseLimit(const std::string& inText)
{
    int value = 0;
    const char* end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, value);
    if (error != std::errc() || stop != end || value < 1)
        Refuse("--limit takes a number of frames from 1 up, not '" + inText + "'");
    return value;
}

// Reads an option's value, either behind "=" or as the next argument.
class Arguments
{
public:
    explicit Arguments(const std::vector<std::string>& inArguments)
        : mArguments(inArguments)
    {
    }

    bool Next(std::string& outArgument)
    {
        if (mAt == mArguments.size())
            return false;
        outArgument = mArguments[mAt++];
        return true;
    }

    bool IsOption(const std::string& inArgument, const std::string& inName, std::string& outValue)
    {
        if (inArgument.compare(0, inName.size() + 1, inName + "=") == 0)
        {
            outValue = inArgument.substr(inName.size() + 1);
            return true;
        }
        if (inArgument != inName)
            return false;
        if (!Next(outValue))
            Refuse(inName + " wants a value");
        return true;
    }

private:
    const std::vector<std::string>& mArguments;
    std::size_t mAt = 0;
};

void ParsePlayOption(Arguments& ioArguments, const std::string& inArgument, Options& ioOptions)
{
    std::string value;
    if (inArgument == "--still")
        ioOptions.mStill = true;
    else if (inArgument == "--every-byte")
        ioOptions.mEveryByte = true;
    else if (ioArguments.IsOption(inArgument, "--limit", value))
        ioOptions.mLimit = ParseLimit(value);
    else if (!ioArguments.IsOption(inArgument, "--contact-sheet", ioOptions.mContactSheet))
        Refuse("unknown option " + inArgument);
    else if (ioOptions.mContactSheet.empty())
        Refuse("--contact-sheet wants the name of a file");
}

void ParsePlay(Arguments& ioArguments, Options& ioOptions)
{
    bool onlyPaths = false;
    bool found = false;
    for (std::string argument; ioArguments.Next(argument);)
    {
        if (!onlyPaths && argument == "--")
            onlyPaths = true;
        else if (!onlyPaths && argument.size() > 1 && argument[0] == '-')
            ParsePlayOption(ioArguments, argument, ioOptions);
        else if (found)
            Refuse("play takes one path, and '" + argument + "' is a second one");
        else
        {
            ioOptions.mPath = argument;
            found = true;
        }
    }
    if (ioOptions.mPath.empty())
        Refuse("play wants the path of one file of a sequence");
}

} // namespace

Options ParseOptions(const std::vector<std::string>& inArguments)
{
    for (const std::string& argument : inArguments)
    {
        if (argument == "--")
            break;
        if (argument == "--help" || argument == "-h")
            return Options{};
    }
    Options options;
    Arguments arguments(inArguments);
    std::string word;
    if (!arguments.Next(word))
        Refuse("what is to be done?");
    if (word == "--version")
        options.mWord = Word::kVersion;
    else if (word == "info")
        options.mWord = Word::kInfo;
    else if (word == "play")
        options.mWord = Word::kPlay;
    else if (word == "console")
        options.mWord = Word::kConsole;
    else
        Refuse("unknown command '" + word + "'");

    if (options.mWord == Word::kPlay)
        ParsePlay(arguments, options);
    std::string rest;
    while (options.mWord == Word::kConsole && arguments.Next(rest))
        options.mLines.push_back(rest);
    if (arguments.Next(rest))
        Refuse(word + " takes no arguments");
    return options;
}

const char* HelpText()
{
    return R"(rkhost, the sample application of RiverKit

  rkhost play [OPTION...] PATH   plays a sequence of stills twice: decoded, then from the cache
  rkhost console [LINE...]       runs console commands; without arguments from standard input
  rkhost info                    prints the figures of the cache, the machine and the importer
  rkhost --help | --version

PATH is any one file of a numbered sequence of PNG, JPEG, TIFF, DPX or OpenEXR images. Its neighbours
in the folder that differ in the last number of their names only are the other frames. A number that
has no file is an error of that frame alone.

Options of play:
  --contact-sheet FILE   writes a picture (PNG) of up to 24 frames, evenly spaced
  --limit N              plays the first N frames only
  --still                plays PATH alone, as a still; needs no number in its name
  --every-byte           playing a frame reads each of its bytes. Otherwise, in both passes, it reads
                         8 bytes of every 4096 and the last 8

Each LINE is a command with its arguments, such as "RK.PurgeMediaManager 1000000"; "help" lists them.

Exit code: 0 all went well; 1 something failed, a single frame included, and the rest was done;
2 the command line asks for what rkhost does not do; 130 interrupted.
)";
}

} // namespace RKHost
