#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qelcore/UTFString.h"

namespace RKHost
{

/// Paths, as the system has them, and as the library has them. Nothing is lost either way.
qelcore::UTF16String ToLibraryPath(const std::string& inPath);
std::string FromLibraryPath(const qelcore::UTF16String& inPath);

qelcore::UTF16String ToLibraryText(const std::string& inText);
std::string FromLibraryText(const qelcore::UTF16String& inText);

/// Bytes as they may be shown: a name may hold anything, and a terminal obeys some of it. Control characters
/// become "\x0a", and a backslash "\x5c".
std::string Printable(const std::string& inText);
/// What Printable() made of it. What it could not have made stays as it is.
std::string FromPrintable(const std::string& inText);

/// Rows of cells, below one another; a line each.
std::string Columns(const std::vector<std::vector<std::string>>& inRows);

/// "1.50 GB"
std::string MemoryText(std::uint64_t inBytes);

/// @param inDecimals  behind the point.
std::string NumberText(double inValue, int inDecimals);

} // namespace RKHost
