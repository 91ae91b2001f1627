// On which volume a path lies.
#include <algorithm>
#include <string_view>

#include "RKVolumeUtilities.h"
#include "VolumeUtilities.h"
#include "ZOR/PathUtils.h"
#include "qelcore/FileUtils.h"

namespace RK
{
namespace VolumeUtilities
{
namespace
{

using qelcore::UTF16String;
using qelcore::utility::ImmutableString;
using qelcore::utility::FileUtils::GetVolumePath;

constexpr std::u16string_view kVolumesPrefix = u"/Volumes/";
constexpr char16_t kVolumesSeparator = u'/';

bool BeginsWith(std::u16string_view inText, std::u16string_view inStart)
{
    return inText.substr(0, inStart.size()) == inStart;
}

/// Puts the volume's path in front of a path, unless that begins with the folder of volumes. The text leads
/// nowhere: it is for comparing paths that both went through here.
UTF16String AbsoluteOnItsVolume(const UTF16String& inPath)
{
    UTF16String volume;
    if (BeginsWith(inPath, kVolumesPrefix) || !GetVolumePath(inPath, volume))
        return inPath;
    if (!volume.empty() && volume.back() == kVolumesSeparator)
        volume.pop_back();
    return volume + inPath;
}

bool IsSynthetic(const Volume& inVolume)
{
    return inVolume.VolumeType == kVolumeTypeSkyAtelierLibraries ||
           inVolume.VolumeType == kVolumeTypeSkyAtelierSync;
}

const Volume* FindSynthetic(const Volumes& inVolumes, const UTF16String& inPath)
{
    UTF16String path;
    for (const Volume& volume : inVolumes)
    {
        if (!IsSynthetic(volume))
            continue;
        if (path.empty()) // asked once, and only where there is something to compare with
            path = AbsoluteOnItsVolume(inPath);
        if (BeginsWith(path, AbsoluteOnItsVolume(volume.VolumePath.ToString())))
            return &volume;
    }
    return nullptr;
}

char16_t Folded(char16_t inUnit)
{
    return inUnit >= u'A' && inUnit <= u'Z' ? static_cast<char16_t>(inUnit + 32) : inUnit;
}

/// Whether both are equal but for the case of the letters of ASCII.
bool IsSamePath(const UTF16String& inA, const UTF16String& inB)
{
    return std::equal(inA.begin(), inA.end(), inB.begin(), inB.end(),
                      [](char16_t a, char16_t b) { return Folded(a) == Folded(b); });
}

/// Where the volume of a path is mounted. @return false if that cannot be told.
bool FindRoot(const UTF16String& inPath, UTF16String& outRoot)
{
    outRoot.clear();
    if (BeginsWith(inPath, kVolumesPrefix))
    {
        // The boot volume may have a link of its own in that folder. A boot volume that is told as "/" has
        // none: each path begins with that, and other volumes would be taken for it.
        UTF16String boot;
        if (GetVolumePath(UTF16String(1, kVolumesSeparator), boot) && boot.size() > 1 &&
            BeginsWith(inPath, boot))
            outRoot = kVolumesSeparator;
    }
    else if (!ZOR::PathUtils::IsWinAPIAcceptablePath(inPath))
        outRoot = kVolumesSeparator;
    return !outRoot.empty() || (GetVolumePath(inPath, outRoot) && !outRoot.empty());
}

const Volume* FindMounted(const Volumes& inVolumes, const UTF16String& inRoot)
{
    const UTF16String root = ZOR::PathUtils::AddTrailingSlash(inRoot);
    const auto found = std::find_if(inVolumes.begin(), inVolumes.end(), [&](const Volume& inVolume)
                                    { return IsSamePath(inVolume.VolumePath.ToString(), root); });
    return found == inVolumes.end() ? nullptr : &*found;
}

/// By the address from which "/Volumes/name" is mounted. Where it has none, the null address is that of each
/// local volume, and the first of them answers.
const Volume* FindByAddress(const Volumes& inVolumes, const UTF16String& inPath)
{
    const std::size_t prefix = inPath.find(kVolumesPrefix);
    if (prefix == UTF16String::npos)
        return nullptr;
    const std::size_t end = inPath.find(kVolumesSeparator, prefix + kVolumesPrefix.size());
    if (end == UTF16String::npos)
        return nullptr;
    const ImmutableString address =
        PlatformSpecific::GetNetworkMountURLFromDrivePath(inPath.substr(0, end));
    const auto found = std::find_if(inVolumes.begin(), inVolumes.end(), [&](const Volume& inVolume)
                                    { return inVolume.NetworkMountURL == address; });
    return found == inVolumes.end() ? nullptr : &*found;
}

const Volume* FindVolume(const Volumes& inVolumes, const UTF16String& inPath)
{
    if (const Volume* const synthetic = FindSynthetic(inVolumes, inPath))
        return synthetic;
    UTF16String root;
    if (!FindRoot(inPath, root))
        return nullptr;
    const Volume* const mounted = FindMounted(inVolumes, root);
    return mounted != nullptr ? mounted : FindByAddress(inVolumes, inPath);
}

} // namespace

bool GetVolumeInfo(const UTF16String& inPath, Volume& outVolume)
{
    if (inPath.empty())
        return false;
    Volumes volumes;
    GetVolumes(volumes);
    const Volume* const found = FindVolume(volumes, inPath);
    if (found != nullptr)
        outVolume = *found;
    return found != nullptr;
}

// The two forms differ on purpose: a volume below "/Volumes/" may have been found by its address, under
// another name, and then the length of its own path says nothing about this one.
bool MakeAbsolutePathRelativeToVolumePath(const UTF16String& inAbsolute, UTF16String& outRelative,
                                          Volume& outVolume)
{
    if (inAbsolute.empty() || !GetVolumeInfo(UTF16String(inAbsolute), outVolume))
        return false;
    std::size_t begin = outVolume.VolumePath.ToString().size();
    if (inAbsolute.size() <= begin)
        return false;
    if (BeginsWith(inAbsolute, kVolumesPrefix))
        begin = inAbsolute.find(kVolumesSeparator, kVolumesPrefix.size());
    if (begin == UTF16String::npos)
        return false;
    outRelative = inAbsolute.substr(begin);
    return true;
}

} // namespace VolumeUtilities
} // namespace RK
