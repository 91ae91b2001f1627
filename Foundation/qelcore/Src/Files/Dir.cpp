#include "qelcore/Dir.h"

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "FileWalk.h"
#include "PathText.h"
#include "Platform/FileSystem.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace filesupport
{
namespace
{

using Platform::IFileSystem;

/// Appends the folders directly in inFolder. @return ENOTEMPTY if there is anything else in it.
int ListFoldersAlone(IFileSystem& inFileSystem, const std::string& inFolder,
                     std::vector<std::string>& ioFolders)
{
    std::unique_ptr<Platform::IDirectoryListing> listing;
    if (const int error = inFileSystem.List(inFolder, Platform::LinkPolicy::kDoNotFollow, listing))
        return error;
    for (;;)
    {
        Platform::DirectoryEntry entry;
        bool end = false;
        if (const int error = listing->Next(entry, end))
            return error;
        if (end)
            return 0;
        if (entry.kind != Platform::FileKind::kDirectory)
            return ENOTEMPTY;
        ioFolders.push_back(inFolder + "/" + entry.name);
    }
}

/// The folder and all below it, each ahead of those in it. @return ENOTEMPTY if there is anything else.
int CollectFolders(IFileSystem& inFileSystem, const std::string& inTop,
                   std::vector<std::string>& outFolders)
{
    Platform::FileStatus status;
    if (const int error = inFileSystem.Stat(inTop, Platform::LinkPolicy::kDoNotFollow, status))
        return error;
    if (status.kind != Platform::FileKind::kDirectory)
        return ENOTDIR;
    outFolders.push_back(inTop);
    for (std::size_t i = 0; i < outFolders.size(); ++i)
    {
        const std::string folder = outFolders[i]; // a copy: the vector grows
        const int error = ListFoldersAlone(inFileSystem, folder, outFolders);
        const bool removedMeanwhile = error == ENOENT && i > 0;
        if (error != 0 && !removedMeanwhile)
            return error;
    }
    return 0;
}

/// Removes the folders from the back. If one resists, those behind it are made again.
int RemoveAllOrNone(IFileSystem& inFileSystem, const std::vector<std::string>& inFolders)
{
    for (std::size_t left = inFolders.size(); left > 0; --left)
    {
        const int error = inFileSystem.RemoveDirectory(inFolders[left - 1]);
        if (error == 0 || error == ENOENT)
            continue;
        for (std::size_t i = left; i < inFolders.size(); ++i)
            inFileSystem.MakeDirectory(inFolders[i]);
        return error;
    }
    return 0;
}

} // namespace

Dir Dir::TempDir()
{
    return Dir(utility::FileNameToUTF16(Platform::FileSystem().TempDirectory()));
}

UTF16String Dir::GetName() const
{
    const UTF16String path = WithoutTrailingSlashes(mPath);
    return path.size() == 1 ? path : LastComponent(path);
}

void Dir::Create() const
{
    const int error = Platform::FileSystem().MakeDirectory(utility::UTF16ToFileName(mPath));
    if (error != 0)
        throw dir_exception("Cannot create folder", mPath, error);
}

void Dir::Delete() const
{
    IFileSystem& fileSystem = Platform::FileSystem();
    // A slash at the end would make the system follow a link.
    const std::string top = utility::UTF16ToFileName(WithoutTrailingSlashes(mPath));
    std::vector<std::string> folders;
    int error = CollectFolders(fileSystem, top, folders);
    if (error == 0)
        error = RemoveAllOrNone(fileSystem, folders);
    if (error != 0)
        throw dir_exception("Cannot remove folder", mPath, error);
}

bool Dir::Exists() const
{
    Platform::FileStatus status;
    return Platform::FileSystem().Stat(utility::UTF16ToFileName(mPath),
                                       Platform::LinkPolicy::kFollow, status) == 0 &&
           status.kind == Platform::FileKind::kDirectory;
}

FileIterator Dir::BeginFiles(bool inRecursive, const FileFilter& inFilter) const
{
    return FileIterator(boost::make_shared<FileIterator::Walk>(mPath, inRecursive, inFilter));
}

} // namespace filesupport
} // namespace qelcore
