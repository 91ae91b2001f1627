#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <string>

#include "../ImageImporter.h"

namespace RKHost
{

/// How an operation of the plug-in fails inside; at the C border it becomes a status and a text.
struct ImporterError
{
    RKImageStatus mStatus;
    std::string mText;
};

/// @throw ImporterError always; the status follows from FFmpeg's code.
/// @param inDoing  what failed, as the text begins.
/// @param inDetail  what FFmpeg logged, or empty.
[[noreturn]] void ThrowAvError(int inCode, const std::string& inDoing,
                               const std::string& inDetail = std::string());

/// Throws unless inCondition, as for memory that was not to be had.
void RequireMemory(bool inCondition);

} // namespace RKHost
