#include "qelcore/Dir.h"

#include <string>

#include <boost/make_shared.hpp>

#include "FileWalk.h"
#include "PathText.h"
#include "Platform/FileSystem.h"
#include "Platform/FolderTree.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace filesupport
{

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
    // A slash at the end would make the system follow a link.
    const std::string top = utility::UTF16ToFileName(WithoutTrailingSlashes(mPath));
    Platform::FolderTree tree;
    int error = tree.Open(Platform::FileSystem(), top);
    if (error == 0)
        error = tree.Survey();
    if (error == 0)
        error = tree.Remove();
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
