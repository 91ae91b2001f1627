// The text of paths. Components are separated by "/" alone; a backslash is a character like any other.
//
// For every path p:
//   GetFullDirectoryPart(p) + GetFullFilePart(p) == p
//   GetFilePart(p) + GetExtensionPart(p) == GetFullFilePart(p)
//
// Threads  Every function may be called from any thread.
// Errors   None is raised, except std::bad_alloc.
#pragma once

#include <cstdint>

#include "ZOR/FileResults.h"
#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace ZOR
{
namespace PathUtils
{

/// What stands behind the last slash, "b.tif" of "/a/b.tif". Empty if the path ends with a slash.
RK_API qelcore::UTF16String GetFullFilePart(const qelcore::UTF16String& inPath);

/// The same without the extension, "b" of "/a/b.tif".
RK_API qelcore::UTF16String GetFilePart(const qelcore::UTF16String& inPath);

/// The last dot of the file part and what follows it, ".tif" of "/a/b.c.tif". Empty if there is no dot,
/// or none but the first character (".hidden" is a name), and for "." and "..".
RK_API qelcore::UTF16String GetExtensionPart(const qelcore::UTF16String& inPath);

/// Everything up to the last slash and with it, "/a/" of "/a/b.tif". Empty if there is no slash.
RK_API qelcore::UTF16String GetFullDirectoryPart(const qelcore::UTF16String& inPath);

/// The path with one slash added unless it ends with one. The empty path, which names nothing, stays
/// empty: it must not become the root.
RK_API qelcore::UTF16String AddTrailingSlash(const qelcore::UTF16String& inPath);

/// The path without the slashes at its end; but the root stays "/".
RK_API qelcore::UTF16String RemoveTrailingSlash(const qelcore::UTF16String& inPath);

enum ExistsOnDiskFlags : std::uint32_t
{
    kExistsOnDisk_FollowLinks = 0, ///< what a link leads to counts: a dangling one does not exist
    kExistsOnDisk_LinkItself = 1,  ///< a link at the end of the path exists, wherever it leads
};

/// Whether there is a file, folder or anything else of that name. What cannot be looked at is not there.
RK_API bool ExistsOnDisk(const qelcore::UTF16String& inPath,
                         std::uint32_t inFlags = kExistsOnDisk_FollowLinks);

/// The path as it is compared with others: absolute, from the current folder if it was relative; without
/// ".", "..", doubled slashes and slashes at the end. By the text alone: links are not followed, so
/// that "link/.." is left out with them. Letters stay as they are. The empty path stays empty.
RK_API qelcore::UTF16String ToNormalizedPath(const qelcore::UTF16String& inPath);

/// Sees to it that something can be written at inPath: makes the folder of GetFullDirectoryPart(), and
/// those above it, unless it is there. A path that ends with a slash is such a folder itself.
/// @return as those of ZOR/FileResults.h.
RK_API qelcore::Result PreparePathForWrite(const qelcore::UTF16String& inPath);

/// Whether the system can look the path up by itself: true for every absolute one.
RK_API bool IsWinAPIAcceptablePath(const qelcore::UTF16String& inPath);

} // namespace PathUtils
} // namespace ZOR
