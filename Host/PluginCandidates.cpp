#include "PluginCandidates.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>

namespace RKHost
{

namespace
{

namespace fs = std::filesystem;

void Add(const struct stat& inStatus, PluginStamp& ioStamp)
{
    const auto seconds = static_cast<std::int64_t>(inStatus.st_mtim.tv_sec);
    const auto nanoseconds = static_cast<std::int64_t>(inStatus.st_mtim.tv_nsec);
    std::tie(ioStamp.mSeconds, ioStamp.mNanoseconds) =
        std::max(std::make_tuple(ioStamp.mSeconds, ioStamp.mNanoseconds),
                 std::make_tuple(seconds, nanoseconds));
    ioStamp.mBytes += static_cast<std::uint64_t>(inStatus.st_size);
    ioStamp.mInode += inStatus.st_ino;
}

bool IsCandidate(const fs::path& inPath, bool inIsFolder)
{
    return inPath.extension() == (inIsFolder ? ".plugin" : ".so");
}

class Finder
{
public:
    explicit Finder(std::vector<std::string>& ioErrors)
        : mErrors(ioErrors)
    {
    }
    void Look(const std::string& inPath)
    {
        std::error_code error;
        const fs::path path = fs::canonical(inPath, error);
        const bool isFolder = !error && fs::is_directory(path, error);
        if (error)
            return Tell(inPath, error);
        if (IsCandidate(path, isFolder))
            return Take(path);
        if (!isFolder)
            mErrors.push_back(inPath + ": is neither a folder nor a plug-in");
        else
            LookInto(path);
    }
    std::vector<PluginCandidate> found;

private:
    void LookInto(const fs::path& inFolder)
    {
        std::error_code error;
        fs::recursive_directory_iterator entry(
            inFolder, fs::directory_options::skip_permission_denied, error);
        while (!error && entry != fs::recursive_directory_iterator())
        {
            std::error_code ignored;
            const bool isFolder = entry->is_directory(ignored);
            const bool isFile = entry->is_regular_file(ignored);
            if ((isFolder || isFile) && IsCandidate(entry->path(), isFolder))
            {
                if (isFolder)
                    entry.disable_recursion_pending();
                Take(fs::canonical(entry->path(), ignored));
            }
            entry.increment(error);
        }
        if (error)
            Tell(inFolder.string(), error);
    }
    void Take(const fs::path& inPath)
    {
        PluginCandidate candidate;
        candidate.mPath = inPath.string();
        if (StampPlugin(candidate.mPath, candidate.mStamp)) // else it has gone meanwhile
            found.push_back(std::move(candidate));
    }
    void Tell(const std::string& inPath, const std::error_code& inError)
    {
        mErrors.push_back(inPath + ": " + inError.message());
    }

    std::vector<std::string>& mErrors;
};

} // namespace

std::vector<PluginCandidate> FindPluginCandidates(const std::vector<std::string>& inPaths,
                                                  std::vector<std::string>& ioErrors)
{
    Finder finder(ioErrors);
    for (const std::string& path : inPaths)
        finder.Look(path);
    std::vector<PluginCandidate>& found = finder.found;
    std::sort(found.begin(), found.end(),
              [](const PluginCandidate& a, const PluginCandidate& b) { return a.mPath < b.mPath; });
    found.erase(std::unique(found.begin(), found.end(),
                            [](const PluginCandidate& a, const PluginCandidate& b)
                            { return a.mPath == b.mPath; }),
                found.end());
    return std::move(finder.found);
}

bool StampPlugin(const std::string& inPath, PluginStamp& outStamp)
{
    outStamp = {};
    struct stat status;
    if (stat(inPath.c_str(), &status) != 0)
        return false;
    if (!S_ISDIR(status.st_mode))
    {
        Add(status, outStamp);
        return true;
    }
    std::error_code error;
    for (fs::recursive_directory_iterator entry(inPath, error), end; !error && entry != end;
         entry.increment(error))
    {
        if (lstat(entry->path().c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
            Add(status, outStamp);
    }
    return true;
}

} // namespace RKHost
