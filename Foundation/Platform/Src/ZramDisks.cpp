#include "ZramDisks.h"

#include <algorithm>
#include <string_view>

#include <dirent.h>

#include "SystemText.h"

namespace Platform
{
namespace
{

/// Names of the disks "zram" and a number, sorted.
std::vector<std::string> ListDisks(const std::string& inFolder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(inFolder.c_str()), closedir);
    while (const dirent* const entry = folder ? readdir(folder.get()) : nullptr)
    {
        const std::string_view name = entry->d_name;
        if (name.substr(0, 4) == "zram")
            names.emplace_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Whether a line of /proc/swaps begins with the disk's path.
bool IsSwappedTo(std::string_view inSwaps, const std::string& inName)
{
    const std::string path = "/dev/" + inName;
    while (!inSwaps.empty())
    {
        const std::string_view line = TakeLine(inSwaps);
        if (line.substr(0, line.find_first_of(" \t")) == path)
            return true;
    }
    return false;
}

} // namespace

void ZramDisks::Refresh()
{
    std::vector<std::string> names = ListDisks(mRoot + "/sys/block");
    std::string swaps;
    if (!names.empty() && KeptFile(mRoot + "/proc/swaps").Read(swaps))
        names.erase(std::remove_if(names.begin(), names.end(), [&](const std::string& inName)
                                   { return IsSwappedTo(swaps, inName); }),
                    names.end());
    if (names == mNames)
        return;
    mNames.swap(names);
    mStatistics.clear();
    for (const std::string& name : mNames)
        mStatistics.push_back(
            std::make_unique<KeptFile>(mRoot + "/sys/block/" + name + "/mm_stat"));
}

std::uint64_t ZramDisks::OriginalBytes()
{
    std::uint64_t bytes = 0;
    std::string text;
    for (const std::unique_ptr<KeptFile>& statistics : mStatistics)
    {
        if (statistics->Read(text)) // original, compressed, used ...: in bytes
            bytes += LeadingNumber(text).value_or(0);
    }
    return bytes;
}

} // namespace Platform
