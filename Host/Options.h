#pragma once

#include <string>
#include <vector>

namespace RKHost
{

enum class Word
{
    kPlay,
    kConsole,
    kInfo,
    kHelp,
    kVersion,
};

struct Options
{
    Word mWord = Word::kHelp;

    // play
    std::string mPath;
    std::string mContactSheet; ///< empty: none
    int mLimit = 0;            ///< frames to play at most; 0: all
    bool mStill = false;       ///< the file alone, not its sequence
    bool mEveryByte = false;   ///< playing a frame reads all of it, not a sample

    // console
    std::vector<std::string> mLines;
};

/// @param inArguments  without the program's name.
/// @throw HostError with kExit_Usage
Options ParseOptions(const std::vector<std::string>& inArguments);

/// What "rkhost --help" prints.
const char* HelpText();

} // namespace RKHost
