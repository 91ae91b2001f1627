#pragma once

#include <cstdint>
#include <string>

#include "qelcore/UTFString.h"

namespace RKHost
{

/// Paths, as the system has them, and as the library has them. Nothing is lost either way.
qelcore::UTF16String ToLibraryPath(const std::string& inPath);
std::string FromLibraryPath(const qelcore::UTF16String& inPath);

qelcore::UTF16String ToLibraryText(const std::string& inText);
std::string FromLibraryText(const qelcore::UTF16String& inText);

/// "1.50 GB"
std::string MemoryText(std::uint64_t inBytes);

/// @param inDecimals  behind the point.
std::string NumberText(double inValue, int inDecimals);

} // namespace RKHost
