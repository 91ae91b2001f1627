#include "qelcore/SmallBlockAllocator.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using qelcore::utility::SmallBlockAllocator;

// Each block carries its own address and size, written by whoever allocated it.
struct Stamp
{
    void* mSelf;
    std::size_t mSize;
};

TEST(SmallBlockAllocatorStress, BlocksThatWanderBetweenThreadsAreNeverShared)
{
    constexpr int kThreads = 4;
    constexpr int kSteps = 20000;
    std::array<std::atomic<Stamp*>, 512> exchange{};
    std::atomic<int> wrong{0};

    const auto check = [&](Stamp* inStamp)
    {
        wrong += inStamp->mSelf != inStamp;
        SmallBlockAllocator::Dispose(inStamp, inStamp->mSize);
    };
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < kThreads; ++number)
    {
        threads.emplace_back(
            [&, number]
            {
                std::mt19937 random(number);
                for (int step = 0; step < kSteps; ++step)
                {
                    const std::size_t size = 16 + random() % 600;
                    auto* const block = static_cast<Stamp*>(SmallBlockAllocator::Allocate(size));
                    *block = Stamp{block, size};
                    if (Stamp* const other = exchange[random() % exchange.size()].exchange(block))
                        check(other); // most often another thread's
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (auto& slot : exchange)
    {
        if (Stamp* const left = slot.load())
            check(left);
    }

    EXPECT_EQ(0, wrong.load());
}

TEST(SmallBlockAllocatorStress, ShortLivedThreadsLeaveNothingBroken)
{
    std::atomic<int> wrong{0};
    for (int round = 0; round < 50; ++round)
    {
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number)
        {
            threads.emplace_back(
                [&]
                {
                    std::vector<Stamp*> live;
                    for (int i = 0; i < 300; ++i)
                    {
                        auto* const block = static_cast<Stamp*>(SmallBlockAllocator::Allocate(64));
                        *block = Stamp{block, 64};
                        live.push_back(block);
                    }
                    for (Stamp* const block : live)
                    {
                        wrong += block->mSelf != block;
                        SmallBlockAllocator::Dispose(block, 64);
                    }
                });
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    EXPECT_EQ(0, wrong.load());
}

} // namespace
