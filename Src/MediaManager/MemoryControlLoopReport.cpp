// What the memory control loop tells the debug monitor.
#include "MediaManager/MemoryControlLoop.h"

#include "qelcore/NumberText.h"

namespace RK
{

namespace
{

constexpr char kBetween[] = " | ";

qelcore::UTF16String MemoryText(std::uint64_t inBytes)
{
    return qelcore::utility::NumberToMemoryString(inBytes, 2, false);
}

/// Where the figure leads when it changes by inChange GiB.
qelcore::UTF16String ProjectionText(std::uint64_t inCurrent, double inChange)
{
    std::uint64_t projected = 0;
    Details::Move(inCurrent, Details::TruncateToBytes(inChange), projected);
    return MemoryText(projected);
}

} // namespace

qelcore::UTF16String FormatDeltaInBytes(long inBytes)
{
    const auto bytes = static_cast<std::uint64_t>(inBytes);
    return inBytes >= 0 ? MemoryText(bytes) : u"-" + MemoryText(0 - bytes);
}

void MemoryStatistic::GenerateDebugMonitorReport(const char* inLabel, int inDistance,
                                                 qelcore::UTF16StringStream& outReport,
                                                 bool inWithHeaders) const
{
    const auto header = [&](const char* inText)
    {
        if (inWithHeaders)
            outReport << inText << "\n";
    };
    outReport << inLabel << "\n";
    header("  Current | Last");
    outReport << "  " << MemoryText(current) << kBetween << MemoryText(last) << "\n";
    header("  Change Reactive | Smooth | Last");
    outReport << "  " << FormatDeltaInBytes(Details::TruncateToBytes(reactiveChange)) << kBetween
              << FormatDeltaInBytes(Details::TruncateToBytes(smoothChange)) << kBetween
              << FormatDeltaInBytes(static_cast<long>(current - last)) << "\n";
    header("  Projection Reactive | Smooth");
    outReport << "  " << ProjectionText(current, reactiveChange * inDistance) << kBetween
              << ProjectionText(current, inDistance * smoothChange) << "\n";
}

void MemoryControlLoopStatistics::GenerateDebugMonitorReport(
    int inDistance, qelcore::UTF16StringStream& outReport) const
{
    const auto report = [&](const char* inLabel, const MemoryStatistic& inStatistic)
    {
        const bool first = &inStatistic == &cache;
        inStatistic.GenerateDebugMonitorReport(inLabel, inDistance, outReport, first);
    };
    report("Cache: ", cache);
    report("Hi Prio. Cache: ", highPriorityCache);
    report("Reserve: ", reserve);
    report("Process Mem: ", processMemory);
    report("Recycler Pool: ", recyclerPool);
    report("Process Compr.: ", processCompressed);
    report("System Compr.: ", systemCompressed);
    report("Untracked Mem: ", untracked);
    report("Free Mem: ", freeMemory);
    report("Free Active Mem: ", freeActiveMemory);
}

void MemoryControlLoopState::GenerateDebugMonitorReport(const MemoryLimits& inLimits,
                                                        qelcore::UTF16StringStream& outReport) const
{
    const int distance = projectionDistance;
    MemoryControlLoopStatistics::GenerateDebugMonitorReport(distance, outReport);
    outReport << "\n";
    for (const MemoryPolicy& policy : sMemoryPolicies)
        outReport << policy.name << (policy.IsEnabled(inLimits.highThroughput) ? " (on)" : " (off)")
                  << ": " << MemoryText(policy.function(inLimits, distance, *this)) << "\n";
    outReport << "\n";
}

} // namespace RK
