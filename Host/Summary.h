#pragma once

#include <cstdint>
#include <string>

namespace RKHost
{

struct PassFigures
{
    int mFrames = 0; ///< asked for
    int mHits = 0;
    int mErrors = 0;
    double mSeconds = 0;

    double FramesPerSecond() const { return mSeconds > 0 ? mFrames / mSeconds : 0; }
};

struct SummaryFigures
{
    PassFigures mCold;
    PassFigures mWarm;
    std::uint64_t mCacheBytes = 0;
    std::uint64_t mBudgetBytes = 0;
    std::uint64_t mPurgedBytes = 0;
    std::uint64_t mPeakResidentBytes = 0;
};

/// The table that "rkhost play" ends with, several lines.
std::string SummaryTable(const SummaryFigures& inFigures);

/// Most memory that the process has ever had resident.
std::uint64_t PeakResidentBytes();

} // namespace RKHost
