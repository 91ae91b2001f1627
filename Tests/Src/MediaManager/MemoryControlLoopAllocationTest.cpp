// A program of its own, since it puts an operator new that counts in the place of everybody's.
#include <atomic>
#include <cstdlib>
#include <new>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "MediaManager/MediaManager.h"
#include "MemoryControlLoopFixture.h"
#include "Support/FakeMachineFigures.h"
#include "Support/Sanitizers.h"

namespace
{
constinit std::atomic<std::uint64_t> sAllocations{0};

[[maybe_unused]] void* Count(void* inBlock)
{
    ++sAllocations;
    if (!inBlock)
        throw std::bad_alloc();
    return inBlock;
}
} // namespace

#if !RK_TEST_SANITIZER // which have their own in the program
void* operator new(std::size_t inSize)
{
    return Count(std::malloc(inSize));
}
void* operator new(std::size_t inSize, std::align_val_t inAlignment)
{
    const auto alignment = static_cast<std::size_t>(inAlignment);
    return Count(std::aligned_alloc(alignment, (inSize + alignment - 1) / alignment * alignment));
}
void operator delete(void* inBlock) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::size_t) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::align_val_t) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::size_t, std::align_val_t) noexcept
{
    std::free(inBlock);
}
#endif

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
