#pragma once

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "RealRights.h"

namespace Testing
{

/// A new memory control group of version 1, removed at the end, when nobody must be in it any more.
class MemoryGroup
{
public:
    /// Below the highest group that can be seen.
    MemoryGroup()
        : MemoryGroup(MountPoint() + "/rk-test-" + std::to_string(getpid()))
    {
    }
    /// Below another group, with that name.
    MemoryGroup(const MemoryGroup& inParent, const std::string& inName)
        : MemoryGroup(inParent.mFolder + "/" + inName)
    {
    }
    ~MemoryGroup()
    {
        // The kernel may take a moment to see that the last process has gone.
        for (int i = 0; mError == 0 && rmdir(mFolder.c_str()) != 0 && errno == EBUSY && i < 1000;
             ++i)
            usleep(1000);
    }
    MemoryGroup(const MemoryGroup&) = delete;
    MemoryGroup& operator=(const MemoryGroup&) = delete;

    bool Exists() const { return mError == 0; }
    /// Whether the right to make one is there: a version 1 hierarchy of memory, and root in it.
    static bool HasRight()
    {
        return geteuid() == 0 && !MountPoint().empty() && access(MountPoint().c_str(), W_OK) == 0;
    }

    bool Write(const std::string& inFile, const std::string& inText) const
    {
        std::ofstream file(mFolder + "/" + inFile);
        return (file << inText << std::flush).good();
    }
    bool SetLimit(std::uint64_t inBytes) const
    {
        return Write("memory.limit_in_bytes", std::to_string(inBytes));
    }
    /// Moves the calling process into the group.
    bool Enter() const { return Write("cgroup.procs", std::to_string(getpid())); }

private:
    explicit MemoryGroup(const std::string& inFolder)
        : mFolder(inFolder)
        , mError(mkdir(inFolder.c_str(), 0755) == 0 ? 0 : errno)
    {
    }

    static std::string MountPoint()
    {
        std::ifstream table("/proc/self/mountinfo");
        for (std::string line; std::getline(table, line);)
        {
            std::istringstream words(line);
            const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
            if (line.find(" - cgroup ") != std::string::npos && fields.size() > 5 &&
                ("," + fields.back() + ",").find(",memory,") != std::string::npos)
                return fields[4];
        }
        return std::string();
    }

    const std::string mFolder;
    const int mError;
};

} // namespace Testing

#define RK_NEEDS_A_MEMORY_GROUP(inGroup)                                                           \
    RK_NEEDS((inGroup).Exists(), ::Testing::MemoryGroup::HasRight(),                               \
             "the right to make a memory control group of version 1 (root, and the hierarchy "     \
             "mounted to be written)")
