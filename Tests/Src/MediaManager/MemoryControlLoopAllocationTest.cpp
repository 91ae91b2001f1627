// A program of its own, since it puts an operator new that counts in the place of everybody's.
#include <atomic>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "MediaManager/MediaManager.h"
#include "MemoryControlLoopFixture.h"
#include "Support/FakeMachineFigures.h"
#include "Support/OwnOperatorNew.h"

namespace
{
constinit std::atomic<std::uint64_t> sAllocations{0};
} // namespace

bool Testing::OnAllocation() noexcept
{
    ++sAllocations;
    return true;
}

namespace
{

using namespace RK;
using namespace Testing;

TEST(MemoryControlLoopAllocation, EndsWithTheMakingOfTheState)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP() << "needs a build without sanitizers, which count allocations themselves";
    FakeMachineFigures machine;
    ScopedSettings settings;
    settings.TurnPolicy("CompressedMemoryPolicy", true); // so that all six are asked
    const std::uint64_t before = sAllocations;
    const auto state = boost::make_shared<MemoryControlLoopState>();
    EXPECT_LT(before, sAllocations) << "this test does not see the library's allocations";
    const MemoryLimits limits{1 << 20, 1 << 20, true};
    state->Update({0, 0, 0}); // each switch is asked for once
    MediaManager::ApplyMemoryControlLoopPolicies(limits, *state);

    const std::uint64_t start = sAllocations;
    for (std::uint64_t sample = 1; sample <= 100; ++sample)
    {
        machine.process = sample << 30;
        state->Update({sample << 20, 0, 0});
        ASSERT_NE(0u, MediaManager::ApplyMemoryControlLoopPolicies(limits, *state));
    }
    EXPECT_EQ(start, sAllocations);
}

} // namespace
