#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace RKHost
{

/// Reads a file from its start to its end. Nothing but regular files is opened.
/// @return false if there is no such file.
/// @throw HostError if it cannot be read, or holds more than inMaxBytes.
bool ReadWholeFile(const std::string& inPath, std::size_t inMaxBytes, std::string& outBytes);

/// Puts a new file in the place of inPath, by way of a temporary one beside it, so that whoever reads finds
/// the old content or the new one, after a crash too. Rights and owner stay where that is allowed; a link
/// is followed, and stays.
/// @throw HostError, and then inPath is as it was and nothing is left beside it.
void ReplaceWholeFile(const std::string& inPath, std::string_view inBytes);

} // namespace RKHost
