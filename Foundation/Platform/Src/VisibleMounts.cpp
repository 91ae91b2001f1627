#include "Platform/VisibleMounts.h"

#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace Platform
{
namespace
{

/// Stands for what is outside of the table: the parent of the root, of a mount whose parent this process
/// cannot see, and of one that names itself.
constexpr std::uint64_t kOutside = 0;

class MountTree
{
public:
    explicit MountTree(const std::vector<Mount>& inMounts)
    {
        std::set<std::uint64_t> ids;
        for (const Mount& mount : inMounts)
            ids.insert(mount.id);
        for (const Mount& mount : inMounts)
        {
            const bool isInside = mount.parentID != mount.id && ids.count(mount.parentID) != 0;
            // Of two on one folder of one parent the later one is on top.
            mOnto[{isInside ? mount.parentID : kOutside, mount.mountPoint}] = mount.id;
        }
    }

    bool IsVisible(const Mount& inMount) const { return Resolve(inMount.mountPoint) == inMount.id; }

private:
    /// The mount that an absolute path leads to.
    std::uint64_t Resolve(std::string_view inPath) const
    {
        std::uint64_t mount = Top(kOutside, "/");
        for (std::size_t end = 1; inPath.size() > 1 && end != std::string_view::npos;)
        {
            end = inPath.find('/', end);
            mount = Top(mount, inPath.substr(0, end));
            end += end == std::string_view::npos ? 0 : 1;
        }
        return mount;
    }
    /// What lies on a folder of inMount, on top; inMount itself if there is nothing.
    std::uint64_t Top(std::uint64_t inMount, std::string_view inFolder) const
    {
        // Bounded, since a table that was read while it changed may hold a circle.
        for (std::size_t i = 0; i <= mOnto.size(); ++i)
        {
            auto found = mOnto.find({inMount, inFolder});
            if (found == mOnto.end() && i == 0)
                found = mOnto.find({kOutside, inFolder});
            if (found == mOnto.end())
                break;
            inMount = found->second;
        }
        return inMount;
    }

    std::map<std::pair<std::uint64_t, std::string_view>, std::uint64_t> mOnto;
};

} // namespace

std::vector<Mount> VisibleMounts(const std::vector<Mount>& inMounts)
{
    const MountTree tree(inMounts);
    std::vector<Mount> visible;
    for (const Mount& mount : inMounts)
        if (tree.IsVisible(mount))
            visible.push_back(mount);
    return visible;
}

} // namespace Platform
