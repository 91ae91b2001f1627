#include "qelcore/AsyncExecutor.h"

#include <gtest/gtest.h>

#include "Support/ManualExecutor.h"

namespace
{

using namespace qelcore::threads;

TEST(ScopedExecutorFactory, GivesItsPoolsForItsLife)
{
    const AsyncExecutorPtr real = GetCPUBoundExecutor();
    {
        Testing::ManualExecutorFactory factory;
        const ScopedExecutorFactory scope(factory);
        EXPECT_EQ(factory.cpu, GetCPUBoundExecutor());
        EXPECT_EQ(factory.io, GetIOBoundExecutor());
        const AsyncExecutorPtr created = CreateCPUBoundExecutor();
        EXPECT_EQ(factory.lastCreatedCPU, created);
        EXPECT_EQ(factory.lastCreatedIO, CreateIOBoundExecutor());
    }
    EXPECT_EQ(real, GetCPUBoundExecutor());
}

TEST(ManualExecutor, RunsEachJobAtItsTimeAndOnlyWhenTurned)
{
    Testing::ManualExecutor executor;
    std::vector<std::uint64_t> times;
    const auto note = [&] { times.push_back(executor.Now()); };
    executor.Post(note, 20);
    executor.Post(note, 0);
    executor.Post(
        [&]
        {
            note();
            executor.Post(note, 5);
        },
        10);
    EXPECT_EQ(1u, executor.DueCount());
    EXPECT_TRUE(times.empty());

    EXPECT_EQ(3u, executor.Advance(15));
    EXPECT_EQ((std::vector<std::uint64_t>{0, 10, 15}), times);
    EXPECT_EQ(1u, executor.Advance(100));
    EXPECT_EQ(115u, executor.Now());
}

} // namespace
