#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/Platform/Src/MountInfo.h"

namespace
{

using Platform::FindMountByText;
using Platform::Mount;
using Platform::ParseMountInfo;
using Platform::UnescapeOctal;

TEST(MountInfo, EachFieldOfALineIsRead)
{
    const std::vector<Mount> mounts =
        ParseMountInfo("36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 shared:2 - ext3 /dev/root "
                       "rw,errors=continue\n");

    ASSERT_EQ(1u, mounts.size());
    EXPECT_EQ(36u, mounts[0].id);
    EXPECT_EQ(35u, mounts[0].parentID);
    EXPECT_EQ("/mnt1", mounts[0].root);
    EXPECT_EQ("/mnt2", mounts[0].mountPoint);
    EXPECT_EQ("rw,noatime", mounts[0].options);
    EXPECT_EQ("ext3", mounts[0].type);
    EXPECT_EQ("/dev/root", mounts[0].source);
    EXPECT_EQ("rw,errors=continue", mounts[0].superOptions);
}

TEST(MountInfo, EscapedBytesOfPathAndSourceComeBack)
{
    const std::vector<Mount> mounts =
        ParseMountInfo("1 0 0:1 / /a\\040b\\011c\\012d\\134e\\043f rw - fuse.x my\\040source rw\n");

    ASSERT_EQ(1u, mounts.size());
    EXPECT_EQ("/a b\tc\nd\\e#f", mounts[0].mountPoint);
    EXPECT_EQ("my source", mounts[0].source);
}

TEST(MountInfo, ABackslashThatBeginsNoEscapeStays)
{
    EXPECT_EQ("\\", UnescapeOctal("\\"));
    EXPECT_EQ("\\04", UnescapeOctal("\\04"));
    EXPECT_EQ("\\489", UnescapeOctal("\\489"));
    EXPECT_EQ("\\777", UnescapeOctal("\\777")); // above one byte
    EXPECT_EQ("\xff", UnescapeOctal("\\377"));
}

TEST(MountInfo, LinesThatMakeNoSenseArePassedOver)
{
    const std::vector<Mount> mounts = ParseMountInfo("\n"
                                                     "x 35 98:0 / /a rw - ext3 /dev/a rw\n"
                                                     "1 2 98:0 / relative rw - ext3 /dev/a rw\n"
                                                     "1 2 98:0 / /no/separator rw ext3 /dev/a rw\n"
                                                     "1 2\n"
                                                     "7 2 0:1 / /good rw - tmpfs");

    ASSERT_EQ(1u, mounts.size());
    EXPECT_EQ("/good", mounts[0].mountPoint);
    EXPECT_EQ("tmpfs", mounts[0].type);
    EXPECT_EQ("", mounts[0].source);
}

class FindMountTest : public ::testing::Test
{
protected:
    std::uint64_t IDAt(const std::string& inPath) const
    {
        const Mount* const mount = FindMountByText(mMounts, inPath);
        return mount == nullptr ? 0 : mount->id;
    }

    const std::vector<Mount> mMounts = ParseMountInfo("1 0 0:1 / / rw - ext4 a rw\n"
                                                      "2 1 0:2 / /mnt/nas rw - nfs b rw\n"
                                                      "3 1 0:3 / /over rw - ext4 c rw\n"
                                                      "4 3 0:4 / /over rw - tmpfs d rw\n");
};

TEST_F(FindMountTest, TheDeepestMountAboveAPathHasIt)
{
    EXPECT_EQ(2u, IDAt("/mnt/nas"));
    EXPECT_EQ(2u, IDAt("/mnt/nas/a/b"));
    EXPECT_EQ(1u, IDAt("/mnt"));
    EXPECT_EQ(1u, IDAt("/"));
}

TEST_F(FindMountTest, ANameThatOnlyBeginsLikeAMountIsNotOnIt)
{
    EXPECT_EQ(1u, IDAt("/mnt/nasty"));
}

TEST_F(FindMountTest, OfTwoMountsOnOneFolderTheLaterIsOnTop)
{
    EXPECT_EQ(4u, IDAt("/over/x"));
}

} // namespace
