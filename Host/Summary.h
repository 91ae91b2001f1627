#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <RiverKit/RKDecodeQueueCounters.h>
#include <RiverKit/RKMediaManager.h>

#include "AnalysisStore.h"
#include "MemorySettings.h"

namespace RKHost
{

struct PassFigures
{
    int mFrames = 0; ///< asked for
    int mHits = 0;
    int mErrors = 0;
    double mSeconds = 0;
    std::uint64_t mChecksum = 0; ///< of all frames in their order
    AnalysisFigures mAnalysis;   ///< nothing if none was asked for

    double FramesPerSecond() const { return mSeconds > 0 ? mFrames / mSeconds : 0; }
};

/// Passes over one sequence: the first, and all that came after it together.
struct PlayedFigures
{
    PassFigures mCold;
    PassFigures mWarm; ///< its checksum is that of the last pass
    int mWarmPasses = 0;
    int mUnlikePasses = 0; ///< whose frames had other checksums than those of the first

    void Add(const PassFigures& inPass);
    /// Frames that were played once, and after those that were so far.
    void AddToCold(const PassFigures& inFrames);

private:
    bool mHasCold = false;
};

struct SummaryFigures
{
    PlayedFigures mPlayed;
    std::uint64_t mCacheBytes = 0;      ///< of frames
    std::uint64_t mFileBufferBytes = 0; ///< whatever else the media manager holds
    std::uint64_t mBudgetBytes = 0;
    std::uint64_t mReserveBytes = 0; ///< asked for
    std::uint64_t mPurgedBytes = 0;
    std::uint64_t mPeakResidentBytes = 0;
    std::uint64_t mFilesOpen = 0;
    RK::DecodeQueueCounters mQueue;
    GrantFigures mGrant;
    std::vector<RK::MM::PolicyRecord> mPolicies;
};

/// The table that "rkhost play" ends with, several lines.
std::string SummaryTable(const SummaryFigures& inFigures);

/// Most memory that the process has ever had resident.
std::uint64_t PeakResidentBytes();

} // namespace RKHost
