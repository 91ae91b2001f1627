// A small volume of its own, in a file of the real disk, that can lose what a crash of the machine loses:
// all that had not left the memory of the kernel, while the journal, with the names in it, has.
//
//     const auto* const mounts = Testing::UsePrivateMounts();     // once, at the level of the file
//
//     TEST(RealStore, ...)
//     {
//         RK_NEEDS_CRASHING_VOLUME("ext4");
//         Testing::CrashingVolume volume("ext4");
//         ... write below volume.Path(), and close all of it
//         volume.Crash();
//         ... look at what is there after the repair
//     }
#pragma once

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "RealRights.h"
#include "TemporaryFolder.h"

namespace Testing
{

/// Owned by one thread, in a process with mounts of its own.
class CrashingVolume
{
public:
    /// @param inType  "ext4" or "xfs".
    /// @throws std::runtime_error  if it cannot be made or mounted.
    explicit CrashingVolume(const std::string& inType)
        : mImage(mFolder.Path("image"))
        , mMountPoint(mFolder.MakeFolder("mount"))
    {
        Run("truncate -s 400M " + mImage);
        Run("mkfs." + inType + " -q " + (inType == "ext4" ? "-F " : "-f ") + mImage);
        Mount();
    }
    ~CrashingVolume() { umount2(mMountPoint.c_str(), MNT_DETACH); }
    CrashingVolume(const CrashingVolume&) = delete;
    CrashingVolume& operator=(const CrashingVolume&) = delete;

    static bool Works(const std::string& inType)
    {
        try
        {
            const CrashingVolume volume(inType);
            return true;
        }
        catch (const std::runtime_error&)
        {
            return false;
        }
    }
    /// Whether the program that makes such volumes is installed.
    static bool CanBeMade(const std::string& inType)
    {
        return std::system(("command -v mkfs." + inType + " >/dev/null").c_str()) == 0;
    }

    const std::string& Path() const { return mMountPoint; }
    /// Stops the volume with its journal written and nothing else, and mounts it again, which repairs it.
    /// No file of it may be open.
    void Crash() const
    {
        const int folder = open(mMountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        std::uint32_t how = kJournalAlone;
        const bool stopped = folder >= 0 && ioctl(folder, kGoingDown, &how) == 0;
        close(folder);
        if (!stopped || umount2(mMountPoint.c_str(), 0) != 0)
            throw std::runtime_error("the volume does not crash");
        Mount();
    }

private:
    // Of ext4 and XFS alike; their headers are not installed.
    static constexpr unsigned long kGoingDown = _IOR('X', 125, std::uint32_t);
    static constexpr std::uint32_t kJournalAlone = 1;

    static void Run(const std::string& inCommand)
    {
        if (std::system((inCommand + " >/dev/null 2>&1 </dev/null").c_str()) != 0)
            throw std::runtime_error("failed: " + inCommand);
    }
    void Mount() const { Run("mount -o loop " + mImage + " " + mMountPoint); }

    TemporaryFolder mFolder;
    const std::string mImage;
    const std::string mMountPoint;
};

} // namespace Testing

/// Skips the test where such a volume cannot be mounted. The test's program needs mounts of its own.
#define RK_NEEDS_CRASHING_VOLUME(inType)                                                           \
    do                                                                                             \
    {                                                                                              \
        RK_NEEDS_MOUNTS();                                                                         \
        if (!::Testing::CrashingVolume::CanBeMade(inType))                                         \
            GTEST_SKIP() << "needs mkfs." << (inType);                                             \
        RK_NEEDS(::Testing::CrashingVolume::Works(inType),                                         \
                 access("/dev/loop-control", R_OK | W_OK) == 0,                                    \
                 "a volume in a file (loop devices)");                                             \
    } while (false)
