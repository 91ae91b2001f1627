#include "qelcore/File.h"

#include <cerrno>

#include "PathText.h"
#include "Platform/FileSystem.h"
#include "qelcore/TextConversion.h"
#include "qelcore/UTCTime.h"

namespace qelcore
{
namespace filesupport
{
namespace
{

void ThrowIf(int inError, const char* inAttempt, const UTF16String& inPath)
{
    if (inError != 0)
        throw file_exception(inAttempt, inPath, inError);
}

} // namespace

UTF16String File::GetName() const
{
    return LastComponent(mPath);
}

void File::Create() const
{
    const Platform::OpenOptions options = {Platform::FileAccess::kWrite,
                                           Platform::FileCreation::kMustCreate, false};
    Platform::FileHandle file = Platform::kNoFile;
    ThrowIf(Platform::FileSystem().Open(utility::UTF16ToFileName(mPath), options, file),
            "Cannot create file", mPath);
    ThrowIf(Platform::FileSystem().Close(file), "Cannot create file", mPath);
}

void File::Delete() const
{
    ThrowIf(Platform::FileSystem().RemoveFile(utility::UTF16ToFileName(mPath)),
            "Cannot remove file", mPath);
}

bool File::Exists() const
{
    Platform::FileStatus status;
    return Platform::FileSystem().Stat(utility::UTF16ToFileName(mPath),
                                       Platform::LinkPolicy::kFollow, status) == 0 &&
           status.kind != Platform::FileKind::kDirectory;
}

boost::posix_time::ptime File::Modified() const
{
    Platform::FileStatus status;
    ThrowIf(Platform::FileSystem().Stat(utility::UTF16ToFileName(mPath),
                                        Platform::LinkPolicy::kFollow, status),
            "Cannot read the time of file", mPath);
    return utility::ToUTCTime(status.modified.seconds, status.modified.nanoseconds / 1000);
}

void File::Rename(const UTF16String& inName)
{
    const bool isName = !inName.empty() && inName.find(u'/') == UTF16String::npos;
    ThrowIf(isName ? 0 : EINVAL, "Cannot rename file", mPath);
    const std::size_t folderSize = mPath.size() - GetName().size();
    const UTF16String path = mPath.substr(0, folderSize) + inName;
    ThrowIf(Platform::RenameWithoutReplacing(Platform::FileSystem(),
                                             utility::UTF16ToFileName(mPath),
                                             utility::UTF16ToFileName(path)),
            "Cannot rename file", mPath);
    mPath = path;
}

} // namespace filesupport
} // namespace qelcore
