#include "FileError.h"

#include <cerrno>

namespace ZOR
{

qelcore::Result ResultOfError(int inError)
{
    switch (inError)
    {
    case 0:
        return qelcore::kResult_OK;
    case ENOENT:
        return kFileResult_NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
        return kFileResult_AccessDenied;
    case EINVAL:
        return kFileResult_BadArgument;
    case EMFILE:
    case ENFILE:
        return kFileResult_TooManyOpenFiles;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return kFileResult_NoSpace;
    case EISDIR:
        return kFileResult_IsDirectory;
    case ENOTDIR:
        return kFileResult_NotDirectory;
    case ENAMETOOLONG:
        return kFileResult_NameTooLong;
    case EEXIST:
        return kFileResult_AlreadyExists;
    case EXDEV:
        return kFileResult_OtherVolume;
    case ELOOP:
        return kFileResult_LinkLoop;
    case EIO:
        return kFileResult_DeviceFailure;
    case ETIMEDOUT:
        return kFileResult_TimedOut;
    default:
        return qelcore::kResult_GeneralFailure;
    }
}

} // namespace ZOR
