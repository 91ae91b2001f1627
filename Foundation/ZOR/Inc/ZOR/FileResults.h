#pragma once

#include "qelcore/Result.h"

namespace ZOR
{

// What the file layer answers besides qelcore::kResult_OK and kResult_GeneralFailure.

constexpr qelcore::Result FileResultCode(unsigned inCode)
{
    return static_cast<qelcore::Result>(0xA00F0000u + inCode);
}

constexpr qelcore::Result kFileResult_NotFound = FileResultCode(0x02); ///< no such file or folder
constexpr qelcore::Result kFileResult_AccessDenied =
    FileResultCode(0x03); ///< also: read-only volume
constexpr qelcore::Result kFileResult_BadArgument =
    FileResultCode(0x04); ///< also: a path with a NUL
constexpr qelcore::Result kFileResult_TooManyOpenFiles =
    FileResultCode(0x05);                                             ///< of process or machine
constexpr qelcore::Result kFileResult_NoSpace = FileResultCode(0x06); ///< volume full, or quota
constexpr qelcore::Result kFileResult_IsDirectory = FileResultCode(0x07);
constexpr qelcore::Result kFileResult_NotDirectory = FileResultCode(0x08); ///< within the path
constexpr qelcore::Result kFileResult_NameTooLong = FileResultCode(0x09);
constexpr qelcore::Result kFileResult_AlreadyExists = FileResultCode(0x0A);
constexpr qelcore::Result kFileResult_OtherVolume = FileResultCode(0x0B); ///< a move across volumes
constexpr qelcore::Result kFileResult_NotOpen = FileResultCode(0x0C);
constexpr qelcore::Result kFileResult_AlreadyOpen = FileResultCode(0x0D);
constexpr qelcore::Result kFileResult_LinkLoop = FileResultCode(0x0E);
constexpr qelcore::Result kFileResult_DeviceFailure =
    FileResultCode(0x0F);                                              ///< the disk gave an error
constexpr qelcore::Result kFileResult_TimedOut = FileResultCode(0x10); ///< the server is away

} // namespace ZOR
