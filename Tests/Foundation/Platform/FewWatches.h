#pragma once

#include <fstream>
#include <string>

#include <sched.h>

namespace Testing
{

/// Makes this process, a child, a user of its own, to whom the system grants a few watches only.
inline bool HaveFewWatches(int inWatches)
{
    if (unshare(CLONE_NEWUSER) != 0)
        return false;
    std::ofstream limit("/proc/sys/user/max_inotify_watches");
    limit << inWatches << std::flush;
    return limit.good();
}

} // namespace Testing
