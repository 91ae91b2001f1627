#include "MemorySettings.h"

#include <unistd.h>

#include "MemoryBalancer/MemoryBalancer.h"
#include "Stopwatch.h"
#include "Text.h"

namespace RKHost
{

namespace
{

constexpr int kPlugin = 0x726B68; // under which rkhost reserves: any number that no plug-in has

GrantFigures OwnGrant()
{
    GrantFigures figures;
    figures.mAsked = true;
    for (const memorybalancer::Member& member : memorybalancer::GetBalance().members)
    {
        if (member.processID != getpid())
            continue;
        figures.mGrantBytes = member.grant;
        figures.mSmallestCacheBytes = member.minimum;
    }
    return figures;
}

} // namespace

void MemorySettings::NameSuite(const Options& inOptions)
{
    if (!inOptions.mSuite.empty())
        memorybalancer::SetSuiteName(ToLibraryText(inOptions.mSuite));
}

MemorySettings::MemorySettings(const Options& inOptions, EventLoop& ioLoop)
    : mOptions(inOptions)
    , mManager(RK::GetMediaManager())
{
    if (mOptions.mBalanced)
        AskBalancer(ioLoop);
    if (mOptions.mReserveBytes > 0)
        mManager->SetReserveSize(kPlugin, static_cast<long long>(mOptions.mReserveBytes));
    if (mOptions.mHighThroughput)
        mManager->EnterHighThroughputMode();
}

MemorySettings::~MemorySettings()
{
    if (mOptions.mHighThroughput)
        mManager->ExitHighThroughputMode();
    if (mOptions.mReserveBytes > 0)
        mManager->SetReserveSize(kPlugin, 0);
}

GrantFigures MemorySettings::Grant() const
{
    return mOptions.mBalanced ? OwnGrant() : GrantFigures();
}

void MemorySettings::AskBalancer(EventLoop& ioLoop)
{
    constexpr std::uint64_t kPatience = 2000000000; // nanoseconds
    constexpr std::uint64_t kBetweenLooks = 20000000;
    const std::uint64_t before = mManager->GetMaximumSize();
    mManager->SetMaximumSize(mOptions.mBudgetBytes);
    mManager->SetApplicationMemoryRequirements(mOptions.mPriority);
    const std::uint64_t begun = NowInNanoseconds();
    while (!ioLoop.IsInterrupted() && NowInNanoseconds() - begun < kPatience)
    {
        const std::uint64_t budget = mManager->GetMaximumSize();
        const std::uint64_t grant = OwnGrant().mGrantBytes;
        if (grant > 0 && (budget != before || budget == SevenEighthsOf(grant)))
            return;
        ioLoop.WaitAndRunUntil(NowInNanoseconds() + kBetweenLooks);
    }
}

} // namespace RKHost
