#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>

#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "RealRights.h"

namespace Testing
{

/// Runs inWork in a child process, for what must not happen to the test's own.
/// @return what inWork returned, 0..99; 100 if it threw, 101 if the child was killed.
inline int RunInChild(const std::function<int()>& inWork)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        int answer = 100;
        try
        {
            answer = inWork();
        }
        catch (const std::exception& failure)
        {
            std::fprintf(stderr, "in the child: %s\n", failure.what());
        }
        std::fflush(nullptr);
        _exit(answer);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}

/// The same as a user without rights. Whoever has none already needs no other user.
inline int RunWithoutRights(const std::function<int()>& inWork)
{
    return RunInChild(
        [&inWork]
        {
            const bool dropped = geteuid() != 0 || (setgroups(0, nullptr) == 0 &&
                                                    setresgid(65534, 65534, 65534) == 0 &&
                                                    setresuid(65534, 65534, 65534) == 0);
            return dropped ? inWork() : 99;
        });
}

/// Leaves the process inBytes of addresses beyond those that it has.
inline bool LimitAddresses(std::size_t inBytes)
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit = {};
    limit.rlim_cur = limit.rlim_max = pages * 4096 + inBytes;
    return pages != 0 && setrlimit(RLIMIT_AS, &limit) == 0;
}

/// Makes the mounts of this process, a child, its own: nobody else sees those that follow.
inline bool EnterPrivateMounts()
{
    return unshare(CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Whether this process may mount in a namespace of its own.
inline bool CanMount()
{
    return RunInChild([] { return EnterPrivateMounts() ? 0 : 1; }) == 0;
}

} // namespace Testing

/// Skips the test where mounts are not allowed.
#define RK_NEEDS_MOUNTS()                                                                          \
    RK_NEEDS(::Testing::CanMount(),                                                                \
             ::Testing::HasCapability(CAP_SYS_ADMIN) && ::Testing::RootIsAMountPoint(),            \
             "the right to mount in a namespace of its own (CAP_SYS_ADMIN, and a root folder "     \
             "that is a mount point)")

/// Skips the test where files have no volume in the mount table.
#define RK_NEEDS_A_ROOT_VOLUME()                                                                   \
    do                                                                                             \
    {                                                                                              \
        if (!::Testing::RootIsAMountPoint())                                                       \
            GTEST_SKIP() << "needs a root folder that is a mount point, unlike a bare chroot's";   \
    } while (false)
