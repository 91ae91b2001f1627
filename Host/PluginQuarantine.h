#pragma once

#include <map>
#include <string>

#include "PluginCandidates.h"

namespace RKHost
{

// The plug-ins that did harm when they were tried, and why, in a file that outlives the process. Each is known by
// its path and its stamp: once its file has changed it is given another chance.
//
// File     Text. A line of heading, then one for each plug-in: bytes, seconds, nanoseconds, inode, path and reason,
//          with a tab between; path and reason as Printable() has them. Lines that are not so are left out.
class PluginQuarantine
{
public:
    /// @param inPath  of the file, which need not be there.
    /// @throw HostError if it cannot be read.
    explicit PluginQuarantine(const std::string& inPath);

    /// @return the reason; null if it is not in, or has changed since, in which case it is out from now on.
    const std::string* ReasonFor(const PluginCandidate& inCandidate);
    /// Whether ReasonFor() let it out, since it has changed.
    bool WasLifted(const std::string& inPath) const { return mLifted.count(inPath) != 0; }
    void Add(const PluginCandidate& inCandidate, const std::string& inReason);
    /// Replaces the file, whole, if there is anything new. Plug-ins whose files have gone are left out.
    /// @throw HostError if it cannot be written, and then it is as it was.
    void Save();

    /// In the user's cache folder; empty for a user who has no home.
    static std::string DefaultPath();

private:
    struct Entry
    {
        PluginStamp mStamp;
        std::string mReason;
    };
    void Parse(const std::string& inText);
    void ParseLine(const std::string& inLine);

    const std::string mPath;
    std::map<std::string, Entry> mEntries; ///< by path
    std::map<std::string, bool> mLifted;
    bool mIsChanged = false;
};

} // namespace RKHost
