#include "Options.h"

#include "CommandLine.h"

namespace RKHost
{

namespace
{

constexpr double kMostSeconds = 1e7; // some months; far below what a poll's milliseconds can hold
constexpr double kMostRate = 1e6;

constexpr unsigned BitOf(Word inWord)
{
    return 1u << static_cast<unsigned>(inWord);
}

constexpr unsigned kPlays = BitOf(Word::kPlay) | BitOf(Word::kMonitor);
constexpr unsigned kAll = kPlays | BitOf(Word::kBalance);

struct PlayOption
{
    const char* mName;
    unsigned mWords;
    bool mHasValue;
    void (*mSet)(const Given& inGiven, Options& ioOptions);
};

constexpr PlayOption kPlayOptions[] = {
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
    {"--scrub", BitOf(Word::kPlay), true,
     [](const Given& g, Options& o) { o.mScrubSeed = g.Count(1); }},
    {"--analysis", BitOf(Word::kPlay), true,
     [](const Given& g, Options& o) { o.mAnalysis = g.Text("the name of a folder"); }},
    {"--watch", BitOf(Word::kPlay), false, [](const Given&, Options& o) { o.mWatch = true; }},
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
    {"play", Word::kPlay},
    {"monitor", Word::kMonitor},
    {"balance", Word::kBalance},
    {"console", Word::kConsole},
    {"cache", Word::kCache},
    {"convert", Word::kConvert},
    {"vr", Word::kVR},
    {"curve", Word::kCurve},
    {"watch", Word::kWatch},
    {"volumes", Word::kVolumes},
    {"plugins", Word::kPlugins},
    {"info", Word::kInfo},
    {"--version", Word::kVersion},
};

Word WordOf(const std::string& inName)
{
    for (const WordRow& row : kWordRows)
        if (inName == row.mName)
            return row.mWord;
    Refuse("rkhost", "unknown command '" + inName + "'");
}

const char* NameOf(Word inWord)
{
    for (const WordRow& row : kWordRows)
        if (inWord == row.mWord)
            return row.mName;
    return "rkhost";
}

std::vector<OptionRow> OptionsOf(Options& ioOptions)
{
    std::vector<OptionRow> rows;
    for (const PlayOption& option : kPlayOptions)
        if ((option.mWords & BitOf(ioOptions.mWord)) != 0)
            rows.push_back({option.mName, option.mHasValue,
                            [&option, &ioOptions](const Given& g) { option.mSet(g, ioOptions); }});
    return rows;
}

void ParsePlayed(const std::vector<std::string>& inArguments, Options& ioOptions)
{
    const std::string word = NameOf(ioOptions.mWord);
    const auto paths = ParseArguments("rkhost", word, OptionsOf(ioOptions), inArguments);
    if (paths.size() > 1)
        Refuse("rkhost", word + " takes one path, and '" + paths[1] + "' is a second one");
    if (!paths.empty())
        ioOptions.mPath = paths[0];
    if (ioOptions.mProcess != 0 && !paths.empty())
        Refuse("rkhost", "--pid looks at another process, which has '" + ioOptions.mPath +
                             "' or something else to play");
    if (ioOptions.mProcess == 0 && ioOptions.mPath.empty())
        Refuse("rkhost", word + " wants the path of one file of a sequence");
    if (ioOptions.mWatch && (ioOptions.mStill || ioOptions.mScrubSeed != 0 ||
                             ioOptions.mPasses != 0 || !ioOptions.mAnalysis.empty()))
        Refuse("rkhost",
               "--watch plays each frame once, as it comes, so it goes with none of --still, "
               "--scrub, --passes and --analysis");
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

} // namespace

Options ParseOptions(const std::vector<std::string>& inArguments)
{
    Options options;
    const std::string word = inArguments.empty() ? std::string() : inArguments[0];
    if (word != "cache" && word != "convert" && word != "vr" && word != "curve" &&
        word != "watch" && word != "plugins" && AsksForHelp(inArguments))
        return options;
    if (inArguments.empty())
        Refuse("rkhost", "what is to be done?");
    options.mWord = WordOf(word);
    const std::vector<std::string> rest(inArguments.begin() + 1, inArguments.end());
    if ((BitOf(options.mWord) & kAll) != 0)
        ParsePlayed(rest, options);
    else if (options.mWord == Word::kConsole || options.mWord == Word::kCache ||
             options.mWord == Word::kConvert || options.mWord == Word::kVR ||
             options.mWord == Word::kCurve || options.mWord == Word::kWatch ||
             options.mWord == Word::kVolumes || options.mWord == Word::kPlugins)
        options.mLines = rest;
    else if (!rest.empty())
        Refuse("rkhost", word + " takes no arguments");
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
  rkhost cache VERB ...             works with cache folders; "rkhost cache --help" tells how
  rkhost convert KIND VALUE         what a value of the plug-in SDK is for the library, and back
  rkhost vr show|set ...            what a file of VR text says, and changes of it
  rkhost curve [--svg FILE] ...     the ease between two keyframes, as a table and as a picture
  rkhost watch [OPTION...] PATH...  prints the changes of folders as they are told
  rkhost volumes [PATH]             the known volumes, or the one of PATH and how PATH reads on it
  rkhost plugins scan DIR...        tries plug-ins where they can do no harm, and tells how they start
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
  --scrub SEED           asks for frames as somebody who drags the playhead to and fro would: the same
                         one many times, which is decoded once. SEED, from 1, makes the order
  --analysis DIR         analyses each frame (luma, mean colour, thumbnail), and keeps that in a cache
                         folder of at most 1 GiB, from which the next run takes it
  --watch                goes on with frames that are added while it plays, until it is interrupted or
                         --seconds are over. Each is played once nobody has written to it for half a second
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
