#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace RKHost
{

// What tells whether a plug-in is still the one that was tried. Of a bundle it is of all files in it: their sizes
// and inodes summed, and the latest time. So a file that is written, replaced, added or removed shows.
struct PluginStamp
{
    std::uint64_t mBytes = 0;
    std::int64_t mSeconds = 0; ///< of the time of modification
    std::int64_t mNanoseconds = 0;
    std::uint64_t mInode = 0;

    auto Tied() const { return std::tie(mBytes, mSeconds, mNanoseconds, mInode); }
    friend bool operator==(const PluginStamp& a, const PluginStamp& b)
    {
        return a.Tied() == b.Tied();
    }
};

struct PluginCandidate
{
    std::string mPath; ///< absolute, without links
    PluginStamp mStamp;
};

/// What may be plug-ins: "*.plugin" folders and "*.so" files, in the folders that are named and all below them;
/// or these themselves. Each once, sorted by path. Links to folders are not followed, except those named.
/// @param ioErrors  a line for each thing that cannot be looked at.
std::vector<PluginCandidate> FindPluginCandidates(const std::vector<std::string>& inPaths,
                                                  std::vector<std::string>& ioErrors);

/// @return false if it is not there.
bool StampPlugin(const std::string& inPath, PluginStamp& outStamp);

} // namespace RKHost
