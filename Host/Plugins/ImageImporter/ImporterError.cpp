// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "ImporterError.h"

#include <cerrno>

extern "C"
{
#include <libavutil/error.h>
}

namespace RKHost
{

namespace
{

constexpr int kNoReason = -1; // some decoders answer this for data that they cannot read

RKImageStatus StatusOf(int inCode)
{
    switch (inCode)
    {
    case AVERROR(ENOMEM):
        return kRKImageStatus_OutOfMemory;
    case AVERROR_PATCHWELCOME:
    case AVERROR(ENOSYS):
        return kRKImageStatus_Unsupported;
    case AVERROR_INVALIDDATA:
    case kNoReason:
    case AVERROR_EOF:
    case AVERROR(EAGAIN): // the decoder wants more than the whole file
    case AVERROR(EINVAL):
        return kRKImageStatus_Damaged;
    default:
        return kRKImageStatus_Failed;
    }
}

std::string ReasonOf(int inCode)
{
    // The decoder's own words for these would read as a matter of rights, and as "try again".
    if (inCode == kNoReason)
        return "the data are damaged";
    if (inCode == AVERROR(EAGAIN))
        return "the data end too early";
    char reason[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(inCode, reason, sizeof reason);
    return reason;
}

} // namespace

void ThrowAvError(int inCode, const std::string& inDoing, const std::string& inDetail)
{
    throw ImporterError{StatusOf(inCode),
                        inDoing + ": " + (inDetail.empty() ? ReasonOf(inCode) : inDetail)};
}

void RequireMemory(bool inCondition)
{
    if (!inCondition)
        throw ImporterError{kRKImageStatus_OutOfMemory, "not enough memory"};
}

} // namespace RKHost
