#include "Options.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "HostError.h"

namespace RKHost
{

namespace
{

[[noreturn]] void Refuse(const std::string& inText)
{
    throw HostError(kExit_Usage, inText + " (rkhost --help tells what there is)");
}

// What an option was given, and how it is called when it makes no sense.
struct Given
{
    std::string mName;
    std::string mValue;

    int Count(int inLeast) const
    {
        int value = 0;
        if (!Read(value) || value < inLeast)
            Refuse(mName + " takes a whole number from " + std::to_string(inLeast) + " up, not '" +
                   mValue + "'");
        return value;
    }

    double Amount(double inMost) const
    {
        double value = 0;
        if (!Read(value) || !(value > 0 && value <= inMost))
            Refuse(mName + " takes a number above 0, not '" + mValue + "'");
        return value;
    }

    std::uint64_t Bytes() const
    {
        std::uint64_t value = 0;
        if (!ParseByteCount(mValue, value))
            Refuse(mName + " takes a number of bytes such as 512M or 2G, not '" + mValue + "'");
        return value;
    }

    std::string Text(const char* inWhat) const
    {
        if (mValue.empty())
            Refuse(mName + " wants " + inWhat);
        return mValue;
    }

private:
    template <class T>
    bool Read(T& outValue) const
    {
        const char* end = mValue.data() + mValue.size();
        const auto [stop, error] = std::from_chars(mValue.data(), end, outValue);
        return error == std::errc() && stop == end;
    }
};

constexpr double kMostSeconds = 1e7; // some months; far below what a poll's milliseconds can hold
constexpr double kMostRate = 1e6;

constexpr unsigned BitOf(Word inWord)
{
    return 1u << static_cast<unsigned>(inWord);
}

constexpr unsigned kPlays = BitOf(Word::kPlay) | BitOf(Word::kMonitor);
constexpr unsigned kAll = kPlays | BitOf(Word::kBalance);

struct OptionRow
{
    const char* mName;
    unsigned mWords;
    bool mHasValue;
    void (*mSet)(const Given& inGiven, Options& ioOptions);
};

constexpr OptionRow kOptionRows[] = {
    {"--still", kAll, false, [](const Given&, Options& o) { o.mStill = true; }},
    {"--limit", kAll, true, [](const Given& g, Options& o) { o.mLimit = g.Count(1); }},
    {"--rate", kAll, true,
     [](const Given& g, Options& o) { o.mFramesPerSecond = g.Amount(kMostRate); }},
    {"--budget", kAll, true,
     [](const Given& g, Options& o)
     {
         o.mBudgetBytes = g.Bytes();
         o.mBalanced = true;
     }},
    {"--seconds", kAll, true,
     [](const Given& g, Options& o) { o.mSeconds = g.Amount(kMostSeconds); }},
    {"--passes", kPlays, true, [](const Given& g, Options& o) { o.mPasses = g.Count(1); }},
    {"--every-byte", kPlays, false, [](const Given&, Options& o) { o.mEveryByte = true; }},
    {"--reserve", kPlays, true, [](const Given& g, Options& o) { o.mReserveBytes = g.Bytes(); }},
    {"--high-throughput", kPlays, false,
     [](const Given&, Options& o) { o.mHighThroughput = true; }},
    {"--priority", kPlays, true,
     [](const Given& g, Options& o)
     {
         o.mPriority = g.Count(0);
         o.mBalanced = true;
     }},
    {"--suite", kPlays, true,
     [](const Given& g, Options& o)
     {
         o.mSuite = g.Text("the name of a suite");
         o.mBalanced = true;
     }},
    {"--no-monitor", kPlays, false, [](const Given&, Options& o) { o.mMonitored = false; }},
    {"--contact-sheet", BitOf(Word::kPlay), true,
     [](const Given& g, Options& o) { o.mContactSheet = g.Text("the name of a file"); }},
    {"--pid", BitOf(Word::kMonitor), true,
     [](const Given& g, Options& o) { o.mProcess = g.Count(1); }},
    {"--interval", BitOf(Word::kMonitor), true,
     [](const Given& g, Options& o) { o.mIntervalSeconds = g.Amount(kMostSeconds); }},
    {"--count", BitOf(Word::kMonitor), true,
     [](const Given& g, Options& o) { o.mCount = g.Count(1); }},
    {"--players", BitOf(Word::kBalance), true,
     [](const Given& g, Options& o) { o.mPlayers = g.Count(1); }},
};

struct WordRow
{
    const char* mName;
    Word mWord;
};

constexpr WordRow kWordRows[] = {
    {"play", Word::kPlay},       {"monitor", Word::kMonitor}, {"balance", Word::kBalance},
    {"console", Word::kConsole}, {"info", Word::kInfo},       {"--version", Word::kVersion},
};

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

private:
    const std::vector<std::string>& mArguments;
    std::size_t mAt = 0;
};

Word WordOf(const std::string& inName)
{
    for (const WordRow& row : kWordRows)
        if (inName == row.mName)
            return row.mWord;
    Refuse("unknown command '" + inName + "'");
}

const char* NameOf(Word inWord)
{
    for (const WordRow& row : kWordRows)
        if (inWord == row.mWord)
            return row.mName;
    return "rkhost";
}

// An option's value stands behind "=" or is the next argument.
void ParseOption(Arguments& ioArguments, const std::string& inArgument, Options& ioOptions)
{
    const std::size_t equals = inArgument.find('=');
    Given given{inArgument.substr(0, equals), std::string()};
    const auto* row =
        std::find_if(std::begin(kOptionRows), std::end(kOptionRows),
                     [&](const OptionRow& inRow) { return given.mName == inRow.mName; });
    if (row == std::end(kOptionRows))
        Refuse("unknown option " + given.mName);
    if ((row->mWords & BitOf(ioOptions.mWord)) == 0)
        Refuse(std::string(NameOf(ioOptions.mWord)) + " has no option " + given.mName);
    if (equals != std::string::npos)
        given.mValue = inArgument.substr(equals + 1);
    else if (row->mHasValue && !ioArguments.Next(given.mValue))
        Refuse(given.mName + " wants a value");
    if (!row->mHasValue && equals != std::string::npos)
        Refuse(given.mName + " takes no value");
    row->mSet(given, ioOptions);
}

[[noreturn]] void RefuseSecondPath(const std::string& inWord, const std::string& inPath)
{
    Refuse(inWord + " takes one path, and '" + inPath + "' is a second one");
}

void ParsePlayed(Arguments& ioArguments, Options& ioOptions)
{
    const std::string word = NameOf(ioOptions.mWord);
    bool onlyPaths = false;
    bool found = false;
    for (std::string argument; ioArguments.Next(argument);)
    {
        if (!onlyPaths && argument == "--")
            onlyPaths = true;
        else if (!onlyPaths && argument.size() > 1 && argument[0] == '-')
            ParseOption(ioArguments, argument, ioOptions);
        else if (found)
            RefuseSecondPath(word, argument);
        else
        {
            ioOptions.mPath = argument;
            found = true;
        }
    }
    if (ioOptions.mProcess != 0 && found)
        Refuse("--pid looks at another process, which has '" + ioOptions.mPath +
               "' or something else to play");
    if (ioOptions.mProcess == 0 && ioOptions.mPath.empty())
        Refuse(word + " wants the path of one file of a sequence");
}

// A monitor without any of these would play as fast as it can, for as long as it is looked at.
void SetDefaults(Options& ioOptions)
{
    constexpr double kFramesPerSecond = 25;
    constexpr int kColdAndWarm = 2;
    if (ioOptions.mWord == Word::kPlay && ioOptions.mPasses == 0 && ioOptions.mSeconds == 0)
        ioOptions.mPasses = kColdAndWarm;
    if (ioOptions.mWord != Word::kPlay && ioOptions.mFramesPerSecond == 0)
        ioOptions.mFramesPerSecond = kFramesPerSecond;
}

bool AsksForHelp(const std::vector<std::string>& inArguments)
{
    for (const std::string& argument : inArguments)
    {
        if (argument == "--")
            return false;
        if (argument == "--help" || argument == "-h")
            return true;
    }
    return false;
}

} // namespace

bool ParseByteCount(const std::string& inText, std::uint64_t& outBytes)
{
    static constexpr std::string_view kUnits = "KMGT";
    std::uint64_t value = 0;
    const char* end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, value);
    std::string_view unit(stop, static_cast<std::size_t>(end - stop));
    unsigned shift = 0;
    if (!unit.empty())
    {
        const std::size_t power = kUnits.find(unit[0]);
        if (power == std::string_view::npos)
            return false;
        shift = 10 * (static_cast<unsigned>(power) + 1);
        unit.remove_prefix(1);
    }
    const std::uint64_t most = std::numeric_limits<std::int64_t>::max() >> shift;
    if (error != std::errc() || value == 0 || value > most ||
        !(unit.empty() || unit == "B" || unit == "iB"))
        return false;
    outBytes = value << shift;
    return true;
}

Options ParseOptions(const std::vector<std::string>& inArguments)
{
    if (AsksForHelp(inArguments))
        return Options{};
    Options options;
    Arguments arguments(inArguments);
    std::string word;
    if (!arguments.Next(word))
        Refuse("what is to be done?");
    options.mWord = WordOf(word);
    if ((BitOf(options.mWord) & kAll) != 0)
        ParsePlayed(arguments, options);
    std::string rest;
    while (options.mWord == Word::kConsole && arguments.Next(rest))
        options.mLines.push_back(rest);
    if (arguments.Next(rest))
        Refuse(word + " takes no arguments");
    SetDefaults(options);
    return options;
}

const char* HelpText()
{
    return R"(rkhost, the sample application of RiverKit

  rkhost play [OPTION...] PATH      plays a sequence of stills twice: decoded, then from the cache
  rkhost monitor [OPTION...] PATH   plays it again and again, and shows what the cache does
  rkhost monitor --pid PID          shows what the cache of another rkhost does
  rkhost balance [OPTION...] PATH   starts players that share the machine, and shows who gets what
  rkhost console [LINE...]          runs console commands; without arguments from standard input
  rkhost info                       prints the figures of the cache, the machine and the importer
  rkhost --help | --version

PATH is any one file of a numbered sequence of PNG, JPEG, TIFF, DPX or OpenEXR images. Its neighbours
in the folder that differ in the last number of their names only are the other frames. A number that
has no file is an error of that frame alone.

Options of play, monitor and balance:
  --limit N              plays the first N frames only
  --still                plays PATH alone, as a still; needs no number in its name
  --rate N               shows N frames a second; monitor and balance 25, play as many as it can
  --seconds S            begins no pass after S seconds (balance: ends the players)
  --budget BYTES         asks the memory balancer for a grant of BYTES at most, such as 512M or 2G;
                         seven eighths of the grant are the budget of the cache
Options of play and monitor:
  --passes N             plays N times; play twice, monitor until it is interrupted
  --reserve BYTES        takes BYTES out of the budget, as a plug-in would for its own memory
  --high-throughput      drops what was not used for some seconds, and lets the cache grow slowly
  --priority N           counts for more with the balancer the higher N is (1)
  --suite NAME           shares by the balancer with processes that name the same suite
  --every-byte           playing a frame reads each of its bytes. Otherwise, in all passes, it reads
                         8 bytes of every 4096 and the last 8
  --no-monitor           lets no "monitor --pid" look at it
Options of play:
  --contact-sheet FILE   writes a picture (PNG) of up to 24 frames, evenly spaced
Options of monitor:
  --interval S           seconds between two reports (1)
  --count N              ends after N reports
Options of balance:
  --players N            players to start (2)

Each LINE is a command with its arguments, such as "RK.PurgeMediaManager 1000000"; "help" lists them.

Exit code: 0 all went well; 1 something failed, a single frame included, and the rest was done;
2 the command line asks for what rkhost does not do; 130 interrupted.
)";
}

} // namespace RKHost
