#include "Summary.h"

#include <cstdio>

#include <sys/resource.h>

#include "Text.h"

namespace RKHost
{

namespace
{

std::string Row(const std::string& inName, const std::string& inCold,
                const std::string& inWarm = std::string())
{
    char line[160];
    std::snprintf(line, sizeof line, "%-24s%14s%14s", inName.c_str(), inCold.c_str(),
                  inWarm.c_str());
    std::string text = line;
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

std::string HitRatio(const PassFigures& inPass)
{
    const double ratio = inPass.mFrames > 0 ? 100.0 * inPass.mHits / inPass.mFrames : 0;
    return NumberText(ratio, 1) + " %";
}

std::string Speedup(const SummaryFigures& inFigures)
{
    const double cold = inFigures.mCold.FramesPerSecond();
    return cold > 0 ? NumberText(inFigures.mWarm.FramesPerSecond() / cold, 1) + " times" : "-";
}

} // namespace

std::string SummaryTable(const SummaryFigures& inFigures)
{
    const PassFigures& cold = inFigures.mCold;
    const PassFigures& warm = inFigures.mWarm;
    return Row("", "cold", "warm") +
           Row("frames", std::to_string(cold.mFrames), std::to_string(warm.mFrames)) +
           Row("frames per second", NumberText(cold.FramesPerSecond(), 1),
               NumberText(warm.FramesPerSecond(), 1)) +
           Row("hit ratio", HitRatio(cold), HitRatio(warm)) +
           Row("errors", std::to_string(cold.mErrors), std::to_string(warm.mErrors)) +
           Row("warm against cold", "", Speedup(inFigures)) +
           Row("cache size", MemoryText(inFigures.mCacheBytes)) +
           Row("cache budget", MemoryText(inFigures.mBudgetBytes)) +
           Row("purged", MemoryText(inFigures.mPurgedBytes)) +
           Row("peak resident memory", MemoryText(inFigures.mPeakResidentBytes));
}

std::uint64_t PeakResidentBytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

} // namespace RKHost
