// rkhost tells of volumes.
#include "RkhostFixture.h"
#include "Support/ChildProcess.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;
using testing::StartsWith;

class RkhostVolumesTest : public RkhostTest
{
};

TEST_F(RkhostVolumesTest, AllAreListedUnderAHeading)
{
    RK_NEEDS_A_ROOT_VOLUME();
    const Ended ended = Run({"volumes"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, StartsWith("PATH"));
    EXPECT_THAT(ended.mOutput, testing::ContainsRegex("\n/  +[^ ].*  (local|network)"));
    EXPECT_THAT(ended.mOutput, testing::Not(HasSubstr("\n/proc/ ")));
}

TEST_F(RkhostVolumesTest, APathIsToldWithItsVolumeAndHowItReadsThere)
{
    RK_NEEDS_A_ROOT_VOLUME();
    const Ended ended = Run({"volumes", "/there is/no such/../file"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("\n/ "));
    EXPECT_THAT(ended.mOutput, HasSubstr("\nrelative path: there is/file\n"));
    EXPECT_THAT(Run({"volumes", "/"}).mOutput, HasSubstr("\nthe volume itself\n"));
}

TEST_F(RkhostVolumesTest, ACloudFolderIsListedAsWhatItIs)
{
    const std::string folder = mFolder.Path("Cloud");
    std::filesystem::create_directory(folder);
    const Ended ended =
        Run({"volumes", folder + "/clip"}, "", {"RK_DEBUG=SkyAtelier.SyncFolder=" + folder});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("\n" + folder + "/  Cloud  sync "));
    EXPECT_THAT(ended.mOutput, HasSubstr("\nrelative path: clip\n"));
}

TEST_F(RkhostVolumesTest, TheConsolesCommandFindsTheVolumesByItself)
{
    RK_NEEDS_A_ROOT_VOLUME();
    const Ended ended = Run({"console", "RK.Volumes"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("Volume :  VolumePath: / FriendlyName: "));
}

TEST_F(RkhostVolumesTest, OnePathIsEnough)
{
    const Ended ended = Run({"volumes", "a", "b"});
    EXPECT_EQ(2, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("'b' is a second one"));
}

} // namespace
} // namespace RKHostTests
