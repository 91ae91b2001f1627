#pragma once

#include <fstream>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/fanotify.h>
#include <unistd.h>

namespace Testing
{

inline bool SetUserLimit(const std::string& inName, int inValue)
{
    std::ofstream limit("/proc/sys/user/" + inName);
    limit << inValue << std::flush;
    return limit.good();
}

/// Makes this process, a child, a user of its own, to whom the system grants a few watches of inotify only, and
/// as few marks of fanotify.
inline bool HaveFewWatches(int inWatches, int inMarks = 0)
{
    return unshare(CLONE_NEWUSER) == 0 && SetUserLimit("max_inotify_watches", inWatches) &&
           SetUserLimit("max_fanotify_marks", inMarks);
}

/// Whether a process without rights may mark folders by fanotify, and be told of what is in them by name.
inline bool CanMarkFolders()
{
    const int group = fanotify_init(FAN_CLASS_NOTIF | FAN_CLOEXEC | FAN_REPORT_DFID_NAME, O_RDONLY);
    const bool can = group >= 0;
    if (can)
        close(group);
    return can;
}

} // namespace Testing
