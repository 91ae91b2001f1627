// The list of volumes, how it follows the system, and what is told of it.
#include "VolumesFixture.h"

#include <future>

#include "Support/TraceCapture.h"
#include "qelcore/Console.h"
#include "qelcore/Localizer.h"
#include "qelcore/UTFStream.h"

namespace RKTests
{
namespace
{

using namespace RK::VolumeUtilities;
using qelcore::UTF16String;
using testing::ElementsAre;
using testing::IsEmpty;

class VolumeUtilitiesTest : public VolumesTest
{
protected:
    void Mount(const std::string& inPath, const std::string& inType = "ext4",
               const std::string& inSource = "/dev/sdb1")
    {
        mVolumes.Add(inPath, inType, inSource, {});
    }
    static UTF16String Console(const UTF16String& inLine)
    {
        qelcore::oUTF16StringStream output;
        EXPECT_TRUE(qelcore::console::CommandRegistry::Execute(inLine, output));
        return output.str();
    }
};

TEST_F(VolumeUtilitiesTest, TheListIsEmptyUntilDiscovery)
{
    EXPECT_THAT(Paths(), IsEmpty());
    Discover();
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(VolumeUtilitiesTest, DiscoveryIsToldOnceOnTheMainThreadAndNotBefore)
{
    InitializeDriveDiscovery();
    EXPECT_THAT(mRecorder->mThreads, IsEmpty()) << "posted, not broadcast";
    qelcore::threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder->mThreads, ElementsAre(std::this_thread::get_id()));
}

TEST_F(VolumeUtilitiesTest, ASecondDiscoveryDoesNothing)
{
    Discover();
    Mount("/mnt/a");
    InitializeDriveDiscovery();
    EXPECT_THAT(Paths(), ElementsAre("/")) << "the list is not built again";
    EXPECT_EQ(1u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/"));
}

TEST_F(VolumeUtilitiesTest, DiscoveryThatFindsNothingNewIsNotTold)
{
    Discover();
    Shutdown();
    InitializeDriveDiscovery();
    EXPECT_EQ(0u, Told());
}

TEST_F(VolumeUtilitiesTest, AVolumeThatComesOrGoesIsTold)
{
    Discover();
    Mount("/mnt/a");
    EXPECT_EQ(1u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/"));
    mVolumes.Remove("/mnt/a");
    EXPECT_EQ(1u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(VolumeUtilitiesTest, OfTwoIdenticalNotificationsOneIsTold)
{
    Discover();
    Mount("/mnt/a");
    mVolumes.TellChange();
    qelcore::threads::RunMainThreadUntilIdle();
    VolumeChangedOSNotification();
    EXPECT_EQ(1u, Told());
}

TEST_F(VolumeUtilitiesTest, ANotificationOfAnyThreadIsToldOnTheMainThread)
{
    std::thread([] { VolumeChangedOSNotification(); }).join();
    EXPECT_EQ(0u, Told()) << "there is no discovery";
    Discover();
    std::thread([] { AddVolume(MakeVolume("/own/")); }).join();
    EXPECT_THAT(mRecorder->mThreads, IsEmpty());
    qelcore::threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder->mThreads, ElementsAre(std::this_thread::get_id()));
}

TEST_F(VolumeUtilitiesTest, AVolumeThatMovesIsToldOnce)
{
    Mount("/mnt/old");
    Discover();
    mVolumes.Edit("/mnt/old", [](Platform::Mount& m) { m.mountPoint = "/mnt/new"; });
    EXPECT_EQ(1u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/new/"));
}

TEST_F(VolumeUtilitiesTest, ANewNameAloneIsNotToldAndTakesEffect)
{
    Mount("/mnt/a", "ext4", "first");
    mVolumes.SetLabel("/mnt/a", "before");
    Discover();
    mVolumes.SetLabel("/mnt/a", "after");
    mVolumes.Edit("/mnt/a", [](Platform::Mount& m) { m.source = "second"; });
    EXPECT_EQ(0u, Change());
    EXPECT_EQ("after", Narrow(At("/mnt/a/").FriendlyName));
}

TEST_F(VolumeUtilitiesTest, AReplacementIsAChangeIfAPathOrTheNumberDiffersAndStandsInAnyCase)
{
    VolumesHolder holder;
    const Volumes a = {MakeVolume("/a/", "first", 1)};
    EXPECT_FALSE(holder.SetVolumes(Volumes()));
    EXPECT_TRUE(holder.SetVolumes(a));
    EXPECT_FALSE(holder.SetVolumes(a));
    EXPECT_FALSE(holder.SetVolumes({MakeVolume("/a/", "second", 0)}));
    EXPECT_EQ("second", Narrow(holder.GetVolumes().begin()->FriendlyName));
    EXPECT_EQ(0u, holder.GetVolumes().begin()->VolumeType);
    EXPECT_TRUE(holder.SetVolumes({MakeVolume("/b/")}));
    EXPECT_TRUE(holder.SetVolumes({MakeVolume("/b/"), MakeVolume("/b/", "b", 1)}));
    EXPECT_TRUE(holder.SetVolumes(Volumes()));
}

TEST_F(VolumeUtilitiesTest, VolumesGoByPathTypeHostAndAddressButNotByName)
{
    const Volume plain = MakeVolume("/a/", "name");
    EXPECT_EQ(kVolumeTypeLocal, Volume().VolumeType);
    EXPECT_FALSE(plain < MakeVolume("/a/", "other") || MakeVolume("/a/", "other") < plain);
    EXPECT_TRUE(plain < MakeVolume("/a/", "name", 1));

    const auto b = Text("/b/");
    EXPECT_EQ(plain.VolumePath < b, plain < MakeVolume("/b/", "name")) << "by identity";
    EXPECT_EQ(plain.VolumePath < b, MakeVolume("/a/", "name", 9) < MakeVolume("/b/", "name"));

    Volume host = plain;
    host.HostName = Text("nas");
    EXPECT_TRUE(plain < host) << "null comes first";
    EXPECT_TRUE(host < MakeVolume("/a/", "name", 1));
    Volume address = host;
    address.NetworkMountURL = Text("nfs://nas/a");
    EXPECT_TRUE(host < address);
    EXPECT_FALSE(address < host);
}

TEST_F(VolumeUtilitiesTest, GetVolumesKeepsWhatTheCallerHas)
{
    Discover();
    Volumes volumes = {MakeVolume("/own/")};
    GetVolumes(volumes);
    EXPECT_THAT(PathsOf(volumes), ElementsAre("/", "/own/"));
}

TEST_F(VolumeUtilitiesTest, AnAddedVolumeIsToldOnceAndLastsUntilTheNextChange)
{
    Discover();
    AddVolume(MakeVolume("/own/"));
    EXPECT_EQ(1u, Told());
    AddVolume(MakeVolume("/own/", "another name"));
    EXPECT_EQ(0u, Told()) << "it is there already";
    EXPECT_THAT(Paths(), ElementsAre("/", "/own/"));
    Mount("/mnt/a");
    EXPECT_EQ(1u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/"));
}

TEST_F(VolumeUtilitiesTest, AnAddedVolumeIsKnownWithoutDiscovery)
{
    AddVolume(MakeVolume("/own/"));
    EXPECT_EQ(1u, Told());
    EXPECT_THAT(Paths(), ElementsAre("/own/"));
}

TEST_F(VolumeUtilitiesTest, TheSyncFolderIsListedIfItIsThere)
{
    Discover();
    EXPECT_THAT(Paths(), ElementsAre("/"));
    const std::string sync = MakeSyncFolder();
    EXPECT_EQ(0u, Change()) << "no mount has changed";
    VolumeChangedOSNotification();
    EXPECT_EQ(1u, Told());
    const Volume volume = At(sync + "/");
    EXPECT_EQ(kVolumeTypeSkyAtelierSync, volume.VolumeType);
    EXPECT_EQ("Sync", Narrow(volume.FriendlyName));
    EXPECT_TRUE(volume.NetworkMountURL.IsNull());
    EXPECT_TRUE(volume.HostName.IsNull());
}

TEST_F(VolumeUtilitiesTest, ACloudFolderOnAServerHasServerAndAddress)
{
    const std::string sync = MakeSyncFolder();
    Mount(mSyncFolder.Path(), "nfs4", "nas:/homes");
    Discover();
    EXPECT_EQ("nas", Narrow(At(sync + "/").HostName));
    EXPECT_EQ("nfs://nas/homes", Narrow(At(sync + "/").NetworkMountURL));
}

TEST_F(VolumeUtilitiesTest, ACloudFolderThatDoesNotAnswerIsLeftOutAndNotLookedAt)
{
    const std::string sync = MakeSyncFolder();
    mVolumes.Fail(sync, ETIMEDOUT);
    mVolumes.Fail(mSyncFolder.Path("Libraries/"), ETIMEDOUT);
    Discover();
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(mSyncFolder.Path("Libraries")));
    EXPECT_THAT(Paths(), ElementsAre("/"));
    EXPECT_FALSE(std::filesystem::exists(mSyncFolder.Path("Libraries")));
}

TEST_F(VolumeUtilitiesTest, TheLibrariesAreListedFromTheCallOnAndTheirFolderIsMade)
{
    Discover();
    const std::string path = mSyncFolder.Path("above/Libraries");
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(path));
    EXPECT_EQ(1u, Told());
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(kVolumeTypeSkyAtelierLibraries, At(path + "/").VolumeType);
    EXPECT_EQ("Sky Atelier Libraries", Narrow(At(path + "/").FriendlyName));
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(path + "/"));
    EXPECT_EQ(0u, Told()) << "the same with a slash";
    Mount("/mnt/a");
    Change();
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/", path + "/")) << "they outlast changes";
    AddSkyAtelierLibrariesDirectoryAsVolume(u"");
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/"));
}

TEST_F(VolumeUtilitiesTest, TheLibrariesGoByTheirNameInTheUsersLanguage)
{
    auto& localizer = qelcore::config::Localizer::Get();
    localizer.LoadTable("\"$$$/RiverKit/SkyAtelierLibraries\"=\"Bibliotheken\"\n");
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(mSyncFolder.Path("Libraries")));
    localizer.Clear();
    EXPECT_EQ("Bibliotheken", Narrow(At(mSyncFolder.Path("Libraries/")).FriendlyName));
}

TEST_F(VolumeUtilitiesTest, LibrariesWhoseFolderCannotBeMadeAreLeftOutWithoutAWord)
{
    Discover();
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(mSyncFolder.Write("file", "x") + "/Libraries"));
    EXPECT_EQ(0u, Told());
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(VolumeUtilitiesTest, AfterTheEndTheListStaysAndFollowsNoMore)
{
    Discover();
    Shutdown();
    Mount("/mnt/a");
    EXPECT_EQ(0u, Change());
    EXPECT_THAT(Paths(), ElementsAre("/"));
    Shutdown(); // a second one does nothing
    Discover();
    EXPECT_THAT(Paths(), ElementsAre("/", "/mnt/a/"));
    Mount("/mnt/b");
    EXPECT_EQ(1u, Change()) << "and it follows again";
}

TEST_F(VolumeUtilitiesTest, TheStationIsRegisteredForGood)
{
    EXPECT_EQ("VolumesChangedStationID", Narrow(GetVolumesChangedStationID()));
    EXPECT_FALSE(ZOR::StationRegistry::RegisterStation(GetVolumesChangedStationID()));
    Discover();
    Shutdown();
    EXPECT_FALSE(ZOR::StationRegistry::RegisterStation(GetVolumesChangedStationID()));
}

/// A table whose changes come by a descriptor that is none.
class UnwatchableTable : public Testing::FakeVolumeTable
{
public:
    std::unique_ptr<Platform::IVolumeChanges> WatchChanges() override
    {
        struct NoDescriptor : Platform::IVolumeChanges
        {
            int Descriptor() const override { return -1; }
            void Clear() override {}
        };
        return std::make_unique<NoDescriptor>();
    }
};

TEST_F(VolumeUtilitiesTest, AFailureOfTheFoundationAtTheStartPassesThroughAndLeavesTheLockFree)
{
    {
        UnwatchableTable table;
        EXPECT_THROW(InitializeDriveDiscovery(), std::system_error);
    }
    auto other = std::async(std::launch::async,
                            [] { AddSkyAtelierLibrariesDirectoryAsVolume(UTF16String()); });
    EXPECT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(20)));
    Shutdown();
    Discover();
    EXPECT_THAT(Paths(), ElementsAre("/"));
}

TEST_F(VolumeUtilitiesTest, TheListIsReadWhileTheLockOfStartAndStopIsHeld)
{
    // A look-up within the start of discovery holds that lock: its table asks from another thread.
    class AskingTable : public Testing::FakeVolumeTable
    {
    public:
        int Mounts(std::vector<Platform::Mount>& outMounts) override
        {
            std::thread([this] { known = Known().size() + 1; }).join();
            return FakeVolumeTable::Mounts(outMounts);
        }
        std::size_t known = 0;
    };
    AskingTable table;
    Discover();
    EXPECT_EQ(1u, table.known);
}

TEST_F(VolumeUtilitiesTest, AVolumeReadsAsItsFieldsInOneLine)
{
    Volume volume = MakeVolume("/mnt/a/", "A", 7);
    volume.HostName = Text("host");
    volume.NetworkMountURL = Text("nfs://host/a");
    EXPECT_EQ(u" VolumePath: /mnt/a/ FriendlyName: A HostName: host NetworkMountURL: nfs://host/a"
              u" VolumeType: 7",
              VolumeToString(volume));
    EXPECT_EQ(u" VolumePath:  FriendlyName:  HostName:  NetworkMountURL:  VolumeType: 0",
              VolumeToString(Volume()));
}

TEST_F(VolumeUtilitiesTest, AChangeTracesTheList)
{
    Discover();
    {
        const Testing::TraceCapture trace("RK::VolumesChangedListener", 7);
        AddVolume(MakeVolume("/own/"));
        Told();
        EXPECT_THAT(trace.Texts(), ElementsAre("Volumes:"));
    }
    {
        const Testing::TraceCapture trace("RK::VolumeChangedListener", 7);
        VolumesHolder::Instance()->SetVolumes(Volumes());
        AddVolume(MakeVolume("/own/", "O"));
        Told();
        EXPECT_THAT(trace.Texts(),
                    ElementsAre(" VolumePath: /own/ FriendlyName: O HostName:  NetworkMountURL:  "
                                "VolumeType: 0\n\n"));
    }
    Shutdown();
    const Testing::TraceCapture trace("RK::VolumesChangedListener", 7);
    AddVolume(MakeVolume("/another/"));
    Told();
    EXPECT_THAT(trace.Texts(), IsEmpty()) << "the listener has gone";
}

TEST_F(VolumeUtilitiesTest, OtherMessagesOnTheStationTraceNothing)
{
    class OtherMessage : public ZOR::MessageImpl<OtherMessage>
    {
    };
    Discover();
    const Testing::TraceCapture trace("RK::VolumesChangedListener", 7);
    ZOR::StationUtils::BroadcastMessage(GetVolumesChangedStationID(), OtherMessage());
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(VolumeUtilitiesTest, TheCommandPrintsNothingWithoutVolumes)
{
    EXPECT_EQ(u"", Console(u"RK.Volumes"));
}

TEST_F(VolumeUtilitiesTest, TheCommandPrintsALineForEachVolume)
{
    AddVolume(MakeVolume("/own/", "O"));
    EXPECT_EQ(u"Volume :  VolumePath: /own/ FriendlyName: O HostName:  NetworkMountURL:  "
              u"VolumeType: 0\n",
              Console(u"RK.Volumes"));
    AddVolume(MakeVolume("/another/"));
    const UTF16String text = Console(u"RK.Volumes");
    EXPECT_EQ(2, std::count(text.begin(), text.end(), u'\n'));
}

TEST_F(VolumeUtilitiesTest, TheCommandPrintsTheVolumeOfAPathWithoutALineEnd)
{
    mVolumes.SetLabel("/", "System");
    Discover();
    EXPECT_EQ(u"Volume :  VolumePath: / FriendlyName: System HostName:  NetworkMountURL:  "
              u"VolumeType: 0",
              Console(u"RK.Volumes /home/a b"));
    mVolumes.Fail("/away", ETIMEDOUT);
    EXPECT_EQ(u"Volume :  VolumePath:  FriendlyName:  HostName:  NetworkMountURL:  VolumeType: 0",
              Console(u"RK.Volumes /away"))
        << "a default volume where there is none";
}

TEST_F(VolumeUtilitiesTest, TheCommandIsDescribedAsItEverWas)
{
    for (const auto& entry : qelcore::console::CommandRegistry::List())
        if (entry.name == u"RK.Volumes")
        {
            EXPECT_EQ(u"RK.Volumes - lists the known volumes, removes volumes with no disk",
                      entry.description);
            return;
        }
    FAIL() << "no such command";
}

TEST_F(VolumeUtilitiesTest, TheServerOfAPathIsThatOfItsVolume)
{
    Mount("/mnt/nas", "nfs4", "nas:/a");
    EXPECT_EQ("nas", Narrow(GetHostNameFromDrivePath(u"/mnt/nas/a/b")));
    EXPECT_TRUE(GetHostNameFromDrivePath(u"/home").IsNull());
}

} // namespace
} // namespace RKTests
