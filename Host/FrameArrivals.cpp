#include "FrameArrivals.h"

#include <algorithm>

namespace RKHost
{

void FrameArrivals::AwaitUpTo(int inEnd)
{
    for (; mEnd < inEnd; ++mEnd)
        mAwaited.try_emplace(mEnd);
}

std::vector<int> FrameArrivals::Take(const Look& inLook, double inSeconds, double inSecondsToday)
{
    std::vector<int> arrived;
    for (auto at = mAwaited.begin(); at != mAwaited.end();)
    {
        auto& [frame, seen] = *at;
        const FileVersion now = inLook(frame);
        const double modified =
            static_cast<double>(now.mSeconds) + static_cast<double>(now.mNanoseconds) * 1e-9;
        const bool isOld = now.mIsThere && inSecondsToday - modified >= kLongAgoSeconds;
        const bool isQuiet = now.mIsThere && now.mSize != 0 && now == seen.mVersion &&
                             inSeconds - seen.mSince >= kQuietSeconds;
        if (!(now == seen.mVersion))
            seen = {now, inSeconds};
        if (isOld || isQuiet)
            arrived.push_back(frame);
        at = isOld || isQuiet ? mAwaited.erase(at) : std::next(at);
    }
    return arrived;
}

bool FrameArrivals::IsAnyBeingWritten() const
{
    return std::any_of(mAwaited.begin(), mAwaited.end(),
                       [](const auto& inFrame) { return inFrame.second.mVersion.mIsThere; });
}

} // namespace RKHost
