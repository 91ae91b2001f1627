#pragma once

#include <cstddef>
#include <string>

#include "Platform/FileSystem.h"

namespace Platform
{

/// Reads a file from its start to its end. @return 0 or one of the numbers of <cerrno>: EFBIG if it
/// holds more than inMaxBytes. After a failure outBytes is empty.
int ReadWholeFile(IFileSystem& inFileSystem, const std::string& inPath, std::size_t inMaxBytes,
                  std::string& outBytes);

/// Puts a new file in the place of inPath, by way of a temporary one beside it, so that a reader
/// sees the old content or the new one. @return 0 or one of the numbers of <cerrno>, and then
/// inPath is as it was.
int ReplaceWholeFile(IFileSystem& inFileSystem, const std::string& inPath,
                     const std::string& inBytes);

} // namespace Platform
