// Files and volumes by their paths.
//
// Threads  Every function may be called from any thread.
// Errors   Those that return a bool do not throw. The others throw filesupport::file_exception. A path
//          that holds a NUL names nothing.
#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/FileExceptions.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{
namespace FileUtils
{

using PathSpecifier = UTF16String;

/// outPath becomes inFolder, one slash, and inName. An empty folder gives inName alone.
RK_API void BuildPathSpec(const PathSpecifier& inFolder, const UTF16String& inName,
                          PathSpecifier& outPath);

/// Makes the folder, and those above it, unless it is there. It may be made by somebody else at the
/// same time. @throws ENOTDIR if something of its name, or above it, is no folder.
RK_API void EnsureDirectoryExists(const PathSpecifier& inPath);

/// Whether there is something of that name that is no folder; links are followed.
RK_API bool FileExists(const PathSpecifier& inPath);

/// Removes a file, or a link itself. @return true if no file of that name is there any more, also if
/// there was none before; false if it could not be removed, or is a folder.
RK_API bool RemoveFile(const PathSpecifier& inPath);

/// Sets the time of last access to now, and leaves that of the last change of contents. Where the
/// system refuses that (the file belongs to somebody else, the volume is read-only), nothing happens.
RK_API void UpdateFileAccessedTime(const PathSpecifier& inPath);

// A volume that does not answer, such as a server that is away, fails within a few seconds.

/// Bytes that can still be written to the volume of inPath without special rights.
RK_API std::uint64_t GetVolumeFreeSpace(const PathSpecifier& inPath);
/// Bytes that the volume of inPath holds altogether.
RK_API std::uint64_t GetVolumeSize(const PathSpecifier& inPath);

/// Where the volume is mounted that inPath is on, or would be on: what is not there yet belongs to the
/// nearest folder above that is.
/// @param outVolumePath  with a trailing slash; untouched on false.
/// @return false for a path that is not absolute, and for a volume that does not answer.
RK_API bool GetVolumePath(const PathSpecifier& inPath, PathSpecifier& outVolumePath);

/// The name or address of the machine that serves the volume of inPath.
/// @param outHostName  empty on false.
/// @return false for a volume of this machine, and where GetVolumePath() gives false.
RK_API bool GetPathVolumeHostName(const PathSpecifier& inPath, UTF16String& outHostName);

} // namespace FileUtils
} // namespace utility
} // namespace qelcore
