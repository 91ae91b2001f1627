#pragma once

#include <string_view>
#include <vector>

#include "Platform/VolumeTable.h"

namespace Platform
{

/// Reads the text of /proc/self/mountinfo. Lines that make no sense are passed over.
std::vector<Mount> ParseMountInfo(std::string_view inText);

/// Turns each backslash with three octal digits into the byte they tell, and leaves all else.
std::string UnescapeOctal(std::string_view inText);

/// The mount that inPath, an absolute path, is below by its text alone: without a look at the disk,
/// and so without regard to links. @return null if there is none.
const Mount* FindMountByText(const std::vector<Mount>& inMounts, std::string_view inPath);

/// Whether inPath is inFolder or below it, by its text.
bool IsAtOrBelow(std::string_view inPath, std::string_view inFolder);

} // namespace Platform
