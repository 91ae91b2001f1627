#include "Platform/VolumeAddress.h"

#include <cstring>
#include <string_view>

namespace Platform
{
namespace
{

/// Where an address has its parts; each as it stands in the source.
struct Address
{
    std::string_view scheme;
    std::string_view authority; ///< user, host and port
    std::string_view path;      ///< with its slash
    bool isEncoded = false;
};

/// Cuts a user and a port; an address with colons keeps its brackets.
std::string_view HostWithBrackets(std::string_view inAuthority)
{
    inAuthority.remove_prefix(inAuthority.rfind('@') + 1); // npos + 1 is 0
    if (!inAuthority.empty() && inAuthority[0] == '[')
        return inAuthority.substr(0, inAuthority.find(']') + 1);
    return inAuthority.substr(0, inAuthority.find(':'));
}

std::string HostOfAuthority(std::string_view inAuthority)
{
    std::string_view host = HostWithBrackets(inAuthority);
    if (!host.empty() && host[0] == '[')
        host = host.substr(1, host.size() - 2);
    return std::string(host);
}

bool IsSSH(std::string_view inType)
{
    return inType == "fuse.sshfs";
}

/// What ends the host of a source that is neither an address nor begins with slashes.
std::size_t EndOfServer(std::string_view inType, std::string_view inSource)
{
    const bool hasBrackets = inSource.substr(0, 1) == "[" ||
                             (IsSSH(inType) && inSource.find("@[") != std::string_view::npos);
    if (hasBrackets)
    {
        const std::size_t end = inSource.find("]:");
        return end == std::string_view::npos ? end : end + 1;
    }
    return inSource.find(IsSSH(inType) ? ":" : ":/");
}

struct SchemeRow
{
    std::string_view type;
    std::string_view scheme;
};

constexpr SchemeRow kSchemes[] = {
    {"nfs", "nfs"},      {"nfs4", "nfs"},      {"fuse.sshfs", "sftp"}, {"cifs", "smb"},
    {"smb3", "smb"},     {"smbfs", "smb"},     {"afpfs", "afp"},       {"fuse.afpfs", "afp"},
    {"fuse.nfs", "nfs"}, {"fuse.cifs", "smb"}, {"fuse.smb3", "smb"},
};

std::string_view SchemeOf(std::string_view inType)
{
    for (const SchemeRow& row : kSchemes)
        if (row.type == inType)
            return row.scheme;
    return {};
}

void SplitAtSlash(std::string_view inText, Address& outAddress)
{
    const std::size_t slash = inText.find('/');
    outAddress.authority = inText.substr(0, slash);
    outAddress.path = slash == std::string_view::npos ? "/" : inText.substr(slash);
}

bool Split(const Mount& inMount, Address& outAddress)
{
    const std::string_view source = inMount.source;
    const std::size_t scheme = source.find("://");
    if (scheme != std::string_view::npos)
    {
        const std::string_view rest = source.substr(scheme + 3);
        outAddress.scheme = source.substr(0, scheme);
        outAddress.isEncoded = true;
        SplitAtSlash(rest.substr(0, rest.find_first_of("?#")), outAddress);
        return true;
    }
    outAddress.scheme = SchemeOf(inMount.type);
    if (source.substr(0, 2) == "//")
    {
        SplitAtSlash(source.substr(2), outAddress);
        return true;
    }
    const std::size_t end = EndOfServer(inMount.type, source);
    if (end == std::string_view::npos || source[0] == '/')
        return false;
    outAddress.authority = source.substr(0, end);
    outAddress.path = source.substr(end + 1);
    return true;
}

/// Brackets belong to a host alone, where they are around an address with colons.
bool IsPlain(char inByte)
{
    return (inByte >= 'a' && inByte <= 'z') || (inByte >= 'A' && inByte <= 'Z') ||
           (inByte >= '0' && inByte <= '9') ||
           (inByte != '\0' && std::strchr("-._~!$&'()*+,;=:@/", inByte) != nullptr);
}

/// @param inKept  bytes that stay, besides the plain ones.
std::string Encoded(std::string_view inText, const std::string& inKept)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const char byte : inText)
    {
        if (IsPlain(byte) || inKept.find(byte) != std::string::npos)
        {
            text += byte;
            continue;
        }
        const unsigned value = static_cast<unsigned char>(byte);
        text += {'%', kDigits[value >> 4], kDigits[value & 15]};
    }
    return text;
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
    const std::size_t path = EndOfServer(inType, inSource);
    if (path == std::string::npos || inSource[0] == '/')
        return std::string();
    if (inSource[0] == '[')
        return HostOfAuthority(inSource);
    // Of several servers the first; and some put the kind of network behind the host.
    const std::string servers = inSource.substr(0, path);
    return IsSSH(inType) ? HostOfAuthority(servers)
                         : servers.substr(0, servers.find_first_of(":,@"));
}

std::string URLOfVolume(const Mount& inMount)
{
    Address address;
    if (!Split(inMount, address) || address.scheme.empty())
        return std::string();
    const std::string_view host = HostWithBrackets(address.authority);
    if (host.empty())
        return std::string();
    std::string path(address.path);
    if (path.empty() || path[0] != '/')
        path = "/~/" + path;
    const std::string escape = address.isEncoded ? "%" : "";
    return std::string(address.scheme) + "://" + Encoded(host, escape + "[]") +
           Encoded(path, escape);
}

} // namespace Platform
