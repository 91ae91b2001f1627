#include "CgroupMemory.h"

#include <algorithm>
#include <string_view>

#include <boost/optional.hpp>

#include "MountInfo.h"
#include "SystemText.h"

namespace Platform
{
namespace
{

// Version 1 says "no limit" by the greatest number of bytes that whole pages can have.
constexpr std::uint64_t kVersion1NoLimit = 9223372036854771712u;

/// Whether inName is one of the words of a list with commas.
bool ListHolds(std::string_view inList, std::string_view inName)
{
    while (!inList.empty())
    {
        const std::size_t end = inList.find(',');
        if (inList.substr(0, end) == inName)
            return true;
        inList.remove_prefix(end == std::string_view::npos ? inList.size() : end + 1);
    }
    return false;
}

struct Membership
{
    bool version1 = false;
    std::string path;
};

/// Reads one line "number:controllers:path" of /proc/self/cgroup.
boost::optional<Membership> ParseMembership(std::string_view inLine)
{
    const std::size_t first = inLine.find(':');
    const std::size_t second =
        first == std::string_view::npos ? first : inLine.find(':', first + 1);
    if (second == std::string_view::npos)
        return boost::none;
    const std::string_view controllers = inLine.substr(first + 1, second - first - 1);
    const bool version1 = ListHolds(controllers, "memory");
    if (!version1 && !controllers.empty())
        return boost::none;
    return Membership{version1, std::string(inLine.substr(second + 1))};
}

bool IsMemoryHierarchy(const Mount& inMount, bool inVersion1)
{
    return inVersion1 ? inMount.type == "cgroup" && ListHolds(inMount.superOptions, "memory")
                      : inMount.type == "cgroup2";
}

/// The group's folder below the mount point. A group that is not below what is mounted here (it lies
/// outside of the container's view) is as good as the highest that can be seen.
std::string RelativePath(const Mount& inMount, const std::string& inPath)
{
    if (inPath.find("/..") != std::string::npos || !IsAtOrBelow(inPath, inMount.root))
        return std::string();
    const std::string below = inMount.root == "/" ? inPath : inPath.substr(inMount.root.size());
    return below == "/" ? std::string() : below;
}

} // namespace

struct CgroupMemory::Level
{
    Level(const std::string& inFolder, bool inVersion1)
        : version1(inVersion1)
        , hardLimit(inFolder + (inVersion1 ? "/memory.limit_in_bytes" : "/memory.max"))
        , softLimit(inFolder + (inVersion1 ? "/memory.limit_in_bytes" : "/memory.high"))
        , usage(inFolder + (inVersion1 ? "/memory.usage_in_bytes" : "/memory.current"))
        , statistics(inFolder + "/memory.stat")
    {
    }

    const bool version1;
    KeptFile hardLimit;
    KeptFile softLimit; // beyond it the group is slowed down rather than refused
    KeptFile usage;
    KeptFile statistics;
    std::uint64_t limit = kNoLimit;

    static std::uint64_t ReadLimit(KeptFile& ioFile)
    {
        std::string text;
        if (!ioFile.Read(text))
            return kNoLimit; // the highest group has no such file
        const boost::optional<std::uint64_t> number = LeadingNumber(text); // none for "max"
        // No process runs within a limit of 0: somebody's slip, and no statement about memory.
        return number && *number != 0 && *number < kVersion1NoLimit ? *number : kNoLimit;
    }

    void Refresh()
    {
        limit = ReadLimit(hardLimit);
        if (!version1)
            limit = std::min(limit, ReadLimit(softLimit));
    }

    std::uint64_t Available()
    {
        std::string text;
        if (limit == kNoLimit || !usage.Read(text))
            return kNoLimit;
        const boost::optional<std::uint64_t> used = LeadingNumber(text);
        if (!used)
            return kNoLimit;
        const std::uint64_t reclaimable = std::min(InactiveFileBytes(), *used);
        return limit - std::min(limit, *used - reclaimable);
    }

    std::uint64_t InactiveFileBytes()
    {
        std::string text;
        if (!statistics.Read(text))
            return 0;
        // In version 1 the plain names count the group without those below it.
        const boost::optional<std::uint64_t> all =
            version1 ? NumberOfKey(text, "total_inactive_file") : boost::none;
        return all ? *all : NumberOfKey(text, "inactive_file").value_or(0);
    }
};

CgroupMemory::CgroupMemory(const std::string& inRoot)
    : mRoot(inRoot)
    , mMembershipFile(inRoot + "/proc/self/cgroup")
{
}

CgroupMemory::~CgroupMemory() = default;

void CgroupMemory::Refresh()
{
    std::string membership;
    if (!mMembershipFile.Read(membership))
        membership.clear();
    if (membership != mMembership)
        FindLevels(membership);
    mLimit = kNoLimit;
    for (const std::unique_ptr<Level>& level : mLevels)
    {
        level->Refresh();
        mLimit = std::min(mLimit, level->limit);
    }
}

std::uint64_t CgroupMemory::Available()
{
    std::uint64_t available = kNoLimit;
    for (const std::unique_ptr<Level>& level : mLevels)
        available = std::min(available, level->Available());
    return available;
}

void CgroupMemory::FindLevels(const std::string& inMembership)
{
    mMembership.clear();
    mLevels.clear();
    std::string text;
    KeptFile mountInfo(mRoot + "/proc/self/mountinfo");
    if (!mountInfo.Read(text))
        return; // the next Refresh() tries again
    mMembership = inMembership;
    const std::vector<Mount> mounts = ParseMountInfo(text);
    for (std::string_view rest = inMembership; !rest.empty();)
    {
        const boost::optional<Membership> membership = ParseMembership(TakeLine(rest));
        if (!membership)
            continue;
        const auto isMemory = [&](const Mount& inMount)
        { return IsMemoryHierarchy(inMount, membership->version1); };
        const auto mount = std::find_if(mounts.begin(), mounts.end(), isMemory);
        if (mount != mounts.end())
            AddLevels(mount->mountPoint, RelativePath(*mount, membership->path),
                      membership->version1);
    }
}

void CgroupMemory::AddLevels(const std::string& inMountPoint, const std::string& inRelative,
                             bool inVersion1)
{
    const std::string top = mRoot + inMountPoint;
    for (std::string relative = inRelative;; relative.resize(relative.rfind('/')))
    {
        mLevels.push_back(std::make_unique<Level>(top + relative, inVersion1));
        if (relative.empty() || relative[0] != '/')
            return;
    }
}

} // namespace Platform
