#include "Platform/VolumeKind.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Platform
{
namespace
{

constexpr std::string_view kNetworkTypes[] = {
    "9p",     "acfs",      "afpfs", "afs",    "beegfs", "ceph",  "cifs",   "coda",       "davfs",
    "davfs2", "glusterfs", "gpfs",  "lustre", "ncpfs",  "nfs",   "nfs4",   "pvfs2",      "orangefs",
    "rclone", "curlftpfs", "s3fs",  "sshfs",  "smb3",   "smbfs", "webdav", "gvfsd-fuse",
};

constexpr std::string_view kPseudoTypes[] = {
    "binder", "binfmt_misc", "bpf",      "cgroup",  "cgroup2",    "configfs",   "debugfs",
    "devpts", "devtmpfs",    "efivarfs", "fusectl", "hugetlbfs",  "mqueue",     "nsfs",
    "pipefs", "proc",        "pstore",   "resctrl", "rpc_pipefs", "securityfs", "selinuxfs",
    "sockfs", "sysfs",       "tracefs",  "usbfs",   "smackfs",    "nfsd",
};

constexpr std::string_view kFuse = "fuse.";

template <std::size_t Size>
bool IsOneOf(std::string_view inType, const std::string_view (&inTypes)[Size])
{
    return std::find(std::begin(inTypes), std::end(inTypes), inType) != std::end(inTypes);
}

/// The name behind "fuse.", or the type itself.
std::string_view TypeOf(const Mount& inMount)
{
    std::string_view type = inMount.type;
    if (type.substr(0, kFuse.size()) == kFuse)
        type.remove_prefix(kFuse.size());
    return type;
}

bool HasOption(const std::string& inOptions, std::string_view inOption)
{
    for (std::size_t at = 0; at <= inOptions.size();)
    {
        const std::size_t end = std::min(inOptions.find(',', at), inOptions.size());
        if (std::string_view(inOptions).substr(at, end - at) == inOption)
            return true;
        at = end + 1;
    }
    return false;
}

/// "scheme://": letters, digits, plus, dot and minus ahead of it.
bool HasScheme(std::string_view inSource)
{
    const std::size_t end = inSource.find("://");
    return end != std::string_view::npos && end != 0 &&
           std::all_of(inSource.begin(), inSource.begin() + static_cast<std::ptrdiff_t>(end),
                       [](unsigned char c)
                       { return std::isalnum(c) != 0 || c == '+' || c == '.' || c == '-'; });
}

/// "host:/path", "user@host:/path" or "[::1]:/path".
bool HasHost(std::string_view inSource)
{
    const std::size_t end = inSource.find(":/");
    return end != std::string_view::npos && end != 0 &&
           std::all_of(inSource.begin(), inSource.begin() + static_cast<std::ptrdiff_t>(end),
                       [](unsigned char c)
                       { return std::isalnum(c) != 0 || std::strchr("._-[]:@%", c) != nullptr; });
}

} // namespace

bool IsNetworkMount(const Mount& inMount)
{
    const std::string_view type = TypeOf(inMount);
    if ((type == "9p" || type == "virtiofs") && HasOption(inMount.superOptions, "trans=virtio"))
        return false;
    return IsOneOf(type, kNetworkTypes) || inMount.source.compare(0, 2, "//") == 0 ||
           HasHost(inMount.source) || HasScheme(inMount.source);
}

bool IsAutomounter(const Mount& inMount)
{
    return inMount.type == "autofs";
}

bool IsPseudoMount(const Mount& inMount)
{
    return IsOneOf(inMount.type, kPseudoTypes);
}

} // namespace Platform
