#pragma once

#include <functional>
#include <map>
#include <vector>

#include "SequenceAnalysis.h"

namespace RKHost
{

// Frames of a sequence that still grows, until each has arrived: its file is there, and nobody has written
// to it for a while. A frame that is read while it is written would fail.
class FrameArrivals
{
public:
    static constexpr double kQuietSeconds = 0.5; ///< for a file that is not empty
    /// A file whose time of modification is that old is taken at once.
    static constexpr double kLongAgoSeconds = 2;

    using Look = std::function<FileVersion(int inFrame)>;

    /// Waits for frames up to below inEnd that were not waited for yet.
    void AwaitUpTo(int inEnd);
    /// @param inSeconds       now, by a clock that never goes back.
    /// @param inSecondsToday  now, by the clock of the files' times.
    /// @return those that have arrived, in their order; each once.
    std::vector<int> Take(const Look& inLook, double inSeconds, double inSecondsToday);
    /// Whether a file is being written, so that another look will be worth it soon.
    bool IsAnyBeingWritten() const;
    int AwaitedCount() const { return static_cast<int>(mAwaited.size()); }

private:
    struct Seen
    {
        FileVersion mVersion;
        double mSince = 0; ///< seconds at which that version was seen first
    };

    int mEnd = 0;
    std::map<int, Seen> mAwaited; ///< by frame
};

} // namespace RKHost
