#include "VolumeHost.h"

namespace qelcore
{
namespace filesupport
{
namespace
{

/// Cuts a port, and the brackets of an address with colons.
std::string HostOfAuthority(const std::string& inAuthority)
{
    const std::string address = inAuthority.substr(inAuthority.rfind('@') + 1); // npos + 1 is 0
    if (!address.empty() && address[0] == '[')
        return address.substr(1, address.find(']') - 1);
    return address.substr(0, address.find(':'));
}

bool IsSSH(const std::string& inType)
{
    return inType == "fuse.sshfs";
}

} // namespace

std::string HostOfVolume(const std::string& inType, const std::string& inSource)
{
    const std::size_t scheme = inSource.find("://");
    if (scheme != std::string::npos || inSource.compare(0, 2, "//") == 0)
    {
        const std::size_t begin = scheme != std::string::npos ? scheme + 3 : 2;
        const std::size_t end = inSource.find('/', begin);
        return HostOfAuthority(
            inSource.substr(begin, end == std::string::npos ? end : end - begin));
    }
    // Local sources are paths of devices, or words without a colon and a slash.
    const std::size_t path = inSource.find(IsSSH(inType) ? ":" : ":/");
    if (path == std::string::npos || inSource[0] == '/')
        return std::string();
    if (inSource[0] == '[')
        return HostOfAuthority(inSource);
    // Of several servers the first; and some put the kind of network behind the host.
    const std::string servers = inSource.substr(0, path);
    return IsSSH(inType) ? HostOfAuthority(servers)
                         : servers.substr(0, servers.find_first_of(":,@"));
}

} // namespace filesupport
} // namespace qelcore
