// The texts of the kernel that hold what users chose: names of mount points, sources and groups.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Foundation/Platform/Src/MountInfo.h"
#include "Foundation/Platform/Src/SystemText.h"
#include "Platform/VisibleMounts.h"
#include "Platform/VolumeAddress.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    const std::string_view text(reinterpret_cast<const char*>(inBytes), inSize);
    const std::vector<Platform::Mount> mounts = Platform::ParseMountInfo(text);
    for (const Platform::Mount& mount : mounts)
    {
        if (mount.mountPoint.empty() || mount.mountPoint[0] != '/' || mount.type.empty())
            std::abort();
        const Platform::Mount* const found = Platform::FindMountByText(mounts, mount.mountPoint);
        if (found == nullptr || found->mountPoint.size() < mount.mountPoint.size())
            std::abort();
        const std::string host = Platform::HostOfVolume(mount.type, mount.source);
        if (host.size() > mount.source.size())
            std::abort();
        const std::string url = Platform::URLOfVolume(mount);
        if (!url.empty() && url.find("://") == std::string::npos)
            std::abort();
    }
    if (Platform::VisibleMounts(mounts).size() > mounts.size())
        std::abort();
    Platform::BytesOfKey(text, "MemTotal");
    return 0;
}
