#include "EventLoop.h"

#include <array>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Stopwatch.h"

namespace RKHostTests
{
namespace
{

class EventLoopTest : public testing::Test
{
protected:
    EventLoopTest() { EXPECT_EQ(0, pipe2(mPipe.data(), O_CLOEXEC)); }
    ~EventLoopTest() override
    {
        close(mPipe[0]);
        close(mPipe[1]);
    }
    void Fill() const { EXPECT_EQ(1, write(mPipe[1], "x", 1)); }

    std::array<int, 2> mPipe;
    RKHost::EventLoop mLoop;
};

TEST_F(EventLoopTest, TellsOfADescriptorThatIsReady)
{
    short events = 0;
    mLoop.Watch(mPipe[0], POLLIN, [&](short inEvents) { events = inEvents; });
    mLoop.RunPending();
    EXPECT_EQ(0, events);
    Fill();
    mLoop.RunPending();
    EXPECT_EQ(POLLIN, events);
}

TEST_F(EventLoopTest, TellsNothingOfADescriptorThatIsNoLongerWatched)
{
    int calls = 0;
    mLoop.Watch(mPipe[0], POLLIN,
                [&](short)
                {
                    ++calls;
                    mLoop.Unwatch(mPipe[0]);
                });
    Fill();
    mLoop.RunPending();
    mLoop.RunPending();
    EXPECT_EQ(1, calls);
}

TEST_F(EventLoopTest, OneThatIsToldMayEndTheWatchOfAnotherThatIsReadyToo)
{
    const int second = dup(mPipe[0]);
    int calls = 0;
    const auto endBoth = [&](short)
    {
        ++calls;
        mLoop.Unwatch(mPipe[0]);
        mLoop.Unwatch(second);
    };
    mLoop.Watch(mPipe[0], POLLIN, endBoth);
    mLoop.Watch(second, POLLIN, endBoth);
    Fill();
    mLoop.RunPending();
    EXPECT_EQ(1, calls);
    close(second);
}

TEST_F(EventLoopTest, WhatIsThrownPassesOutAndTheLoopGoesOn)
{
    bool throws = true;
    int calls = 0;
    mLoop.Watch(mPipe[0], POLLIN,
                [&](short)
                {
                    ++calls;
                    if (throws)
                        throw std::runtime_error("enough");
                });
    Fill();
    EXPECT_THROW(mLoop.RunPending(), std::runtime_error);
    throws = false;
    mLoop.RunPending();
    EXPECT_EQ(2, calls);
}

TEST_F(EventLoopTest, WaitsUntilATimeAndNotForEver)
{
    const std::uint64_t end = RKHost::NowInNanoseconds() + 2000000;
    while (RKHost::NowInNanoseconds() < end)
        mLoop.WaitAndRunUntil(end);
    EXPECT_GE(RKHost::NowInNanoseconds(), end);
}

TEST_F(EventLoopTest, ATickerTicksUntilItsEnd)
{
    int ticks = 0;
    {
        const RKHost::Ticker ticker(mLoop, 1e-9, [&] { ++ticks; });
        while (ticks < 3)
            mLoop.WaitAndRun();
    }
    mLoop.RunPending();
    EXPECT_EQ(3, ticks);
}

} // namespace
} // namespace RKHostTests
