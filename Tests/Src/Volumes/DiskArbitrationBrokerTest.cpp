// The table of mounted volumes, over a made-up mount table.
#include "VolumesFixture.h"

#include "DiskArbitrationBroker.h"
#include "Platform/Process.h"
#include "Support/TraceCapture.h"

namespace RKTests
{
namespace
{

using namespace RK::VolumeUtilities::PlatformSpecific;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class DiskArbitrationBrokerTest : public testing::Test
{
protected:
    DiskArbitrationBrokerTest() { qelcore::threads::RegisterMainThread(); }
    ~DiskArbitrationBrokerTest() override { Shutdown(); }

    void Start() { Startup(mNotifier); }
    /// @return how often the notifier was called.
    int Change()
    {
        mVolumes.TellChange();
        qelcore::threads::RunMainThreadUntilIdle();
        return std::exchange(mNotified, 0);
    }
    static Volumes Table()
    {
        Volumes volumes;
        GetVolumesFromOS(volumes);
        return volumes;
    }
    static std::vector<std::string> Paths() { return PathsOf(Table()); }
    static Volume At(const std::string& inPath)
    {
        for (const Volume& volume : Table())
            if (Narrow(volume.VolumePath) == inPath)
                return volume;
        ADD_FAILURE() << "no volume at " << inPath;
        return Volume();
    }
    void Mount(const std::string& inPath, const std::string& inType = "ext4",
               const std::string& inSource = "/dev/sdb1")
    {
        mVolumes.Add(inPath, inType, inSource, {});
    }

    Testing::FakeVolumeTable mVolumes;
    int mNotified = 0;
    boost::function<void()> mNotifier = [this] { ++mNotified; };
};

TEST_F(DiskArbitrationBrokerTest, TakesInWhatIsMountedWithoutTelling)
{
    Mount("/mnt/disk");
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/disk/"));
    EXPECT_EQ(0, mNotified);
    EXPECT_EQ(0, Change()) << "nothing has changed since";
}

TEST_F(DiskArbitrationBrokerTest, LeavesTheSetAsItWasBeforeTheStartAndAfterTheEnd)
{
    Volumes volumes = {MakeVolume("/own/")};
    GetVolumesFromOS(volumes);
    EXPECT_THAT(PathsOf(volumes), ElementsAre("/own/"));
    Start();
    Shutdown();
    GetVolumesFromOS(volumes);
    EXPECT_THAT(PathsOf(volumes), ElementsAre("/own/"));
}

TEST_F(DiskArbitrationBrokerTest, AddsToWhatTheSetHolds)
{
    Start();
    Volumes volumes = {MakeVolume("/own/")};
    GetVolumesFromOS(volumes);
    EXPECT_THAT(PathsOf(volumes), ElementsAre("/", "/own/"));
}

TEST_F(DiskArbitrationBrokerTest, TellsADiskThatComesAndGoes)
{
    Start();
    Mount("/mnt/disk");
    EXPECT_EQ(1, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/disk/"));
    mVolumes.Remove("/mnt/disk");
    EXPECT_EQ(1, Change());
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(DiskArbitrationBrokerTest, ATriggerOfTheAutomounterIsNoVolumeAndIsNotTold)
{
    Start();
    Mount("/net", "autofs", "systemd-1");
    EXPECT_EQ(0, Change());
    mVolumes.Remove("/net");
    EXPECT_EQ(0, Change()) << "it was never listed";
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(DiskArbitrationBrokerTest, FileSystemsOfTheKernelAreNoVolumes)
{
    for (const char* type : {"proc", "sysfs", "devtmpfs", "devpts", "cgroup2", "bpf", "mqueue"})
        Mount(std::string("/kernel/") + type, type, type);
    Mount("/scratch", "tmpfs", "tmpfs");
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/", "/scratch/"));
}

TEST_F(DiskArbitrationBrokerTest, NothingInTheFoldersOfTheKernelIsAVolume)
{
    Mount("/proc/acpi", "tmpfs", "tmpfs");
    Mount("/sys/fs/cgroup", "tmpfs", "tmpfs");
    Mount("/process", "tmpfs", "tmpfs");
    Mount("/systems/a", "tmpfs", "tmpfs");
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/", "/process/", "/systems/a/"));
}

TEST_F(DiskArbitrationBrokerTest, ADiskWithoutKindOrPathIsPassedOverAndTheRestIsTakenIn)
{
    Mount("/mnt/a", "");
    Mount("/mnt/b");
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/b/"));

    const auto broker = boost::make_shared<DiskArbitrationBroker>(mNotifier);
    Platform::Mount disk;
    disk.id = 7;
    disk.type = "ext4";
    EXPECT_FALSE(broker->OnDiskAppeared(disk)) << "no path";
    disk.mountPoint = "/mnt/c";
    EXPECT_TRUE(broker->OnDiskAppeared(disk));
    disk.type.clear();
    EXPECT_FALSE(broker->OnDiskAppeared(disk)) << "no kind";
}

TEST_F(DiskArbitrationBrokerTest, AnUnknownDiskThatDisappearsChangesNothing)
{
    const auto broker = boost::make_shared<DiskArbitrationBroker>(mNotifier);
    EXPECT_FALSE(broker->OnDiskDisappeared(7));
    Platform::Mount disk;
    disk.id = 7;
    disk.type = "ext4";
    disk.mountPoint = "/mnt";
    EXPECT_TRUE(broker->OnDiskAppeared(disk));
    EXPECT_FALSE(broker->OnDiskDisappeared(8));
    EXPECT_TRUE(broker->OnDiskDisappeared(7));
    EXPECT_FALSE(broker->OnDiskDisappeared(7));
}

TEST_F(DiskArbitrationBrokerTest, ARenameIsToldOnceAndMovesTheEntry)
{
    Mount("/mnt/old");
    Start();
    mVolumes.Edit("/mnt/old", [](Platform::Mount& m) { m.mountPoint = "/mnt/new"; });
    EXPECT_EQ(1, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/new/"));
    EXPECT_EQ("new", Narrow(At("/mnt/new/").FriendlyName));
}

TEST_F(DiskArbitrationBrokerTest, ADescriptionThatChangesIntoNoneTakesTheEntryAway)
{
    Mount("/mnt/a");
    Start();
    mVolumes.Edit("/mnt/a", [](Platform::Mount& m) { m.type = "autofs"; });
    EXPECT_EQ(1, Change()) << "it disappeared, even though it did not appear again";
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(DiskArbitrationBrokerTest, TwoDisksMaySwapTheirPaths)
{
    Mount("/mnt/a", "ext4", "first");
    Mount("/mnt/b", "nfs4", "nas:/second");
    Start();
    mVolumes.Edit("/mnt/a", [](Platform::Mount& m) { m.mountPoint = "/mnt/c"; });
    mVolumes.Edit("/mnt/b", [](Platform::Mount& m) { m.mountPoint = "/mnt/a"; });
    mVolumes.Edit("/mnt/c", [](Platform::Mount& m) { m.mountPoint = "/mnt/b"; });
    EXPECT_EQ(1, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/", "/mnt/b/"));
    EXPECT_EQ(1u, At("/mnt/a/").VolumeType);
    EXPECT_EQ(0u, At("/mnt/b/").VolumeType);
}

TEST_F(DiskArbitrationBrokerTest, AnotherDiskUnderAUsedNumberIsTakenIn)
{
    Mount("/mnt/a", "nfs4", "nas:/a");
    Start();
    mVolumes.Edit("/mnt/a", [](Platform::Mount& m) { m.source = "other:/b"; });
    EXPECT_EQ(1, Change());
    EXPECT_EQ("nfs://other/b", Narrow(At("/mnt/a/").NetworkMountURL));
}

TEST_F(DiskArbitrationBrokerTest, ARemountThatKeepsPathAndNameIsNotTold)
{
    Mount("/mnt/a");
    Start();
    mVolumes.Edit("/mnt/a", [](Platform::Mount& m) { m.options = "ro"; });
    EXPECT_EQ(0, Change());
}

TEST_F(DiskArbitrationBrokerTest, OfTwoDisksOnOnePathTheUpperIsSeenAndThenTheLowerAgain)
{
    Mount("/mnt/a", "nfs4", "nas:/lower");
    Start();
    Mount("/mnt/a", "nfs4", "nas:/upper");
    EXPECT_EQ(1, Change());
    EXPECT_EQ("nfs://nas/upper", Narrow(At("/mnt/a/").NetworkMountURL));
    mVolumes.Remove("/mnt/a");
    EXPECT_EQ(1, Change());
    EXPECT_EQ("nfs://nas/lower", Narrow(At("/mnt/a/").NetworkMountURL));
}

TEST_F(DiskArbitrationBrokerTest, ManyChangesAtATimeAreToldOnce)
{
    Start();
    for (int i = 0; i < 100; ++i)
        Mount("/mnt/" + std::to_string(i));
    EXPECT_EQ(1, Change());
    EXPECT_EQ(101u, Paths().size());
}

TEST_F(DiskArbitrationBrokerTest, ANetworkVolumeHasServerAndAddress)
{
    Mount("/mnt/nas", "nfs4", "nas:/export/a b");
    Mount("/mnt/share", "cifs", "//user@samba:445/share");
    Mount("/mnt/ssh", "fuse.sshfs", "me@host:/home/me");
    Mount("/mnt/ceph", "ceph", "mon1:6789,mon2:6789:/");
    Start();
    const Volume nas = At("/mnt/nas/");
    EXPECT_EQ(1u, nas.VolumeType);
    EXPECT_EQ("nas", Narrow(nas.HostName));
    EXPECT_EQ("nfs://nas/export/a%20b", Narrow(nas.NetworkMountURL));
    EXPECT_EQ("nas", Narrow(nas.FriendlyName)) << "the last part of its path";
    EXPECT_EQ("smb://samba/share", Narrow(At("/mnt/share/").NetworkMountURL));
    EXPECT_EQ("sftp://host/home/me", Narrow(At("/mnt/ssh/").NetworkMountURL));
    EXPECT_EQ(1u, At("/mnt/ceph/").VolumeType);
    EXPECT_TRUE(At("/mnt/ceph/").NetworkMountURL.IsNull());
}

TEST_F(DiskArbitrationBrokerTest, ALocalVolumeHasNeither)
{
    Mount("/mnt/a");
    Start();
    EXPECT_EQ(0u, At("/mnt/a/").VolumeType);
    EXPECT_TRUE(At("/mnt/a/").NetworkMountURL.IsNull());
    EXPECT_TRUE(At("/mnt/a/").HostName.IsNull());
}

TEST_F(DiskArbitrationBrokerTest, AVolumeIsCalledByItsLabelOrTheLastPartOfItsPath)
{
    mVolumes.SetLabel("/mnt/a", "Footage \xC3\xA4");
    Mount("/mnt/a");
    Mount("/mnt/b");
    mVolumes.SetLabel("/mnt/part", "Footage");
    Mount("/mnt/part");
    mVolumes.Edit("/mnt/part", [](Platform::Mount& m) { m.root = "/some/folder"; });
    mVolumes.SetLabel("/mnt/empty", "");
    Mount("/mnt/empty");
    Start();
    EXPECT_EQ("Footage \xC3\xA4", Narrow(At("/mnt/a/").FriendlyName));
    EXPECT_EQ("b", Narrow(At("/mnt/b/").FriendlyName));
    EXPECT_EQ("part", Narrow(At("/mnt/part/").FriendlyName)) << "a folder of a labelled one";
    EXPECT_EQ("empty", Narrow(At("/mnt/empty/").FriendlyName));
}

TEST_F(DiskArbitrationBrokerTest, TheRootIsCalledByItsLabelOrTheMachinesName)
{
    Start();
    EXPECT_EQ(Platform::MachineName(), Narrow(At("/").FriendlyName));
    Shutdown();
    mVolumes.SetLabel("/", "System");
    mVolumes.Edit("/", [](Platform::Mount& m) { m.root = "/@"; });
    Start();
    EXPECT_EQ("System", Narrow(At("/").FriendlyName)) << "also if it is a part of the file system";
}

TEST_F(DiskArbitrationBrokerTest, AFileThatIsMountedOntoAnotherIsNoVolume)
{
    Mount("/etc/hosts");
    mVolumes.Fail("/etc/hosts", ENOTDIR);
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(DiskArbitrationBrokerTest, AVolumeThatDoesNotTellItsLabelInTimeIsListed)
{
    Mount("/mnt/slow");
    mVolumes.Fail("/mnt/slow", ETIMEDOUT);
    Start();
    EXPECT_EQ("slow", Narrow(At("/mnt/slow/").FriendlyName));
}

TEST_F(DiskArbitrationBrokerTest, NoServerIsEverAsked)
{
    Mount("/mnt/nas", "nfs4", "nas:/a");
    Mount("/mnt/ssh", "fuse.sshfs", "host:/a");
    Mount("/mnt/fuse", "fuse.other", "other");
    for (const char* path : {"/mnt/nas", "/mnt/nas/", "/mnt/ssh", "/mnt/ssh/", "/mnt/fuse"})
        mVolumes.Fail(path, ETIMEDOUT);
    Start();
    EXPECT_THAT(mVolumes.LabelQuestions(), ElementsAre("/"));
    EXPECT_EQ("nas", Narrow(At("/mnt/nas/").HostName));
}

TEST_F(DiskArbitrationBrokerTest, ACallbackAfterTheEndFindsNothing)
{
    Start();
    Mount("/mnt/a");
    mVolumes.TellChange(); // the main thread is yet to hear of it
    Shutdown();
    DiskArbitrationBroker::TableChangedCallback();
    qelcore::threads::RunMainThreadUntilIdle();
    EXPECT_EQ(0, mNotified);
}

TEST_F(DiskArbitrationBrokerTest, TheEndWithinTheNotifierIsInOrder)
{
    mNotifier = [this]
    {
        ++mNotified;
        Shutdown();
    };
    Start();
    Mount("/mnt/a");
    EXPECT_EQ(1, Change());
    EXPECT_THAT(Table(), IsEmpty());
    EXPECT_EQ(0, Change());
}

TEST_F(DiskArbitrationBrokerTest, TheNotifierRunsWithoutTheLockOfTheTable)
{
    std::size_t seen = 0;
    mNotifier = [&] { std::thread([&] { seen = Table().size(); }).join(); };
    Start();
    Mount("/mnt/a");
    Change();
    EXPECT_EQ(2u, seen);
}

TEST_F(DiskArbitrationBrokerTest, AnEmptyNotifierThrowsWhenItIsCalled)
{
    mNotifier.clear();
    Start();
    DiskArbitrationBroker::TableChangedCallback(); // nothing to tell
    Mount("/mnt/a");
    EXPECT_THROW(DiskArbitrationBroker::TableChangedCallback(), boost::bad_function_call);
}

TEST_F(DiskArbitrationBrokerTest, ATableThatCannotBeWatchedIsListedAndSaidSo)
{
    const Testing::TraceCapture trace("RK.Volumes", 1);
    mVolumes.MustNotWatch();
    Start();
    EXPECT_THAT(Paths(), ElementsAre("/"));
    EXPECT_EQ(1u, trace.Count("The mount table cannot be watched: changes are not seen."));
}

TEST_F(DiskArbitrationBrokerTest, ASecondStartTakesThePlaceOfTheFirst)
{
    Start();
    Start();
    Mount("/mnt/a");
    EXPECT_EQ(1, Change()) << "the first is no longer told";
}

TEST_F(DiskArbitrationBrokerTest, TheAddressOfAPathIsThatOfItsVolume)
{
    Mount("/mnt/nas", "nfs4", "nas:/a");
    EXPECT_EQ("nfs://nas/a", Narrow(GetNetworkMountURLFromDrivePath(u"/mnt/nas/some/clip")));
    EXPECT_TRUE(GetNetworkMountURLFromDrivePath(u"/home").IsNull());
    mVolumes.Fail("/mnt/nas/away", ETIMEDOUT);
    EXPECT_TRUE(GetNetworkMountURLFromDrivePath(u"/mnt/nas/away").IsNull());
}

TEST_F(DiskArbitrationBrokerTest, HasNoDrivesAndNoNamelessVolumes)
{
    EXPECT_TRUE(IsDiskInDrive(u"/nowhere"));
    Volumes volumes;
    AddNoDriveLetterNetworkVolumes(volumes);
    EXPECT_THAT(volumes, IsEmpty());
}

} // namespace
} // namespace RKTests
