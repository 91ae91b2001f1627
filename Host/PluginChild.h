#pragma once

#include <string>
#include <vector>

#include "HostError.h"

namespace RKHost
{

// What "rkhost plugins scan" has child processes do. Both start and stop the library, and tell how far they have
// come by a PluginReport, in lines of a word and fields behind it, with a tab between.

/// Loads the code of one file and unloads it. Reports "plug-ins N", or "none" and perhaps why if it is no
/// plug-in at all, or "failed" and why.
ExitCode RunPluginLoad(const std::string& inPath);

/// Lists all files, and starts their plug-ins. Reports "at N" ahead of whatever concerns plug-ins of the file with
/// that number, "at -" where it is of none, and in the end "row" with a line to print, and "sick N" where a file's
/// plug-in did not start.
ExitCode RunPluginStart(const std::vector<std::string>& inPaths);

/// "'S!Fd'", or the number of what is no four characters.
std::string PluginCodeText(int inCode);

} // namespace RKHost
