// The manager's side of the memory control loop: its switch, its samples, and what its policies decide.
#include "MediaManager/MemoryControlLoop.h"

#include <algorithm>

#include <boost/make_shared.hpp>

#include "MediaManager/MediaManager.h"
#include "qelcore/NumberText.h"

namespace RK
{

using qelcore::threads::RecursiveMutex;

namespace
{

constexpr std::size_t kPolicyNameLength = 16;

} // namespace

MemoryPolicy::MemoryPolicy(const qelcore::UTF16String& inName, MemoryPolicyFunction inFunction,
                           const char* inKey, bool inEnabled, bool inHighThroughputOnly)
    : name(qelcore::utility::TruncateStringToNumChars(inName, kPolicyNameLength, false))
    , function(inFunction)
    , enabled(inKey, inEnabled)
    , highThroughputOnly(inHighThroughputOnly)
{
}

bool MemoryPolicy::IsEnabled(bool inHighThroughput) const
{
    if (!sMemoryControlLoopActive || (highThroughputOnly && !inHighThroughput))
        return false;
    return enabled;
}

void MemoryPolicyTally::Note(
    const std::array<std::uint64_t, kMemoryPolicyCount>& inAnswers) noexcept
{
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
        entries[i].mostAsked = std::max(entries[i].mostAsked, inAnswers[i]);
    const auto most = std::max_element(inAnswers.begin(), inAnswers.end()); // the first of equals
    if (*most != 0)
        ++entries[static_cast<std::size_t>(most - inAnswers.begin())].decisiveCount;
}

void MediaManager::RunMemoryControlLoop()
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::RunMemoryControlLoop");
    if (!sMemoryControlLoopActive)
        mControlLoopState = nullptr;
    else if (!mControlLoopState)
        mControlLoopState = boost::make_shared<MemoryControlLoopState>();
    if (!mControlLoopState)
        return;
    ProcessQueue();
    UpdateMemoryControlLoopStatistics(lock, *mControlLoopState);
}

void MediaManager::UpdateMemoryControlLoopStatistics(const RecursiveMutex::ScopedLock&,
                                                     MemoryControlLoopStatistics& ioStatistics)
{
    ioStatistics.Update({mCurrentSpace, mPriorityZeroSpace, GetCappedReserveSize()});
}

std::uint64_t MediaManager::ApplyMemoryControlLoopPolicies(const MemoryLimits& inLimits,
                                                           const MemoryControlLoopState& inState)
{
    const int distance = inState.projectionDistance;
    std::array<std::uint64_t, kMemoryPolicyCount> answers{};
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
    {
        const MemoryPolicy& policy = sMemoryPolicies[i];
        if (policy.IsEnabled(inLimits.highThroughput))
            answers[i] = policy.function(inLimits, distance, inState);
    }
    inState.tally.Note(answers);
    return *std::max_element(answers.begin(), answers.end());
}

// The balancer's grant was split 7 to 1 between the cache and the rest of the process, so this gives it
// back as the process's limit.
MemoryLimits MediaManager::LimitsOf(std::uint64_t inFixed, std::uint64_t inCacheLimit) const
{
    return {inFixed * 8 / 7, inCacheLimit, mTimeout != 0};
}

std::vector<MM::PolicyRecord> MediaManager::GetPolicyReport() const
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::GetPolicyReport");
    std::vector<MM::PolicyRecord> report;
    if (!mControlLoopState)
        return report;
    const std::uint64_t fixed = GetFixedMaxCacheSize();
    const MemoryLimits limits = LimitsOf(fixed, fixed);
    const int distance = mControlLoopState->projectionDistance;
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
    {
        const MemoryPolicy& policy = sMemoryPolicies[i];
        const MemoryPolicyTally::Entry& tally = mControlLoopState->tally.entries[i];
        report.push_back({policy.name, policy.IsEnabled(limits.highThroughput),
                          policy.function(limits, distance, *mControlLoopState), tally.mostAsked,
                          tally.decisiveCount});
    }
    return report;
}

std::vector<MM::PolicyRecord> MM::GetPolicyReport()
{
    const MediaManagerRef manager = MediaManager::Running();
    return manager ? manager->GetPolicyReport() : std::vector<PolicyRecord>();
}

} // namespace RK
