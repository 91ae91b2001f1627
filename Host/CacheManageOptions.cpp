#include "CacheManageOptions.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "CommandLine.h"
#include "HostError.h"

namespace RKHost
{

namespace
{

constexpr char kCommand[] = "rkhost cache manage";

void CheckExtension(const Given& inGiven, const std::string& inExtension)
{
    const auto refuse = [&](const std::string& inWhy)
    { Refuse(kCommand, inGiven.mName + ": '" + inExtension + "' " + inWhy); };
    if (inExtension.empty() || inExtension[0] != '.')
        refuse("has no dot in front, as .tmp has");
    if (inExtension.size() == 1)
        refuse("has nothing behind its dot");
    if (inExtension.find('.', 1) != std::string::npos)
        refuse("has two dots, and an extension is what begins with the last one");
    if (inExtension.find('/') != std::string::npos)
        refuse("is no extension");
}

std::vector<std::string> Extensions(const Given& inGiven)
{
    const std::string text = inGiven.Text("the extensions that may be deleted, such as .a,.b");
    std::vector<std::string> extensions;
    for (std::size_t at = 0; at <= text.size();)
    {
        const std::size_t comma = std::min(text.find(',', at), text.size());
        extensions.push_back(text.substr(at, comma - at));
        CheckExtension(inGiven, extensions.back());
        at = comma + 1;
    }
    return extensions;
}

std::vector<OptionRow> OptionsOf(CacheManageOptions& o)
{
    return {
        {"--max-bytes", true, [&o](const Given& g) { o.mMaxBytes = g.Bytes(); }},
        {"--max-files", true,
         [&o](const Given& g) { o.mMaxFiles = static_cast<std::uint64_t>(g.Count(1)); }},
        {"--expire", true, [&o](const Given& g) { o.mExpirySeconds = g.Duration(); }},
        {"--free-percent", true,
         [&o](const Given& g) { o.mFreePercent = static_cast<float>(g.Percentage()); }},
        {"--boost", true, [&o](const Given& g) { o.mBoostSeconds = g.Duration(); }},
        {"--extensions", true, [&o](const Given& g) { o.mExtensions = Extensions(g); }},
        {"--delete-empty-folders", false, [&o](const Given&) { o.mDeleteEmptyFolders = true; }},
        {"--interval", true,
         [&o](const Given& g)
         {
             constexpr std::int64_t kMost = 7 * 86400; // in milliseconds that is still an int
             o.mIntervalSeconds = g.Duration();
             if (*o.mIntervalSeconds == 0 || *o.mIntervalSeconds > kMost)
                 Refuse(kCommand, g.mName + " takes from 1s to 7d, not '" + g.mValue + "'");
         }},
        {"--once", false, [&o](const Given&) { o.mOnce = true; }},
        {"--dry-run", false, [&o](const Given&) { o.mDryRun = o.mOnce = true; }},
    };
}

bool IsAtOrBelow(const std::filesystem::path& inPath, const std::filesystem::path& inTop)
{
    const auto [end, difference] =
        std::mismatch(inTop.begin(), inTop.end(), inPath.begin(), inPath.end());
    return end == inTop.end();
}

bool BelongsToTheSystem(const std::filesystem::path& inPath)
{
    static constexpr const char* kTops[] = {"/home", "/media", "/mnt", "/opt",    "/run",
                                            "/srv",  "/tmp",   "/var", "/dev/shm"};
    static constexpr const char* kTrees[] = {"/bin",   "/boot", "/dev",  "/etc", "/lib",
                                             "/lib64", "/proc", "/sbin", "/sys", "/usr"};
    const auto isIt = [&](const char* inTop) { return inPath == inTop; };
    if (std::any_of(std::begin(kTops), std::end(kTops), isIt))
        return true;
    return !IsAtOrBelow(inPath, "/dev/shm") &&
           std::any_of(std::begin(kTrees), std::end(kTrees),
                       [&](const char* inTree) { return IsAtOrBelow(inPath, inTree); });
}

} // namespace

CacheManageOptions ParseCacheManage(const std::vector<std::string>& inArguments)
{
    CacheManageOptions options;
    const auto folders = ParseArguments(kCommand, "cache manage", OptionsOf(options), inArguments);
    if (folders.empty() || folders[0].empty())
        Refuse(kCommand, "cache manage wants a folder");
    if (folders.size() > 1)
        Refuse(kCommand, "cache manage takes one folder, and '" + folders[1] + "' is a second one");
    if (options.mExtensions.empty())
        Refuse(kCommand, "cache manage deletes only files whose --extensions were named, such as "
                         "--extensions .tmp,.rkdc");
    options.mFolder = folders[0];
    return options;
}

std::string FolderToManage(const std::string& inFolder, const std::string& inHome)
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::canonical(inFolder, error);
    if (error)
        throw HostError(kExit_Failure, "cannot manage '" + inFolder + "': " + error.message());
    if (!std::filesystem::is_directory(folder, error))
        throw HostError(kExit_Failure, "cannot manage '" + inFolder + "': it is no folder");
    const auto refuse = [&](const std::string& inWhy)
    {
        throw HostError(kExit_Usage, "'" + inFolder + "' " + inWhy +
                                         ": name the cache folder itself, not what holds it");
    };
    if (folder == folder.root_path())
        refuse("is the whole file system");
    if (BelongsToTheSystem(folder))
        refuse("belongs to the system");
    const std::filesystem::path home = std::filesystem::canonical(inHome, error);
    if (!inHome.empty() && !error && IsAtOrBelow(home, folder))
        refuse(home == folder ? "is a home folder" : "holds a home folder");
    return folder;
}

const char* CacheManageHelp()
{
    return R"(rkhost cache manage DIR --extensions .a,.b [OPTION...]

Keeps a folder within limits, as the disk cache manager does in an application: by deleting the files
that were not used for longest. Sweeps at once, then every ten minutes, until it is interrupted.

  --extensions .a,.b      which files may be deleted. No other file is deleted or counted.
  --max-bytes N           the most that the files may use, such as 500M or 10GiB (units of 1024)
  --max-files N           the most files
  --expire DURATION       deletes what was not used for that long, and 15 minutes more
  --free-percent P        how much of the volume is kept free (10)
  --boost DURATION        how much younger the files count when the volume's space is short
  --delete-empty-folders  removes folders below that hold nothing
  --interval DURATION     between two sweeps (10m)
  --once                  sweeps once, and ends
  --dry-run               names what a sweep would delete, and deletes nothing

A DURATION is a number and a unit: 30s, 10m, 2h, 7d. No file that was read or written within the last
15 minutes is deleted, so limits may be exceeded; hidden files and links are never touched.

Exit code: 0 all went well, limits that cannot be kept yet included; 1 something could not be deleted,
or there is no such folder; 2 what is asked for makes no sense, or is too dangerous; 130 a single sweep
was interrupted. SIGINT and SIGTERM end the managing in good order, with 0.
)";
}

} // namespace RKHost
