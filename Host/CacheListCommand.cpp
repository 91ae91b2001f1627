// "rkhost cache ls": what is in a cache folder, as the names of its files tell it.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>
#include <tuple>

#include <sys/stat.h>

#include "CacheItemCommands.h"
#include "CommandLine.h"
#include "Text.h"

namespace RKHost
{

namespace
{

namespace fs = std::filesystem;

struct Item
{
    std::string mKey;
    std::string mSubKey;
    std::uint64_t mBytes = 0;
    std::int64_t mAgeSeconds = 0; ///< since it was last read or written
};

// The name of a file as the store reads it: what stands between the last two dots is the sub key.
bool ParseName(std::string_view inName, Item& outItem)
{
    constexpr std::string_view kExtension = ".rkdc";
    if (inName.size() <= kExtension.size() || inName[0] == '.' ||
        inName.substr(inName.size() - kExtension.size()) != kExtension)
        return false;
    inName.remove_suffix(kExtension.size());
    const std::size_t dot = inName.rfind('.');
    outItem.mKey = inName.substr(0, dot);
    outItem.mSubKey = dot == std::string_view::npos ? "" : inName.substr(dot + 1);
    return true;
}

// Items may go while they are listed.
bool LookAt(const std::string& inPath, std::time_t inNow, Item& outItem)
{
    struct stat status = {};
    if (lstat(inPath.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    outItem.mBytes = static_cast<std::uint64_t>(status.st_size);
    const std::time_t used = std::max(status.st_atime, status.st_mtime);
    outItem.mAgeSeconds = std::max<std::int64_t>(0, inNow - used);
    return true;
}

std::vector<Item> ItemsOf(const std::string& inFolder)
{
    std::vector<Item> items;
    const std::time_t now = std::time(nullptr);
    std::error_code error;
    fs::directory_iterator entry(inFolder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
    {
        Item item;
        if (ParseName(entry->path().filename().string(), item) &&
            LookAt(entry->path().string(), now, item))
            items.push_back(item);
    }
    if (error)
        throw HostError(kExit_Failure,
                        "cannot list the cache folder '" + inFolder + "': " + error.message());
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b)
              { return std::tie(a.mKey, a.mSubKey) < std::tie(b.mKey, b.mSubKey); });
    return items;
}

std::string AgeText(std::int64_t inSeconds)
{
    if (inSeconds < 120)
        return std::to_string(inSeconds) + " s";
    if (inSeconds < 2 * 3600)
        return std::to_string(inSeconds / 60) + " min";
    if (inSeconds < 2 * 86400)
        return std::to_string(inSeconds / 3600) + " h";
    return std::to_string(inSeconds / 86400) + " d";
}

} // namespace

ExitCode RunCacheList(const std::vector<std::string>& inArguments, EventLoop&)
{
    constexpr char kCommand[] = "rkhost cache ls";
    const auto names = ParseArguments(kCommand, "cache ls", {}, inArguments);
    if (names.empty() || names[0].empty())
        Refuse(kCommand, "cache ls wants a folder");
    if (names.size() > 2)
        Refuse(kCommand,
               "cache ls takes a folder and a key, and '" + names[2] + "' is one too many");
    std::uint64_t count = 0, bytes = 0;
    for (const Item& item : ItemsOf(names[0]))
    {
        if (names.size() > 1 && item.mKey != names[1])
            continue;
        char figures[64];
        std::snprintf(figures, sizeof figures, "%12s  %8s  ", MemoryText(item.mBytes).c_str(),
                      AgeText(item.mAgeSeconds).c_str());
        std::cout << figures << Printable(item.mKey)
                  << (item.mSubKey.empty() ? "" : "  " + Printable(item.mSubKey)) << "\n";
        ++count;
        bytes += item.mBytes;
    }
    std::cout << count << (count == 1 ? " item, " : " items, ") << MemoryText(bytes) << "\n";
    return kExit_OK;
}

const char* CacheListHelp()
{
    return R"(rkhost cache ls DIR [KEY]

Lists the items of a cache folder, or those of one key: size, time since the last use, key, sub key.
Control characters and backslashes in names are shown as \x0a.

Exit code: 0 done, an empty folder included; 1 it cannot be listed; 2 what is asked for makes no sense.
)";
}

} // namespace RKHost
