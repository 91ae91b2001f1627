// The memory control loop: ten figures of memory, sampled at every threaded purge; how fast each has
// been changing; and six policies that say from these how much the cache should give up.
//
// Pace     A change is a change between two samples, not a change in a second: what is projected "ten
//          ahead" is ten purges ahead.
// Threads  Nothing here locks. A state belongs to the media manager and is guarded by its mMutex; the
//          switches may be read and set from any thread, and take effect at their next use.
// Units    Bytes; changes are in GiB.
// Errors   None is raised. Nothing allocates but the reports, and a switch that was set anew.
// Numbers  Conversions from double to whole numbers truncate. What is out of range gives the nearest
//          number of the range, and what is no number gives 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/UTFStream.h"
#include "qelcore/UTFString.h"

namespace RK
{

/// One sampled figure, and how it changes.
struct MemoryStatistic
{
    std::uint64_t current = 0; ///< at the last sample
    std::uint64_t last = 0;    ///< at the sample before
    std::uint64_t sampleCount = 0;
    double averageChange = 0;  ///< mean of all changes
    double reactiveChange = 0; ///< exponential average that follows quickly
    double smoothChange = 0;   ///< exponential average that follows slowly
    double reactiveFactor = 0.15;
    double smoothFactor = 0.01;

    /// Takes a sample. The first is no change yet, so all three averages stay 0.
    void Update(std::uint64_t inValue) noexcept;

    /// Writes what was sampled, the changes, and where these lead.
    /// @param inLabel        the first line.
    /// @param inDistance     how many samples ahead the projections are.
    /// @param inWithHeaders  whether each line of figures has one above that names them.
    void GenerateDebugMonitorReport(const char* inLabel, int inDistance,
                                    qelcore::UTF16StringStream& outReport,
                                    bool inWithHeaders) const;
};

/// What the cache itself adds to a sample.
struct CacheFigures
{
    std::uint64_t space;             ///< of all items
    std::uint64_t highPrioritySpace; ///< of the small items of priority 0
    std::uint64_t reserve;           ///< what others have reserved out of the budget, capped
};

/// The figures, in the order in which they are sampled and reported.
struct MemoryControlLoopStatistics
{
    MemoryStatistic cache;
    MemoryStatistic highPriorityCache;
    MemoryStatistic reserve;
    MemoryStatistic processMemory;
    MemoryStatistic recyclerPool;
    MemoryStatistic processCompressed;
    MemoryStatistic systemCompressed;
    /// What the process has beyond the cache, the recycler's pool and the reserve; never below 0.
    MemoryStatistic untracked;
    MemoryStatistic freeMemory;
    MemoryStatistic freeActiveMemory;

    /// Takes a sample of all ten, and asks the machine for what is not the cache's own.
    void Update(const CacheFigures& inCache);

    void GenerateDebugMonitorReport(int inDistance, qelcore::UTF16StringStream& outReport) const;
};

/// What the policies are to keep to.
struct MemoryLimits
{
    std::uint64_t memoryLimit; ///< for the process as a whole
    std::uint64_t cacheLimit;
    bool highThroughput; ///< whether the manager is in high-throughput mode
};

/// How many bytes a policy would like purged now.
using MemoryPolicyFunction = std::uint64_t (*)(const MemoryLimits& inLimits, int inDistance,
                                               const MemoryControlLoopStatistics& inStatistics);

// The policies, each told where it is defined.
std::uint64_t CacheLimitPolicy(const MemoryLimits& inLimits, int inDistance,
                               const MemoryControlLoopStatistics& inStatistics);
std::uint64_t MemoryLimitPolicy(const MemoryLimits& inLimits, int inDistance,
                                const MemoryControlLoopStatistics& inStatistics);
std::uint64_t CacheGrowthPolicy(const MemoryLimits& inLimits, int inDistance,
                                const MemoryControlLoopStatistics& inStatistics);
std::uint64_t FreeMemoryPolicy(const MemoryLimits& inLimits, int inDistance,
                               const MemoryControlLoopStatistics& inStatistics);
std::uint64_t CompressedMemoryPolicy(const MemoryLimits& inLimits, int inDistance,
                                     const MemoryControlLoopStatistics& inStatistics);
std::uint64_t ActiveMemoryPolicy(const MemoryLimits& inLimits, int inDistance,
                                 const MemoryControlLoopStatistics& inStatistics);

/// A row of the table of policies.
struct MemoryPolicy
{
    /// @param inName  is cut to 16 characters.
    MemoryPolicy(const qelcore::UTF16String& inName, MemoryPolicyFunction inFunction,
                 const char* inKey, bool inEnabled, bool inHighThroughputOnly);

    qelcore::UTF16String name;
    MemoryPolicyFunction function;
    qelcore::debug::CachedDatabaseValue<bool> enabled;
    bool highThroughputOnly;

    /// Whether the policy counts now: the loop is on, so is the policy, and the mode is one of its own.
    bool IsEnabled(bool inHighThroughput) const;
};

inline constexpr std::size_t kMemoryPolicyCount = 6;

/// In the order in which they are asked and reported.
extern const std::array<MemoryPolicy, kMemoryPolicyCount> sMemoryPolicies;

/// The switch of the whole loop.
extern const qelcore::debug::CachedDatabaseValue<bool> sMemoryControlLoopActive;
/// A setting that nothing reads: the platform edge knows whether a process's memory includes what of it
/// was compressed. The key stays, since it is told among those of the library.
extern const qelcore::debug::CachedDatabaseValue<bool> sProcessMemoryHasCompressedMem;

/// What the policies answered when the cache was brought to its limit.
struct MemoryPolicyTally
{
    struct Entry
    {
        std::uint64_t mostAsked = 0;
        std::uint64_t decisiveCount = 0; ///< how often it asked for most; of equals the first
    };
    std::array<Entry, kMemoryPolicyCount> entries;

    /// @param inAnswers  by policy; 0 for one that did not count.
    void Note(const std::array<std::uint64_t, kMemoryPolicyCount>& inAnswers) noexcept;
};

/// All that the loop remembers. It lives as long as the loop is on; what was learnt goes with it.
struct MemoryControlLoopState : MemoryControlLoopStatistics
{
    /// How many samples ahead the policies look. Any number goes; 0 looks at now.
    qelcore::debug::CachedDatabaseValue<int> projectionDistance{
        "RK.MemoryControlLoop.Config.ProjectionDistance", 10};
    /// Kept by ApplyMemoryControlLoopPolicies, which leaves all else as it is.
    mutable MemoryPolicyTally tally;

    /// Writes the statistics, and then for each policy whether it counts and what it asks for; also for
    /// one that does not count.
    void GenerateDebugMonitorReport(const MemoryLimits& inLimits,
                                    qelcore::UTF16StringStream& outReport) const;
};

/// A number of bytes with its sign, in human units.
qelcore::UTF16String FormatDeltaInBytes(long inBytes);

// The arithmetic of the loop, which policies and reports share.
namespace Details
{

/// GiB, as a double, to whole bytes.
std::int64_t TruncateToBytes(double inGiB) noexcept;
/// Where a figure will have moved when it has changed inSamples times as it does now.
std::int64_t Project(const MemoryStatistic& inStatistic, std::int64_t inSamples) noexcept;
/// @return false if inBytes + inChange would be below 0, and then outMoved is 0.
bool Move(std::uint64_t inBytes, std::int64_t inChange, std::uint64_t& outMoved) noexcept;
/// For tests: the policies ask for the machine's memory again.
void ForgetMachineOfPolicies() noexcept;

} // namespace Details

} // namespace RK
