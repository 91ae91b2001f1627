#include "qelcore/FileUtils.h"

#include <cerrno>
#include <string>
#include <vector>

#include "PathText.h"
#include "Platform/FileSystem.h"
#include "Platform/VolumeAddress.h"
#include "Platform/VolumeTable.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace utility
{
namespace FileUtils
{
namespace
{

using filesupport::file_exception;
using filesupport::ParentPath;

void ThrowIf(int inError, const char* inAttempt, const PathSpecifier& inPath)
{
    if (inError != 0)
        throw file_exception(inAttempt, inPath, inError);
}

/// @return 0 for a folder or a link to one, ENOTDIR for anything else that is there.
int CheckFolder(const PathSpecifier& inPath)
{
    Platform::FileStatus status;
    const int error =
        Platform::FileSystem().Stat(UTF16ToFileName(inPath), Platform::LinkPolicy::kFollow, status);
    if (error != 0)
        return error;
    return status.kind == Platform::FileKind::kDirectory ? 0 : ENOTDIR;
}

int MakeFolder(const PathSpecifier& inPath)
{
    const int error = Platform::FileSystem().MakeDirectory(UTF16ToFileName(inPath));
    return error == EEXIST ? CheckFolder(inPath) : error; // somebody was quicker
}

Platform::VolumeSpace SpaceOf(const PathSpecifier& inPath, const char* inAttempt)
{
    Platform::VolumeSpace space;
    ThrowIf(Platform::VolumeTable().Space(UTF16ToFileName(inPath), space), inAttempt, inPath);
    return space;
}

bool FindMount(const PathSpecifier& inPath, Platform::Mount& outMount)
{
    if (inPath.empty() || inPath[0] != u'/')
        return false;
    for (PathSpecifier path = inPath;; path = ParentPath(path))
    {
        const int error = Platform::VolumeTable().MountOfPath(UTF16ToFileName(path), outMount);
        const bool mayBeAbove = (error == ENOENT || error == ENOTDIR) && path.size() > 1;
        if (!mayBeAbove)
            return error == 0;
    }
}

} // namespace

void BuildPathSpec(const PathSpecifier& inFolder, const UTF16String& inName, PathSpecifier& outPath)
{
    outPath = filesupport::JoinPath(inFolder, inName);
}

void EnsureDirectoryExists(const PathSpecifier& inPath)
{
    std::vector<PathSpecifier> missing; // the last is the highest
    int error = ENOENT;
    for (PathSpecifier path = filesupport::WithoutTrailingSlashes(inPath);
         error == ENOENT && !path.empty(); path = ParentPath(path))
    {
        error = CheckFolder(path);
        if (error == ENOENT)
            missing.push_back(path);
        if (path == ParentPath(path))
            break;
    }
    if (!missing.empty() && error == ENOENT && missing.back()[0] != u'/')
        error = 0; // a relative path begins in the current folder
    for (; error == 0 && !missing.empty(); missing.pop_back())
        error = MakeFolder(missing.back());
    ThrowIf(error, "Cannot make folder", inPath);
}

bool FileExists(const PathSpecifier& inPath)
{
    Platform::FileStatus status;
    return Platform::FileSystem().Stat(UTF16ToFileName(inPath), Platform::LinkPolicy::kFollow,
                                       status) == 0 &&
           status.kind != Platform::FileKind::kDirectory;
}

bool RemoveFile(const PathSpecifier& inPath)
{
    const int error = Platform::FileSystem().RemoveFile(UTF16ToFileName(inPath));
    return error == 0 || error == ENOENT;
}

void UpdateFileAccessedTime(const PathSpecifier& inPath)
{
    const int error = Platform::FileSystem().Touch(UTF16ToFileName(inPath));
    ThrowIf(error == EPERM || error == EROFS ? 0 : error, "Cannot set the access time of file",
            inPath);
}

std::uint64_t GetVolumeFreeSpace(const PathSpecifier& inPath)
{
    return SpaceOf(inPath, "Cannot find the free space of the volume of").freeBytes;
}

std::uint64_t GetVolumeSize(const PathSpecifier& inPath)
{
    return SpaceOf(inPath, "Cannot find the size of the volume of").sizeBytes;
}

bool GetVolumePath(const PathSpecifier& inPath, PathSpecifier& outVolumePath)
{
    Platform::Mount mount;
    if (!FindMount(inPath, mount))
        return false;
    outVolumePath = filesupport::JoinPath(FileNameToUTF16(mount.mountPoint), UTF16String());
    return true;
}

bool GetPathVolumeHostName(const PathSpecifier& inPath, UTF16String& outHostName)
{
    outHostName.clear();
    Platform::Mount mount;
    if (FindMount(inPath, mount))
        outHostName = FileNameToUTF16(Platform::HostOfVolume(mount.type, mount.source));
    return !outHostName.empty();
}

} // namespace FileUtils
} // namespace utility
} // namespace qelcore
