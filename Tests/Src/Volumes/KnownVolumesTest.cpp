// The known volumes as an application sees them, on the machine that the test runs on.
#include <string>

#include <gtest/gtest.h>

#include "RKInitializer.h"
#include "RKVolumeUtilities.h"
#include "Support/ChildProcess.h"
#include "Support/RealRights.h"
#include "qelcore/Console.h"
#include "qelcore/MainThread.h"
#include "qelcore/UTFStream.h"

namespace
{

using namespace RK::VolumeUtilities;
using qelcore::UTF16String;

// In one test, since the list stays for the process.
TEST(KnownVolumes, TheRootIsKnownOnceDisksAreDiscovered)
{
    RK_NEEDS_A_ROOT_VOLUME();
    qelcore::threads::RegisterMainThread();
    const RK::Initializer library;
    Volumes volumes;
    GetVolumes(volumes);
    EXPECT_TRUE(volumes.empty());
    qelcore::oUTF16StringStream output;
    EXPECT_TRUE(qelcore::console::CommandRegistry::Execute(u"RK.Volumes", output));
    EXPECT_EQ(u"", output.str());

    InitializeDriveDiscovery();
    Volume volume;
    ASSERT_TRUE(GetVolumeInfo(u"/", volume));
    EXPECT_EQ(u"/", volume.VolumePath.ToString());
    EXPECT_FALSE(volume.FriendlyName.ToString().empty());
    EXPECT_FALSE(GetVolumeInfo(u"", volume));
    UTF16String relative;
    EXPECT_FALSE(MakeAbsolutePathRelativeToVolumePath(u"/", relative, volume));
    EXPECT_TRUE(MakeAbsolutePathRelativeToVolumePath(u"/there is no such file", relative, volume));
    EXPECT_EQ(u"there is no such file", relative);
    EXPECT_TRUE(qelcore::console::CommandRegistry::Execute(u"RK.Volumes", output));
    EXPECT_NE(UTF16String::npos, output.str().find(u"Volume :  VolumePath: / FriendlyName: "));
}

} // namespace
