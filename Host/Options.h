#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace RKHost
{

enum class Word
{
    kPlay,
    kMonitor,
    kBalance,
    kConsole,
    kCache,
    kConvert,
    kVR,
    kCurve,
    kWatch,
    kVolumes,
    kPlugins,
    kInfo,
    kHelp,
    kVersion,
};

struct Options
{
    Word mWord = Word::kHelp;

    // play, monitor and balance
    std::string mPath;
    int mLimit = 0;                 ///< frames to play at most; 0: all
    bool mStill = false;            ///< the file alone, not its sequence
    double mFramesPerSecond = 0;    ///< 0: as fast as they come
    double mSeconds = 0;            ///< no pass begins after that long; 0: no such limit
    std::uint64_t mBudgetBytes = 0; ///< the most that the balancer shall grant; 0: all there is

    // play and monitor
    int mPasses = 0;                 ///< 0: until something else ends it
    bool mEveryByte = false;         ///< playing a frame reads all of it, not a sample
    std::uint64_t mReserveBytes = 0; ///< taken out of the budget
    bool mHighThroughput = false;
    bool mBalanced = false; ///< the memory balancer is asked for a grant
    int mPriority = 1;      ///< towards the balancer
    std::string mSuite;     ///< who shares with whom; empty: all of rkhost
    bool mMonitored = true; ///< "monitor --pid" may look at this process

    // play
    std::string mContactSheet; ///< empty: none
    int mScrubSeed = 0;        ///< of the order in which frames are asked for; 0: their own
    std::string mAnalysis;     ///< the folder where analyses are kept; empty: none
    bool mWatch = false;       ///< goes on with frames that are added while it plays

    // monitor
    int mProcess = 0;            ///< the process that is looked at; 0: this one, which plays
    double mIntervalSeconds = 1; ///< between two reports
    int mCount = 0;              ///< reports to show; 0: no limit

    // balance
    int mPlayers = 2;

    // console: a line each; cache: the verb and what is meant for it
    std::vector<std::string> mLines;
};

/// @param inArguments  without the program's name.
/// @throw HostError with kExit_Usage
Options ParseOptions(const std::vector<std::string>& inArguments);

/// What "rkhost --help" prints.
const char* HelpText();

} // namespace RKHost
