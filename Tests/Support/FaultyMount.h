// A mounted folder of the real disk that fails where a test says so: by operation, name and count, with an
// error, a short transfer, or no answer at all.
//
//     const auto* const mounts = Testing::UsePrivateMounts();     // once, at the level of the file
//
//     TEST(RealStore, AFullDiskIsNoLoss)
//     {
//         RK_NEEDS_FAULTY_MOUNT();
//         Testing::FaultyMount mount;
//         mount.Inject({.operation = "write", .name = "*.tmp", .error = ENOSPC, .after = 2});
//         ... work in mount.Path(), look in mount.Behind() at what has really arrived
//     }
//
// The test's list of sources needs LIBRARIES rk_faulty_mount_support. Nothing is kept by the kernel: each
// call comes to the file system. Its operations: getattr (each walk over a name is one too), readlink,
// mkdir, unlink, rmdir, symlink, rename, link, chmod, chown, utimens, statfs, open, create, read, write,
// truncate, flush (what close() reports), fsync, opendir, readdir.
#pragma once

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "RealRights.h"
#include "TemporaryFolder.h"

namespace Testing
{

struct MountFault
{
    std::string operation; // as above; a pattern such as "*" for several
    std::string name =
        "*";            // a pattern for the last component; that of the mount point itself is empty
    int error = 0;      // of <cerrno>; 0 where the call is to work
    long most = -1;     // bytes of a read or write, entries of a readdir; -1 for no limit
    bool hangs = false; // the call gets its answer, error or not, at Clear()
    long after = 0;     // how many matching calls are spared first
    long times = 0;     // how many are then met; 0 for all
};

/// Owned by one thread. A test that left it in the middle leaves neither mount nor process.
class FaultyMount
{
public:
    /// @param inKind  the type that the table of mounts shows, behind "fuse.".
    /// @throws std::runtime_error  if it cannot be mounted.
    explicit FaultyMount(const std::string& inKind = "faulty")
    {
        mMountPoint = mFolder.MakeFolder("mount");
        mBehind = mFolder.MakeFolder("behind");
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::runtime_error("no socket");
        mSocket = ends[0];
        mDaemon = Start(ends[1], inKind);
        close(ends[1]);
        if (Receive() != "ready")
        {
            End();
            throw std::runtime_error("no mount of a file system in user space");
        }
    }
    ~FaultyMount() { End(); }
    FaultyMount(const FaultyMount&) = delete;
    FaultyMount& operator=(const FaultyMount&) = delete;

    /// Whether such a mount works here.
    static bool Works()
    {
        try
        {
            const FaultyMount mount;
            return access(mount.Path().c_str(), R_OK) == 0;
        }
        catch (const std::runtime_error&)
        {
            return false;
        }
    }

    const std::string& Path() const { return mMountPoint; }
    std::string Path(const std::string& inName) const { return mMountPoint + "/" + inName; }
    /// The folder that is shown: the same files, without faults.
    const std::string& Behind() const { return mBehind; }
    std::string Behind(const std::string& inName) const { return mBehind + "/" + inName; }

    /// Of several faults that match a call the first one counts it and meets it.
    void Inject(const MountFault& inFault)
    {
        Ask("inject " + inFault.operation + " " + std::to_string(inFault.error) + " " +
            std::to_string(inFault.most) + " " + (inFault.hangs ? "1 " : "0 ") +
            std::to_string(inFault.after) + " " + std::to_string(inFault.times) + " " +
            inFault.name);
    }
    /// No more faults; calls that hang are answered.
    void Clear() { Ask("clear"); }
    /// How many calls came, by patterns.
    long CallCount(const std::string& inOperation, const std::string& inName = "*")
    {
        return std::stol(Ask("count " + inOperation + " " + inName));
    }
    /// How many calls hang at this moment.
    long HangingCount() { return std::stol(Ask("hanging")); }
    /// Waits until so many calls hang. @return false if that took longer than ten seconds.
    bool WaitUntilHanging(long inCount)
    {
        for (int i = 0; i < 1000 && HangingCount() < inCount; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return HangingCount() >= inCount;
    }
    /// The daemon dies: all calls, also those that hang, fail from now on (ENOTCONN, ECONNABORTED).
    void Kill()
    {
        kill(mDaemon, SIGKILL);
        Reap();
    }

private:
    pid_t Start(int inSocket, const std::string& inKind) const
    {
        const std::string descriptor = std::to_string(inSocket);
        const pid_t child = fork();
        if (child != 0)
            return child;
        fcntl(inSocket, F_SETFD, 0);
        execl(RK_FAULTY_MOUNT_PROGRAM, RK_FAULTY_MOUNT_PROGRAM, mBehind.c_str(),
              mMountPoint.c_str(), descriptor.c_str(), inKind.c_str(), nullptr);
        _exit(127);
    }
    std::string Receive() const
    {
        char buffer[64];
        const ssize_t length = recv(mSocket, buffer, sizeof(buffer), 0);
        return std::string(buffer, length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    std::string Ask(const std::string& inOrder) const
    {
        const bool sent = send(mSocket, inOrder.data(), inOrder.size(), MSG_NOSIGNAL) >= 0;
        const std::string answer = sent ? Receive() : std::string();
        if (answer.empty())
            throw std::runtime_error("the file system in user space has gone");
        return answer;
    }
    void Reap()
    {
        while (mDaemon > 0 && waitpid(mDaemon, nullptr, 0) < 0 && errno == EINTR)
        {
        }
        mDaemon = -1;
    }
    void End()
    {
        close(mSocket); // the daemon unmounts and goes
        Reap();
        umount2(mMountPoint.c_str(), MNT_DETACH); // if it was killed
    }

    TemporaryFolder mFolder;
    std::string mMountPoint;
    std::string mBehind;
    int mSocket = -1;
    pid_t mDaemon = -1;
};

/// Gives the whole test program mounts of its own, before its first test and its first thread, so that
/// nobody else sees those that the tests make. Without the right to that nothing happens.
inline const ::testing::Environment* UsePrivateMounts()
{
    struct PrivateMounts : ::testing::Environment
    {
        void SetUp() override
        {
            if (CanMount())
                EnterPrivateMounts();
        }
    };
    return ::testing::AddGlobalTestEnvironment(new PrivateMounts);
}

} // namespace Testing

/// Skips the test where there is no file system in user space.
#define RK_NEEDS_FAULTY_MOUNT()                                                                    \
    do                                                                                             \
    {                                                                                              \
        RK_NEEDS_MOUNTS();                                                                         \
        if (access("/dev/fuse", R_OK | W_OK) != 0)                                                 \
            GTEST_SKIP() << "needs /dev/fuse";                                                     \
        RK_NEEDS(::Testing::FaultyMount::Works(), *RK_FAULTY_MOUNT_PROGRAM != '\0',                \
                 "a file system in user space (libfuse3 when the tests were built)");              \
    } while (false)
