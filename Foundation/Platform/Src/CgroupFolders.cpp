#include "CgroupFolders.h"

#include <boost/optional.hpp>

#include "KeptFile.h"
#include "MountInfo.h"
#include "SystemText.h"

namespace Platform
{
namespace
{

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

/// Of several mounts of one hierarchy (a container may see its own group and the host's) the one that shows
/// the most levels above the group.
const Mount* FindMount(const std::vector<Mount>& inMounts, const Membership& inMembership)
{
    const Mount* best = nullptr;
    bool bestHolds = false;
    for (const Mount& mount : inMounts)
    {
        if (!IsMemoryHierarchy(mount, inMembership.version1))
            continue;
        const bool holds = IsAtOrBelow(inMembership.path, mount.root);
        if (best == nullptr || (holds && !bestHolds) ||
            (holds && mount.root.size() < best->root.size()))
        {
            best = &mount;
            bestHolds = holds;
        }
    }
    return best;
}

} // namespace

std::vector<CgroupFolder> FindCgroupFolders(std::string_view inMembership,
                                            std::string_view inMountInfo)
{
    const std::vector<Mount> mounts = ParseMountInfo(inMountInfo);
    std::vector<CgroupFolder> folders;
    while (!inMembership.empty())
    {
        const boost::optional<Membership> membership = ParseMembership(TakeLine(inMembership));
        const Mount* const mount = membership ? FindMount(mounts, *membership) : nullptr;
        if (mount != nullptr)
            folders.push_back(
                {membership->version1, mount->mountPoint, RelativePath(*mount, membership->path)});
    }
    return folders;
}

std::string OwnVersion2Folder(const std::string& inRoot)
{
    std::string membership, mountInfo;
    if (!KeptFile(inRoot + "/proc/self/cgroup").Read(membership) ||
        !KeptFile(inRoot + "/proc/self/mountinfo").Read(mountInfo))
        return std::string();
    for (const CgroupFolder& folder : FindCgroupFolders(membership, mountInfo))
    {
        if (!folder.version1)
            return inRoot + folder.mountPoint + folder.relative;
    }
    return std::string();
}

} // namespace Platform
