#include "Summary.h"

#include <cinttypes>
#include <cstdio>

#include <sys/resource.h>

#include "Text.h"

namespace RKHost
{

namespace
{

std::string Row(const std::string& inName, const std::string& inCold,
                const std::string& inWarm = std::string(),
                const std::string& inNote = std::string())
{
    char line[200];
    std::snprintf(line, sizeof line, "%-24s%16s%16s  %s", inName.c_str(), inCold.c_str(),
                  inWarm.c_str(), inNote.c_str());
    std::string text = line;
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

std::string HitRatio(const PassFigures& inPass)
{
    const double ratio = inPass.mFrames > 0 ? 100.0 * inPass.mHits / inPass.mFrames : 0;
    return NumberText(ratio, 1) + " %";
}

std::string Speedup(const PlayedFigures& inPlayed)
{
    const double cold = inPlayed.mCold.FramesPerSecond();
    if (cold <= 0 || inPlayed.mWarmPasses == 0)
        return "-";
    return NumberText(inPlayed.mWarm.FramesPerSecond() / cold, 1) + " times";
}

std::string ChecksumText(std::uint64_t inChecksum)
{
    char text[24];
    std::snprintf(text, sizeof text, "%08" PRIx32 "%08" PRIx32,
                  static_cast<std::uint32_t>(inChecksum >> 32),
                  static_cast<std::uint32_t>(inChecksum));
    return text;
}

std::string WarmChecksum(const PlayedFigures& inPlayed)
{
    if (inPlayed.mWarmPasses == 0)
        return "-";
    return inPlayed.mUnlikePasses == 0 ? "same"
                                       : std::to_string(inPlayed.mUnlikePasses) + " differ";
}

std::string MeanColorText(const AnalysisFigures& inFigures)
{
    if (inFigures.Count() == 0)
        return "-";
    const auto count = static_cast<std::uint64_t>(inFigures.Count());
    unsigned color[3];
    for (std::size_t i = 0; i < 3; ++i) // rounded to a step of 8 bits
        color[i] =
            static_cast<unsigned>((inFigures.mMeanColorSums[i] + count * 128) / (count * 256));
    char text[16];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", color[2], color[1], color[0]);
    return text;
}

// Where the analyses came from; nothing if none was asked for.
std::string AnalysisRows(const AnalysisFigures& inCold, const AnalysisFigures& inWarm)
{
    if (inCold.Count() + inCold.mFailed == 0)
        return std::string();
    const auto row = [&](const char* inName, int AnalysisFigures::* inCount)
    { return Row(inName, std::to_string(inCold.*inCount), std::to_string(inWarm.*inCount)); };
    return row("analysis computed", &AnalysisFigures::mComputed) +
           row("analysis from memory", &AnalysisFigures::mFromMemory) +
           row("analysis from disk", &AnalysisFigures::mFromDisk) +
           row("analysis failed", &AnalysisFigures::mFailed) +
           Row("mean colour", MeanColorText(inCold), MeanColorText(inWarm));
}

std::string PassRows(const PlayedFigures& inPlayed)
{
    const PassFigures& cold = inPlayed.mCold;
    const PassFigures& warm = inPlayed.mWarm;
    return Row("", "cold", "warm") + Row("passes", "1", std::to_string(inPlayed.mWarmPasses)) +
           Row("frames", std::to_string(cold.mFrames), std::to_string(warm.mFrames)) +
           Row("frames per second", NumberText(cold.FramesPerSecond(), 1),
               NumberText(warm.FramesPerSecond(), 1)) +
           Row("hit ratio", HitRatio(cold), HitRatio(warm)) +
           Row("errors", std::to_string(cold.mErrors), std::to_string(warm.mErrors)) +
           Row("checksum", ChecksumText(cold.mChecksum), WarmChecksum(inPlayed)) +
           Row("warm against cold", "", Speedup(inPlayed)) +
           AnalysisRows(cold.mAnalysis, warm.mAnalysis);
}

std::string OriginOf(std::uint64_t inBudget, const GrantFigures& inGrant)
{
    if (inBudget == SevenEighthsOf(inGrant.mGrantBytes))
        return "7/8 of it";
    if (inBudget == inGrant.mSmallestCacheBytes)
        return "the smallest that is allowed";
    return "what the machine allows"; // or the grant has changed this very moment
}

// Requests that joined another one for the same frame cost nothing.
std::string QueueRows(const RK::DecodeQueueCounters& inQueue)
{
    return Row("requests decoded", std::to_string(inQueue.activeCPU.entered)) +
           Row("requests joined", std::to_string(inQueue.parked.entered));
}

// Where the budget comes from, and what was taken out of it.
std::string BudgetRows(const SummaryFigures& inFigures)
{
    const GrantFigures& grant = inFigures.mGrant;
    std::string rows = Row("cache budget", MemoryText(inFigures.mBudgetBytes));
    if (grant.mAsked && grant.mGrantBytes == 0)
        rows += Row("balancer's grant", "none seen");
    else if (grant.mAsked)
    {
        const std::uint64_t budget = inFigures.mBudgetBytes + inFigures.mReserveBytes;
        rows += Row("balancer's grant", MemoryText(grant.mGrantBytes)) +
                Row("budget by the grant", MemoryText(budget), "", OriginOf(budget, grant));
    }
    if (inFigures.mReserveBytes > 0)
        rows += Row("reserve", MemoryText(inFigures.mReserveBytes));
    return rows;
}

std::string PolicyRows(const std::vector<RK::MM::PolicyRecord>& inPolicies)
{
    // Nobody asks them before the cache passes the smallest size that it is allowed.
    if (inPolicies.empty())
        return Row("policies of the cache", "not asked");
    std::string rows = "\n" + Row("policy of the cache", "asks for", "most asked", "decided");
    for (const RK::MM::PolicyRecord& policy : inPolicies)
        rows += Row(FromLibraryText(policy.name) + (policy.enabled ? "" : " (off)"),
                    MemoryText(policy.askedBytes), MemoryText(policy.mostAskedBytes),
                    std::to_string(policy.decisiveCount) + " times");
    return rows;
}

} // namespace

namespace
{

/// All but the checksum.
void AddTo(PassFigures& ioSum, const PassFigures& inPass)
{
    ioSum.mFrames += inPass.mFrames;
    ioSum.mHits += inPass.mHits;
    ioSum.mErrors += inPass.mErrors;
    ioSum.mSeconds += inPass.mSeconds;
    ioSum.mAnalysis += inPass.mAnalysis;
}

} // namespace

void PlayedFigures::AddToCold(const PassFigures& inFrames)
{
    mHasCold = true;
    AddTo(mCold, inFrames);
    mCold.mChecksum = inFrames.mChecksum;
}

void PlayedFigures::Add(const PassFigures& inPass)
{
    if (!mHasCold)
    {
        mCold = inPass;
        mHasCold = true;
        return;
    }
    ++mWarmPasses;
    mUnlikePasses += inPass.mChecksum == mCold.mChecksum ? 0 : 1;
    AddTo(mWarm, inPass);
    mWarm.mChecksum = inPass.mChecksum;
}

std::string SummaryTable(const SummaryFigures& inFigures)
{
    return PassRows(inFigures.mPlayed) + QueueRows(inFigures.mQueue) +
           Row("cache size", MemoryText(inFigures.mCacheBytes)) +
           Row("file buffers", MemoryText(inFigures.mFileBufferBytes)) + BudgetRows(inFigures) +
           Row("purged", MemoryText(inFigures.mPurgedBytes)) +
           Row("files kept open", std::to_string(inFigures.mFilesOpen)) +
           Row("peak resident memory", MemoryText(inFigures.mPeakResidentBytes)) +
           PolicyRows(inFigures.mPolicies);
}

std::uint64_t PeakResidentBytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

} // namespace RKHost
