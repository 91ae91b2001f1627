#include "Platform/ProcessLimits.h"

#include <limits>
#include <memory>

#include <dirent.h>
#include <sys/resource.h>

namespace Platform
{

std::uint64_t MaxDescriptorCount() noexcept
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<std::uint64_t>::max();
    return limit.rlim_cur;
}

std::uint64_t OpenDescriptorCount() noexcept
{
    struct CloseFolder
    {
        void operator()(DIR* inFolder) const noexcept { closedir(inFolder); }
    };
    const std::unique_ptr<DIR, CloseFolder> folder(opendir("/proc/self/fd"));
    if (!folder)
        return 0;
    std::uint64_t entries = 0;
    while (readdir(folder.get()) != nullptr)
        ++entries;
    // Besides the descriptors there are ".", ".." and the one that reads this folder.
    constexpr std::uint64_t kNoneOfTheirs = 3;
    return entries < kNoneOfTheirs ? 0 : entries - kNoneOfTheirs;
}

} // namespace Platform
