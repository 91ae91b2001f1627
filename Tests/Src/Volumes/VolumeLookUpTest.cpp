// On which volume a path lies, and how it reads there.
#include "VolumesFixture.h"

namespace RKTests
{
namespace
{

using namespace RK::VolumeUtilities;
using qelcore::UTF16String;

class VolumeLookUpTest : public VolumesTest
{
protected:
    void Mount(const std::string& inPath, const std::string& inType = "ext4",
               const std::string& inSource = "/dev/sdb1")
    {
        mVolumes.Add(inPath, inType, inSource, {});
    }
    /// The path of the volume that answers; "none".
    static std::string VolumeOf(const std::string& inPath)
    {
        Volume volume;
        return GetVolumeInfo(Wide(inPath), volume) ? Narrow(volume.VolumePath) : "none";
    }
    /// "volume|relative path", or "none".
    static std::string Relative(const std::string& inPath)
    {
        Volume volume;
        UTF16String relative;
        if (!MakeAbsolutePathRelativeToVolumePath(Wide(inPath), relative, volume))
            return "none";
        return Narrow(volume.VolumePath) + "|" + qelcore::utility::UTF16ToFileName(relative);
    }
};

TEST_F(VolumeLookUpTest, TheEmptyPathIsOnNoVolumeAndLeavesTheAnswerAlone)
{
    Discover();
    Volume volume = MakeVolume("/before/");
    EXPECT_FALSE(GetVolumeInfo(u"", volume));
    EXPECT_EQ("/before/", Narrow(volume.VolumePath));
    UTF16String relative = u"before";
    EXPECT_FALSE(MakeAbsolutePathRelativeToVolumePath(u"", relative, volume));
    EXPECT_EQ(u"before", relative);
}

TEST_F(VolumeLookUpTest, APathIsOnTheVolumeWhoseMountHoldsIt)
{
    Mount("/mnt/disk");
    Discover();
    EXPECT_EQ("/", VolumeOf("/home/a"));
    EXPECT_EQ("/", VolumeOf("/mnt/diskette"));
    EXPECT_EQ("/mnt/disk/", VolumeOf("/mnt/disk/a/b"));
    EXPECT_EQ("/mnt/disk/", VolumeOf("/mnt/disk"));
    EXPECT_EQ("/", VolumeOf("/"));
}

TEST_F(VolumeLookUpTest, APathThatTheSystemCannotLookUpIsOnTheRoot)
{
    Discover();
    EXPECT_EQ("/", VolumeOf("relative/path"));
}

TEST_F(VolumeLookUpTest, APathOnAVolumeThatIsNotKnownIsOnNone)
{
    EXPECT_EQ("none", VolumeOf("/home")) << "nothing is known before discovery";
    Discover();
    Mount("/mnt/new"); // not told
    EXPECT_EQ("none", VolumeOf("/mnt/new/a"));
}

TEST_F(VolumeLookUpTest, APathWhoseVolumeDoesNotAnswerIsOnNone)
{
    Discover();
    mVolumes.Fail("/away", ETIMEDOUT);
    EXPECT_EQ("none", VolumeOf("/away"));
    mVolumes.Fail("/Volumes/away/file", ETIMEDOUT);
    EXPECT_EQ("none", VolumeOf("/Volumes/away/file"));
}

TEST_F(VolumeLookUpTest, ThePathOfAVolumeIsFoundWhateverTheCaseOfItsLettersAToZ)
{
    Mount("/MNT/Disk");
    Mount("/mnt/\xC3\x84"); // A with two dots, which is no letter of these
    AddVolume(MakeVolume("/mnt/dISK/"));
    AddVolume(MakeVolume("/mnt/\xC3\xA4/"));
    AddVolume(MakeVolume("/mnt/disk/longer/"));
    EXPECT_EQ("/mnt/dISK/", VolumeOf("/MNT/Disk/a"));
    EXPECT_EQ("none", VolumeOf("/mnt/\xC3\x84/a"));
}

TEST_F(VolumeLookUpTest, OnlyTheLettersAToZAreFolded)
{
    // '@' and '[' stand beside A and Z, and 32 above them stand '`' and '{'.
    Mount("/mnt/@[");
    AddVolume(MakeVolume("/mnt/`{/"));
    EXPECT_EQ("none", VolumeOf("/mnt/@[/a"));
}

TEST_F(VolumeLookUpTest, TheSyncFolderGoesBeforeTheDiskThatHoldsIt)
{
    const std::string sync = MakeSyncFolder();
    Discover();
    EXPECT_EQ(sync + "/", VolumeOf(sync + "/project/a.mov"));
    EXPECT_EQ(sync + "/|project/a.mov", Relative(sync + "/project/a.mov"));
    EXPECT_EQ("/", VolumeOf(sync)) << "it begins with a shorter path than the folder's";
    EXPECT_EQ("/", VolumeOf(sync + "hronised/a.mov"));
    EXPECT_EQ("/", VolumeOf(mSyncFolder.Path("sync/a.mov"))) << "the case of letters counts here";
}

TEST_F(VolumeLookUpTest, TheLibrariesGoBeforeTheDiskThatHoldsThem)
{
    Mount(mSyncFolder.Path());
    Discover();
    const std::string libraries = mSyncFolder.MakeFolder("Libraries");
    AddSkyAtelierLibrariesDirectoryAsVolume(Wide(libraries));
    EXPECT_EQ(libraries + "/", VolumeOf(libraries + "/a"));
    EXPECT_EQ(mSyncFolder.Path() + "/", VolumeOf(mSyncFolder.Path("other")));
}

TEST_F(VolumeLookUpTest, ACloudFolderIsComparedByTheVolumesOfBothPaths)
{
    const std::string sync = MakeSyncFolder();
    Discover();
    Mount(sync + "/mounted"); // within the folder, and on a volume of its own
    mVolumes.TellChange();
    Told();
    EXPECT_EQ(sync + "/", VolumeOf(sync + "/mounted/a"));

    // Neither volume can be told: the paths are compared as they stand.
    mVolumes.Fail(sync + "/", ETIMEDOUT);
    mVolumes.Fail(sync + "/a", ETIMEDOUT);
    EXPECT_EQ(sync + "/", VolumeOf(sync + "/a"));
}

TEST_F(VolumeLookUpTest, AVolumeBelowTheFolderOfVolumesIsFoundByItsMount)
{
    Mount("/Volumes/Disk");
    Discover();
    EXPECT_EQ("/Volumes/Disk/", VolumeOf("/Volumes/Disk/a/b"));
    EXPECT_EQ("/", VolumeOf("/Volumes"));
    EXPECT_EQ("/", VolumeOf("/Volumes/nothing/is/mounted/here"));
}

/// A system whose boot volume goes by a name in the folder of volumes.
class BootVolumeTable : public Testing::FakeVolumeTable
{
public:
    int MountOfPath(const std::string& inPath, Platform::Mount& outMount) override
    {
        const int error = FakeVolumeTable::MountOfPath(inPath, outMount);
        if (error == 0 && outMount.mountPoint == "/")
            outMount.mountPoint = "/Volumes/Boot";
        return error;
    }
};

TEST_F(VolumeLookUpTest, TheBootVolumesOwnLinkInTheFolderOfVolumesIsTheRoot)
{
    BootVolumeTable table;
    AddVolume(MakeVolume("/"));
    EXPECT_EQ("/", VolumeOf("/Volumes/Boot/Users/a"));
    EXPECT_EQ("/|/Users/a", Relative("/Volumes/Boot/Users/a"));
}

TEST_F(VolumeLookUpTest, ANetworkVolumeIsFoundByItsAddressUnderAnotherName)
{
    Volume known = MakeVolume("/mnt/nas/", "nas", kVolumeTypeNetwork);
    known.NetworkMountURL = Text("nfs://nas/share");
    AddVolume(known);
    Mount("/Volumes/nas-1", "nfs4", "nas:/share");
    EXPECT_EQ("/mnt/nas/", VolumeOf("/Volumes/nas-1/a/b"));
    EXPECT_EQ("/mnt/nas/|/a/b", Relative("/Volumes/nas-1/a/b"))
        << "whatever the length of the volume's own path";
    EXPECT_EQ("none", VolumeOf("/Volumes/nas-1")) << "no separator behind the name";

    Mount("/media/Volumes/nas-2", "nfs4", "nas:/share");
    EXPECT_EQ("/mnt/nas/", VolumeOf("/media/Volumes/nas-2/a")) << "anywhere in the path";
    Mount("/media/nas-3", "nfs4", "nas:/share");
    EXPECT_EQ("none", VolumeOf("/media/nas-3/a"));
}

TEST_F(VolumeLookUpTest, APathWithoutAnAddressIsOnTheFirstLocalVolume)
{
    Discover(); // knows "/", whose address is null
    Mount("/Volumes/Unknown");
    EXPECT_EQ("/", VolumeOf("/Volumes/Unknown/a"));
    EXPECT_EQ("/|/a", Relative("/Volumes/Unknown/a"));
    mVolumes.Fail("/Volumes/Unknown", ETIMEDOUT); // no address can be had at all
    EXPECT_EQ("/", VolumeOf("/Volumes/Unknown/a"));
}

TEST_F(VolumeLookUpTest, ARelativePathHasNoLeadingSlash)
{
    Mount("/mnt/disk");
    Discover();
    EXPECT_EQ("/|home/a", Relative("/home/a"));
    EXPECT_EQ("/mnt/disk/|a/b", Relative("/mnt/disk/a/b"));
}

TEST_F(VolumeLookUpTest, BelowTheFolderOfVolumesItHasOne)
{
    Mount("/Volumes/Disk");
    Discover();
    EXPECT_EQ("/Volumes/Disk/|/a/b", Relative("/Volumes/Disk/a/b"));
    EXPECT_EQ("none", Relative("/Volumes/nothing")) << "nothing stands behind the name";
}

TEST_F(VolumeLookUpTest, TheMountPathItselfIsNotRelativeToAnything)
{
    Mount("/mnt/disk");
    Discover();
    EXPECT_EQ("none", Relative("/"));
    EXPECT_EQ("none", Relative("/mnt/disk"));
    EXPECT_EQ("none", Relative("/mnt/disk/"));
}

TEST_F(VolumeLookUpTest, APathOnNoKnownVolumeHasNoRelativeForm)
{
    EXPECT_EQ("none", Relative("/home/a"));
}

TEST_F(VolumeLookUpTest, TheArgumentsMayBeOneObject)
{
    Discover();
    Volume volume;
    UTF16String path = u"/home/a";
    EXPECT_TRUE(MakeAbsolutePathRelativeToVolumePath(path, path, volume));
    EXPECT_EQ(u"home/a", path);
}

} // namespace
} // namespace RKTests
