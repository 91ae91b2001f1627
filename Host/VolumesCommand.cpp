#include "VolumesCommand.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include <RiverKit/RKVolumeUtilities.h>

#include "CommandLine.h"
#include "Text.h"

namespace RKHost
{

namespace
{

using namespace RK::VolumeUtilities;

using Row = std::vector<std::string>;

const char* KindOf(const Volume& inVolume)
{
    switch (inVolume.VolumeType)
    {
    case kVolumeTypeLocal:
        return "local";
    case kVolumeTypeNetwork:
        return "network";
    case kVolumeTypeSkyAtelierSync:
        return "sync";
    case kVolumeTypeSkyAtelierLibraries:
        return "libraries";
    default:
        return "other";
    }
}

/// A dash where there is nothing to tell.
std::string Cell(const qelcore::utility::ImmutableString& inText)
{
    const std::string text = FromLibraryPath(inText.ToString());
    return text.empty() ? "-" : text;
}

Row RowOf(const Volume& inVolume)
{
    return {Cell(inVolume.VolumePath), Cell(inVolume.FriendlyName), KindOf(inVolume),
            Cell(inVolume.HostName), Cell(inVolume.NetworkMountURL)};
}

const Row kHeading = {"PATH", "NAME", "KIND", "SERVER", "ADDRESS"};

void PrintAll()
{
    Volumes volumes;
    GetVolumes(volumes);
    std::vector<Row> rows;
    for (const Volume& volume : volumes)
        rows.push_back(RowOf(volume));
    std::sort(rows.begin(), rows.end());
    rows.insert(rows.begin(), kHeading);
    std::cout << Columns(rows);
}

ExitCode PrintVolumeOf(const std::string& inPath)
{
    const std::string path = std::filesystem::absolute(inPath).lexically_normal().string();
    Volume volume;
    if (!GetVolumeInfo(ToLibraryPath(path), volume))
    {
        std::cerr << "rkhost: '" << inPath << "' is on no known volume\n";
        return kExit_Failure;
    }
    std::cout << Columns({kHeading, RowOf(volume)});
    qelcore::UTF16String relative;
    if (MakeAbsolutePathRelativeToVolumePath(ToLibraryPath(path), relative, volume))
        std::cout << "relative path: " << FromLibraryPath(relative) << "\n";
    else
        std::cout << "the volume itself\n";
    return kExit_OK;
}

} // namespace

ExitCode RunVolumes(const std::vector<std::string>& inArguments)
{
    const auto paths = ParseArguments("rkhost", "volumes", {}, inArguments);
    if (paths.size() > 1)
        Refuse("rkhost", "volumes takes one path, and '" + paths[1] + "' is a second one");
    InitializeDriveDiscovery();
    if (!paths.empty())
        return PrintVolumeOf(paths[0]);
    PrintAll();
    return kExit_OK;
}

} // namespace RKHost
