// The known volumes over the real mount table: each test mounts in a child process with a private mount
// namespace.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "RKInitializer.h"
#include "RKVolumeUtilities.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::VolumeUtilities;
using qelcore::utility::FileNameToUTF16;
using qelcore::utility::UTF16ToFileName;

constexpr int kCannotMount = 98;

class Recorder : public ZOR::Listener
{
public:
    Recorder() { ZOR::StationUtils::AddListener(GetVolumesChangedStationID(), this); }
    ~Recorder() override { ZOR::StationUtils::RemoveListener(GetVolumesChangedStationID(), this); }
    void ListenToMessage(const ZOR::Message&) override { ++mCount; }
    int mCount = 0;
};

bool Has(const std::string& inPath, Volume& outVolume)
{
    Volumes volumes;
    GetVolumes(volumes);
    for (const Volume& volume : volumes)
        if (UTF16ToFileName(volume.VolumePath.ToString()) == inPath + "/")
        {
            outVolume = volume;
            return true;
        }
    return false;
}

bool Has(const std::string& inPath)
{
    Volume volume;
    return Has(inPath, volume);
}

/// Turns the main thread's loop until it is so, for 20 s at most.
bool Comes(const std::function<bool()>& inState)
{
    for (int i = 0; i < 2000; ++i)
    {
        if (inState())
        {
            qelcore::threads::RunMainThreadUntilIdle(); // the message of it may be yet to come
            return true;
        }
        qelcore::threads::RunMainThreadFor(10);
    }
    return false;
}

bool ComesAt(const std::string& inPath)
{
    return Comes([&] { return Has(inPath); });
}

bool GoesFrom(const std::string& inPath)
{
    return Comes([&] { return !Has(inPath); });
}

std::string Text(const qelcore::utility::ImmutableString& inText)
{
    return UTF16ToFileName(inText.ToString());
}

class MountedKnownVolumes : public testing::Test
{
protected:
    /// Runs inWork in a child with mounts of its own and disks discovered. @return 0 if it was true.
    int Discovering(const std::function<bool(Recorder&)>& inWork)
    {
        return Testing::RunInChild(
            [&]
            {
                if (!Testing::EnterPrivateMounts())
                    return kCannotMount;
                qelcore::threads::RegisterMainThread();
                const RK::Initializer library;
                Recorder recorder;
                InitializeDriveDiscovery();
                qelcore::threads::RunMainThreadUntilIdle();
                recorder.mCount = 0;
                return inWork(recorder) ? 0 : 1;
            });
    }
    static bool MountMemory(const std::string& inPath)
    {
        return mount("memory", inPath.c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    /// A file system in user space whose program never says a word, as a server that is away.
    /// @return its device, to be closed.
    static int MountSilent(const std::string& inPath, const char* inType, const char* inSource)
    {
        const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
        const std::string options =
            "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
        if (mount(inSource, inPath.c_str(), inType, 0, options.c_str()) == 0)
            return device;
        close(device);
        return -1;
    }

    Testing::TemporaryFolder mFolder;
    const std::string mA = mFolder.MakeFolder("a volume");
    const std::string mB = mFolder.MakeFolder("b");
};

TEST_F(MountedKnownVolumes, AVolumeOfMemoryComesAndGoesWithAMessageEach)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, Discovering(
                     [&](Recorder& recorder)
                     {
                         Volume volume;
                         return MountMemory(mA) && ComesAt(mA) && recorder.mCount == 1 &&
                                Has(mA, volume) && Text(volume.FriendlyName) == "a volume" &&
                                volume.VolumeType == kVolumeTypeLocal &&
                                volume.NetworkMountURL.IsNull() && umount(mA.c_str()) == 0 &&
                                GoesFrom(mA) && recorder.mCount == 2;
                     }));
}

TEST_F(MountedKnownVolumes, WhatIsMountedAlreadyIsKnownAtOnceAndAPathReadsOnIt)
{
    RK_NEEDS_MOUNTS();
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts() || !MountMemory(mA))
                return kCannotMount;
            qelcore::threads::RegisterMainThread();
            const RK::Initializer library;
            InitializeDriveDiscovery();
            Volume volume;
            qelcore::UTF16String relative;
            const bool found = MakeAbsolutePathRelativeToVolumePath(
                FileNameToUTF16(mA + "/clips/a.mov"), relative, volume);
            return found && relative == u"clips/a.mov" && Text(volume.VolumePath) == mA + "/" ? 0
                                                                                              : 1;
        });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedKnownVolumes, ABoundFolderIsAVolumeOfItsOwnNameAndABoundFileIsNone)
{
    RK_NEEDS_MOUNTS();
    const std::string file = mFolder.Write("file", "x");
    const std::string other = mFolder.Write("other file", "x");
    EXPECT_EQ(0, Discovering(
                     [&](Recorder& recorder)
                     {
                         Volume volume;
                         return mount(file.c_str(), other.c_str(), nullptr, MS_BIND, nullptr) ==
                                    0 &&
                                mount(mA.c_str(), mB.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                                ComesAt(mB) && !Has(other) && Has(mB, volume) &&
                                Text(volume.FriendlyName) == "b" && recorder.mCount == 1;
                     }));
}

TEST_F(MountedKnownVolumes, AMountThatIsMovedIsOneMessageAndANewPath)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, Discovering(
                     [&](Recorder& recorder)
                     {
                         if (!MountMemory(mA) || !ComesAt(mA))
                             return false;
                         recorder.mCount = 0;
                         return mount(mA.c_str(), mB.c_str(), nullptr, MS_MOVE, nullptr) == 0 &&
                                ComesAt(mB) && !Has(mA) && recorder.mCount == 1;
                     }));
}

TEST_F(MountedKnownVolumes, ARenamedMountPointMovesTheVolume)
{
    RK_NEEDS_MOUNTS();
    const std::string above = mFolder.MakeFolder("above");
    mFolder.MakeFolder("above/volume");
    EXPECT_EQ(0, Discovering(
                     [&](Recorder&)
                     {
                         if (!MountMemory(above + "/volume") || !ComesAt(above + "/volume"))
                             return false;
                         const std::string renamed = mFolder.Path("renamed");
                         // The kernel tells no change then: the next one shows it.
                         return rename(above.c_str(), renamed.c_str()) == 0 && MountMemory(mA) &&
                                ComesAt(renamed + "/volume") && !Has(above + "/volume");
                     }));
}

TEST_F(MountedKnownVolumes, OfTwoOnOnePathTheUpperIsKnownAndThenTheLower)
{
    RK_NEEDS_MOUNTS();
    const auto addressIs = [&](const std::string& inAddress)
    {
        return Comes(
            [&]
            {
                Volume volume;
                return Has(mA, volume) && Text(volume.NetworkMountURL) == inAddress;
            });
    };
    EXPECT_EQ(0, Discovering(
                     [&](Recorder&)
                     {
                         return MountMemory(mA) && addressIs("") &&
                                mount("//nas/share", mA.c_str(), "tmpfs", 0, "size=64k") == 0 &&
                                Comes(
                                    [&]
                                    {
                                        Volume volume;
                                        return Has(mA, volume) && Text(volume.HostName) == "nas";
                                    }) &&
                                umount(mA.c_str()) == 0 &&
                                Comes(
                                    [&]
                                    {
                                        Volume volume;
                                        return Has(mA, volume) && volume.HostName.IsNull();
                                    });
                     }));
}

TEST_F(MountedKnownVolumes, AServerThatIsAwayIsListedWithItsAddressAndHoldsNobodyUp)
{
    RK_NEEDS_MOUNTS();
    if (access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "needs /dev/fuse";
    EXPECT_EQ(0, Discovering(
                     [&](Recorder&)
                     {
                         const int ssh = MountSilent(mA, "fuse.sshfs", "user@host:/some path");
                         const int nfs = MountSilent(mB, "fuse.nfs", "nas:/export");
                         if (ssh < 0 || nfs < 0)
                             return false;
                         const auto begin = std::chrono::steady_clock::now();
                         Volume volume;
                         const bool listed =
                             ComesAt(mB) && Has(mA, volume) &&
                             volume.VolumeType == kVolumeTypeNetwork &&
                             Text(volume.HostName) == "host" &&
                             Text(volume.NetworkMountURL) == "sftp://host/some%20path" &&
                             Has(mB, volume) && Text(volume.NetworkMountURL) == "nfs://nas/export";
                         // Below it everything has to ask the server: it fails, in seconds.
                         const bool found = GetVolumeInfo(FileNameToUTF16(mA + "/a/b"), volume);
                         const auto took = std::chrono::steady_clock::now() - begin;
                         close(ssh); // ends what still waits
                         close(nfs);
                         return listed && !found && took < std::chrono::seconds(15);
                     }));
}

TEST_F(MountedKnownVolumes, ALabelledDiskGoesByItsLabel)
{
    RK_NEEDS_MOUNTS();
    const std::string image = mFolder.Write("image", std::string(4u << 20, '\0'));
    if (std::system(
            ("mkfs.ext4 -q -F -L Footage " + image + " </dev/null >/dev/null 2>&1").c_str()) != 0)
        GTEST_SKIP() << "needs mkfs.ext4";
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    const int number = control < 0 ? -1 : ioctl(control, LOOP_CTL_GET_FREE);
    if (control >= 0)
        close(control);
    const std::string device = "/dev/loop" + std::to_string(number);
    const int loop = number < 0 ? -1 : open(device.c_str(), O_RDWR | O_CLOEXEC);
    if (loop < 0)
        GTEST_SKIP() << "needs a loop device";
    loop_config config = {};
    config.fd = static_cast<unsigned>(open(image.c_str(), O_RDWR | O_CLOEXEC));
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
    if (ioctl(loop, LOOP_CONFIGURE, &config) != 0)
    {
        close(loop);
        GTEST_SKIP() << "needs a loop device that can be set";
    }
    close(static_cast<int>(config.fd));
    EXPECT_EQ(0, Discovering(
                     [&](Recorder&)
                     {
                         Volume volume;
                         return mount(device.c_str(), mA.c_str(), "ext4", 0, nullptr) == 0 &&
                                ComesAt(mA) && Has(mA, volume) &&
                                Text(volume.FriendlyName) == "Footage" && umount(mA.c_str()) == 0;
                     }));
    close(loop);
}

TEST_F(MountedKnownVolumes, VolumesThatComeAndGoUnderLoadAreAllSeenInTheEnd)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, Discovering(
                     [&](Recorder& recorder)
                     {
                         std::atomic<bool> isDone{false};
                         std::atomic<bool> failed{false};
                         std::thread mounter(
                             [&]
                             {
                                 for (int i = 0; i < 200 && !failed; ++i)
                                     failed =
                                         !MountMemory(mA) || umount2(mA.c_str(), MNT_DETACH) != 0;
                                 failed = failed || !MountMemory(mB);
                                 isDone = true;
                             });
                         std::thread looker(
                             [&]
                             {
                                 Volume volume;
                                 while (!isDone)
                                     GetVolumeInfo(FileNameToUTF16(mA + "/file"), volume);
                             });
                         const bool seen = ComesAt(mB) && GoesFrom(mA);
                         mounter.join();
                         looker.join();
                         return seen && !failed && recorder.mCount >= 1 && recorder.mCount <= 401;
                     }));
}

} // namespace
