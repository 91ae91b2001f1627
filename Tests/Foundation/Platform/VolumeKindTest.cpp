#include "Platform/VolumeKind.h"

#include <gtest/gtest.h>

namespace
{

using namespace Platform;

Mount Of(const std::string& inType, const std::string& inSource = "none",
         const std::string& inSuperOptions = "rw")
{
    Mount mount;
    mount.type = inType;
    mount.source = inSource;
    mount.superOptions = inSuperOptions;
    return mount;
}

TEST(VolumeKind, IsNetworkByItsType)
{
    for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "9p", "ceph", "fuse.sshfs",
                             "fuse.rclone", "lustre", "fuse.glusterfs", "afpfs"})
        EXPECT_TRUE(IsNetworkMount(Of(type))) << type;
    for (const char* type :
         {"ext4", "xfs", "tmpfs", "overlay", "fuse.portal", "fuseblk", "proc", "nfsd", "virtiofs"})
        EXPECT_FALSE(IsNetworkMount(Of(type))) << type;
}

TEST(VolumeKind, IsNetworkByItsSource)
{
    for (const char* source : {"//host/share", "host:/export", "[fe80::1]:/x", "https://host/dav"})
        EXPECT_TRUE(IsNetworkMount(Of("fuse.strange", source))) << source;
    for (const char* source : {"/dev/sda1", "/a:/b", ":/x", "://x", "tmpfs", "a b://c"})
        EXPECT_FALSE(IsNetworkMount(Of("fuse.strange", source))) << source;
}

TEST(VolumeKind, OfAFolderOfTheHostIsLocal)
{
    EXPECT_FALSE(IsNetworkMount(Of("9p", "share", "rw,trans=virtio,version=9p2000.L")));
    EXPECT_TRUE(IsNetworkMount(Of("9p", "share", "rw,trans=tcp")));
    EXPECT_TRUE(IsNetworkMount(Of("9p", "share", "rw,xtrans=virtio")));
}

TEST(VolumeKind, OfAutomounterAndKernelIsTold)
{
    EXPECT_TRUE(IsAutomounter(Of("autofs")));
    EXPECT_FALSE(IsAutomounter(Of("nfs")));
    for (const char* type : {"proc", "sysfs", "cgroup2", "devpts", "tracefs"})
        EXPECT_TRUE(IsPseudoMount(Of(type))) << type;
    for (const char* type : {"tmpfs", "overlay", "ext4", "fuse", "nfs"})
        EXPECT_FALSE(IsPseudoMount(Of(type))) << type;
}

} // namespace
