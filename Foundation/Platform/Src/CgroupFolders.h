#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Platform
{

/// A control group that counts memory, as a folder below where its hierarchy is mounted.
struct CgroupFolder
{
    bool version1 = false;
    std::string mountPoint; // the highest group that can be seen
    std::string relative;   // empty, or with a slash at its beginning
};

/// The groups of a process in every hierarchy that may count its memory: version 1 and version 2 may be
/// there side by side.
/// @param inMembership  the text of /proc/self/cgroup.
/// @param inMountInfo   the text of /proc/self/mountinfo.
std::vector<CgroupFolder> FindCgroupFolders(std::string_view inMembership,
                                            std::string_view inMountInfo);

/// The folder of this process's group of version 2, whatever it counts; empty if there is none.
/// @param inRoot  stands before each path of the system.
std::string OwnVersion2Folder(const std::string& inRoot);

} // namespace Platform
