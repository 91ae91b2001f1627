#include "Platform/FileSystem.h"

#include <cerrno>

#include "CurrentInstance.h"
#include "LinuxFileSystem.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IFileSystem> sCurrent;

IFileSystem& RealFileSystem()
{
    static LinuxFileSystem* const sReal = new LinuxFileSystem; // outlives all statics
    return *sReal;
}

bool HasNoSuchRename(int inError)
{
    return inError == EINVAL || inError == ENOSYS || inError == EOPNOTSUPP;
}

bool HasNoLinks(int inError)
{
    return inError == EPERM || inError == EOPNOTSUPP || inError == ENOSYS || inError == EMLINK;
}

int MakePlaceholder(IFileSystem& inFileSystem, bool inFolder, const std::string& inPath)
{
    if (inFolder)
        return inFileSystem.MakeDirectory(inPath);
    FileHandle file = kNoFile;
    const int error =
        inFileSystem.Open(inPath, {FileAccess::kWrite, FileCreation::kMustCreate, false}, file);
    return error != 0 ? error : inFileSystem.Close(file);
}

int RenameOverPlaceholder(IFileSystem& inFileSystem, bool inFolder, const std::string& inFrom,
                          const std::string& inTo)
{
    if (const int error = MakePlaceholder(inFileSystem, inFolder, inTo))
        return error;
    const int error = inFileSystem.Rename(inFrom, inTo, RenameMode::kReplace);
    // A folder takes the place of an empty folder only: one that was filled meanwhile stays, and the
    // system says so with either of two numbers.
    if (error == ENOTEMPTY || error == EEXIST)
        return EEXIST;
    if (error != 0 && inFolder)
        inFileSystem.RemoveDirectory(inTo);
    else if (error != 0)
        inFileSystem.RemoveFile(inTo);
    return error;
}

int RenameByLink(IFileSystem& inFileSystem, const std::string& inFrom, const std::string& inTo)
{
    if (const int error = inFileSystem.Link(inFrom, inTo))
        return error;
    const int error = inFileSystem.RemoveFile(inFrom);
    if (error != 0)
        inFileSystem.RemoveFile(inTo);
    return error;
}

} // namespace

IDirectoryListing::~IDirectoryListing() = default;
IFileSystem::~IFileSystem() = default;
IFileSystem& FileSystem()
{
    return sCurrent.Get(RealFileSystem);
}

ScopedFileSystem::ScopedFileSystem(IFileSystem& inFileSystem)
    : mBefore(sCurrent.Exchange(&inFileSystem))
{
}

ScopedFileSystem::~ScopedFileSystem()
{
    sCurrent.Exchange(mBefore);
}

int RenameWithoutReplacing(IFileSystem& inFileSystem, const std::string& inFrom,
                           const std::string& inTo)
{
    const int error = inFileSystem.Rename(inFrom, inTo, RenameMode::kNoReplace);
    if (!HasNoSuchRename(error))
        return error;
    FileStatus status;
    if (const int statError = inFileSystem.Stat(inFrom, LinkPolicy::kDoNotFollow, status))
        return statError;
    if (status.kind == FileKind::kDirectory)
        return RenameOverPlaceholder(inFileSystem, true, inFrom, inTo);
    const int linkError = RenameByLink(inFileSystem, inFrom, inTo);
    return HasNoLinks(linkError) ? RenameOverPlaceholder(inFileSystem, false, inFrom, inTo)
                                 : linkError;
}

} // namespace Platform
