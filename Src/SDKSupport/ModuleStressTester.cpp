#include "RKModuleStressTester.h"

#include <atomic>
#include <cstdlib>
#include <ctime>

#include "qelcore/Contract.h"

namespace RK
{
namespace ModuleStressTester
{

namespace
{

constexpr const char* kSourcePath = "Src/SDKSupport/ModuleStressTester";
constexpr std::int32_t kFailNow = -1;
constexpr int kGreatestDraw = 0x7FFFFFFF;
constexpr int kTenthOfDraws = 0xCCCCCCC;

using Seed = std::atomic<std::time_t>; // 0 until the first draw

/// Of callers that meet at the first draw one seeds; nothing is lost if the others draw ahead of it.
int Draw(Seed& ioSeed)
{
    std::time_t unseeded = 0;
    const std::time_t now = ioSeed.load() == 0 ? std::time(nullptr) : 0;
    if (now != 0 && ioSeed.compare_exchange_strong(unseeded, now))
        std::srand(static_cast<unsigned>(now));
    return std::rand(); // NOLINT(*-rand, *-msc50-cpp): for faults by chance, and nothing else
}

} // namespace

std::int32_t DoStressTest(int inCount, StressType inType, int inStressArgument)
{
    static constinit Seed seed{0};
    bool fails = false;
    switch (inType)
    {
    case kStressType_Random:
        RK_REQUIRE_CONTRACT(inStressArgument > 0, "stressArgument > 0", kSourcePath);
        fails = Draw(seed) < kGreatestDraw / inStressArgument;
        break;
    case kStressType_AtCount:
        fails = inStressArgument == inCount;
        break;
    case kStressType_AboveCount:
        fails = inCount > inStressArgument;
        break;
    case kStressType_AtCountRarely:
        fails = inStressArgument == inCount && Draw(seed) < kTenthOfDraws;
        break;
    default:
        break;
    }
    return fails ? kFailNow : 0;
}

void DoCallbackStressTest(CallbackStressType inType, int inStressArgument, int inCount)
{
    static constinit Seed seed{0};
    bool fails = false;
    switch (inType)
    {
    case kCallbackStressType_Random:
        RK_REQUIRE_CONTRACT(inStressArgument > 0, "stressArgument > 0", kSourcePath);
        fails = Draw(seed) < kGreatestDraw / inStressArgument;
        break;
    case kCallbackStressType_AtCount:
        fails = inStressArgument == inCount;
        break;
    case kCallbackStressType_Always:
        fails = true;
        break;
    default:
        break;
    }
    if (fails)
        throw static_cast<int>(kFailNow);
}

} // namespace ModuleStressTester
} // namespace RK
