#include "qelcore/DescriptorWatch.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Support/Descriptors.h"
#include "Support/Gate.h"
#include "Support/TraceCapture.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace qelcore::threads;
using Testing::EventDescriptor;
using Testing::Gate;
using Testing::IsReadable;

constexpr unsigned kReadable = kDescriptorEvent_Readable;

// The test's thread is the main one, unless the test says otherwise.
class DescriptorWatchTest : public ::testing::Test
{
protected:
    DescriptorWatchTest() { EXPECT_TRUE(RegisterMainThread()); }
    ~DescriptorWatchTest() override
    {
        EXPECT_FALSE(IsReadable(GetMainThreadDescriptor())) << "left for the next test";
        UnregisterMainThread();
    }

    /// Watches an event and counts the calls; each takes the event.
    DescriptorWatch CountAndTake(const EventDescriptor& inEvent)
    {
        return WatchDescriptor(inEvent.Get(), kReadable,
                               [this, &inEvent](unsigned)
                               {
                                   ++mCount;
                                   inEvent.Take();
                               });
    }

    EventDescriptor mEvent;
    std::atomic<int> mCount{0};
};

struct SocketPair
{
    SocketPair() { EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends)); }
    ~SocketPair()
    {
        CloseFirst();
        close(ends[1]);
    }
    void CloseFirst()
    {
        if (ends[0] >= 0)
            close(ends[0]);
        ends[0] = -1;
    }
    int ends[2];
};

int ErrorOfWatching(int inDescriptor)
{
    try
    {
        const DescriptorWatch watch = WatchDescriptor(inDescriptor, kReadable, [](unsigned) {});
    }
    catch (const std::system_error& error)
    {
        return error.code().value();
    }
    return 0;
}

TEST_F(DescriptorWatchTest, AReadyDescriptorWakesTheHostsLoopAndADispatchCallsBack)
{
    const DescriptorWatch watch = CountAndTake(mEvent);
    EXPECT_FALSE(IsReadable(GetMainThreadDescriptor()));
    EXPECT_EQ(0, DispatchMainThread());

    mEvent.Signal();
    EXPECT_TRUE(IsReadable(GetMainThreadDescriptor()));
    EXPECT_EQ(0, mCount.load()) << "nothing runs by itself";

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(1, mCount.load());
    EXPECT_FALSE(IsReadable(GetMainThreadDescriptor()));
    EXPECT_EQ(0, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, LooksFromSeveralLoopsLoseNoEvent)
{
    const DescriptorWatch watch = CountAndTake(mEvent);
    mEvent.Signal();
    for (int look = 0; look < 5; ++look)
        EXPECT_TRUE(IsReadable(GetMainThreadDescriptor()));

    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, WhatACallbackDoesNotTakeIsThereAtTheNextDispatch)
{
    const DescriptorWatch watch =
        WatchDescriptor(mEvent.Get(), kReadable, [this](unsigned) { ++mCount; });
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_TRUE(IsReadable(GetMainThreadDescriptor()));
    EXPECT_EQ(1, DispatchMainThread());
    mEvent.Take();
    EXPECT_EQ(0, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, EachThatIsReadyIsCalledOnceADispatch)
{
    constexpr int kWatches = 40;
    std::vector<int> calls(kWatches);
    std::vector<DescriptorWatch> watches;
    for (int i = 0; i < kWatches; ++i)
    {
        int& count = calls[static_cast<std::size_t>(i)];
        watches.push_back(
            WatchDescriptor(mEvent.Get(), kReadable, [&count](unsigned) { ++count; }));
    }
    mEvent.Signal();
    AsyncCallFromMainThread([] {}, 0);

    EXPECT_EQ(kWatches + 1, DispatchMainThread()) << "and the job";

    EXPECT_EQ(std::vector<int>(kWatches, 1), calls);
    mEvent.Take();
}

TEST_F(DescriptorWatchTest, JobsRunBeforeCallbacksAndWhatTheyPostInTheNextDispatch)
{
    std::string order;
    const DescriptorWatch watch =
        WatchDescriptor(mEvent.Get(), kReadable,
                        [&](unsigned)
                        {
                            mEvent.Take();
                            order += "callback ";
                            AsyncCallFromMainThread([&order] { order += "posted "; }, 0);
                        });
    mEvent.Signal();
    AsyncCallFromMainThread([&order] { order += "job "; }, 0);

    DispatchMainThread();
    EXPECT_EQ("job callback ", order);
    EXPECT_EQ(1, RunMainThreadUntilIdle());
    EXPECT_EQ("job callback posted ", order);
}

TEST_F(DescriptorWatchTest, AfterItsEndAWatchIsSilentHoweverReadyItsDescriptor)
{
    DescriptorWatch watch = CountAndTake(mEvent);
    EXPECT_TRUE(watch.IsWatching());
    mEvent.Signal();
    watch.End();
    watch.End();

    EXPECT_FALSE(watch.IsWatching());
    EXPECT_FALSE(IsReadable(GetMainThreadDescriptor()));
    EXPECT_EQ(0, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, AHandleThatIsGivenAnotherWatchEndsItsOwn)
{
    const EventDescriptor other;
    DescriptorWatch watch = CountAndTake(mEvent);
    watch = CountAndTake(other);
    mEvent.Signal();
    EXPECT_EQ(0, DispatchMainThread());

    other.Signal();
    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, AHandleThatWasMovedFromEndsNothing)
{
    DescriptorWatch first = CountAndTake(mEvent);
    const DescriptorWatch second(std::move(first));
    first.End();
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, ACallbackMayEndItsOwnWatch)
{
    DescriptorWatch watch;
    const auto kept = std::make_shared<int>(7);
    int seen = 0;
    watch = WatchDescriptor(mEvent.Get(), kReadable,
                            [&, kept](unsigned)
                            {
                                watch.End();
                                seen = *kept; // what it holds lives as long as it runs
                            });
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(7, seen);
    EXPECT_EQ(1, kept.use_count());
    EXPECT_EQ(0, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, ACallbackMayEndAnotherWatchThatIsReadyToo)
{
    DescriptorWatch watches[2];
    for (int i = 0; i < 2; ++i)
        watches[i] = WatchDescriptor(mEvent.Get(), kReadable,
                                     [&, i](unsigned)
                                     {
                                         ++mCount;
                                         watches[1 - i].End();
                                     });
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(1, mCount.load());
    mEvent.Take();
}

TEST_F(DescriptorWatchTest, TheCallersDescriptorMayBeClosedAndItsNumberUsedAgain)
{
    const EventDescriptor other;
    const int number = dup(mEvent.Get());
    const DescriptorWatch watch =
        WatchDescriptor(number, kReadable, [this](unsigned) { mCount += mEvent.Take(); });
    ASSERT_EQ(number, dup2(other.Get(), number));

    other.Signal();
    EXPECT_EQ(0, DispatchMainThread()) << "the number stands for another file now";
    mEvent.Signal();
    EXPECT_EQ(1, DispatchMainThread());

    EXPECT_EQ(1, mCount.load());
    close(number);
}

TEST_F(DescriptorWatchTest, IsToldWhatTheDescriptorIsReadyFor)
{
    const SocketPair sockets;
    unsigned seen = 0;
    const auto see = [&seen](unsigned inEvents) { seen = inEvents; };
    DescriptorWatch watch = WatchDescriptor(sockets.ends[0], kDescriptorEvent_Writable, see);
    DispatchMainThread();
    EXPECT_EQ(kDescriptorEvent_Writable, seen);

    watch = WatchDescriptor(sockets.ends[0], kReadable | kDescriptorEvent_Writable, see);
    ASSERT_EQ(1, write(sockets.ends[1], "x", 1));
    DispatchMainThread();
    EXPECT_EQ(kReadable | kDescriptorEvent_Writable, seen);
}

TEST_F(DescriptorWatchTest, OutOfBandDataIsAPriority)
{
    const SocketPair sockets;
    unsigned seen = 0;
    const DescriptorWatch watch = WatchDescriptor(sockets.ends[0], kDescriptorEvent_Priority,
                                                  [&](unsigned inEvents)
                                                  {
                                                      seen = inEvents;
                                                      char byte = 0;
                                                      recv(sockets.ends[0], &byte, 1, MSG_OOB);
                                                  });
    if (send(sockets.ends[1], "x", 1, MSG_OOB) != 1)
        GTEST_SKIP() << "needs local sockets with out-of-band data (Linux 5.15)";

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(kDescriptorEvent_Priority, seen);
}

TEST_F(DescriptorWatchTest, AHangUpIsToldWithoutBeingAskedFor)
{
    SocketPair sockets;
    unsigned seen = 0;
    const DescriptorWatch watch =
        WatchDescriptor(sockets.ends[1], 0, [&seen](unsigned inEvents) { seen = inEvents; });
    EXPECT_EQ(0, DispatchMainThread());

    sockets.CloseFirst();

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(kDescriptorEvent_Broken, seen);
}

TEST_F(DescriptorWatchTest, WhatCannotBeWatchedIsRefused)
{
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(nullptr, file);

    EXPECT_EQ(EPERM, ErrorOfWatching(fileno(file)));
    EXPECT_EQ(EBADF, ErrorOfWatching(-1));

    std::fclose(file);
}

TEST_F(DescriptorWatchTest, WithoutAMainThreadEventsWaitForTheNext)
{
    const DescriptorWatch watch = CountAndTake(mEvent);
    UnregisterMainThread();
    mEvent.Signal();
    EXPECT_EQ(0, DispatchMainThread());
    EXPECT_EQ(0, RunMainThreadUntilIdle());

    std::thread(
        []
        {
            EXPECT_TRUE(RegisterMainThread());
            EXPECT_EQ(1, RunMainThreadUntilIdle());
        })
        .join();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(DescriptorWatchTest, AnotherThreadsDispatchCallsNothing)
{
    const DescriptorWatch watch = CountAndTake(mEvent);
    mEvent.Signal();
    std::thread([] { EXPECT_EQ(0, DispatchMainThread()); }).join();

    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(DescriptorWatchTest, ALoopWithinACallbackServesTheOthersAlone)
{
    const EventDescriptor other;
    const DescriptorWatch outer = WatchDescriptor(mEvent.Get(), kReadable,
                                                  [&](unsigned)
                                                  {
                                                      EXPECT_EQ(0, RunMainThreadUntilIdle());
                                                      other.Signal();
                                                      EXPECT_EQ(1, RunMainThreadUntilIdle());
                                                      mEvent.Take();
                                                  });
    const DescriptorWatch inner = CountAndTake(other);
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(1, mCount.load());
}

TEST_F(DescriptorWatchTest, AFlushWithinACallbackReturnsAtOnce)
{
    const DescriptorWatch watch =
        WatchDescriptor(mEvent.Get(), kReadable,
                        [this](unsigned)
                        {
                            mEvent.Take();
                            AsyncCallFromMainThread([this] { ++mCount; }, 0);
                            GetRegisteredMainThread()->Flush();
                            EXPECT_EQ(0, mCount.load());
                        });
    mEvent.Signal();

    EXPECT_EQ(2, RunMainThreadUntilIdle());
}

TEST_F(DescriptorWatchTest, AnExceptionOutOfACallbackEndsInTheTraceAndTheWatchGoesOn)
{
    const Testing::TraceCapture trace("AsyncExecutor");
    const DescriptorWatch watch = WatchDescriptor(mEvent.Get(), kReadable,
                                                  [this](unsigned)
                                                  {
                                                      mEvent.Take();
                                                      throw std::runtime_error("out of a callback");
                                                  });
    for (int i = 0; i < 2; ++i)
    {
        mEvent.Signal();
        EXPECT_EQ(1, DispatchMainThread());
    }

    EXPECT_EQ(2u, trace.Count("A job ended with an exception: out of a callback"));
}

TEST_F(DescriptorWatchTest, ARunningLoopIsWoken)
{
    const DescriptorWatch watch = WatchDescriptor(mEvent.Get(), kReadable,
                                                  [this](unsigned)
                                                  {
                                                      mEvent.Take();
                                                      StopMainThread();
                                                  });
    std::thread other;
    AsyncCallFromMainThread([&] { other = std::thread([this] { mEvent.Signal(); }); }, 0);

    EXPECT_EQ(2, RunMainThreadUntilStopped());
    other.join();
}

TEST_F(DescriptorWatchTest, AWatchMadeWhileALoopRunsIsServedByIt)
{
    mEvent.Signal();
    DescriptorWatch watch;
    std::thread other;
    const auto makeWatch = [&]
    {
        watch = WatchDescriptor(mEvent.Get(), kReadable,
                                [this](unsigned)
                                {
                                    mEvent.Take();
                                    StopMainThread();
                                });
    };
    AsyncCallFromMainThread([&] { other = std::thread(makeWatch); }, 0);

    EXPECT_EQ(2, RunMainThreadUntilStopped());
    other.join();
}

TEST_F(DescriptorWatchTest, TheEndOnAnotherThreadWaitsForARunningCallback)
{
    Gate ending;
    bool returned = false; // the wait alone orders its write before its read
    std::thread other;
    DescriptorWatch watch;
    watch = WatchDescriptor(mEvent.Get(), kReadable,
                            [&](unsigned)
                            {
                                mEvent.Take();
                                other = std::thread(
                                    [&]
                                    {
                                        ending.Pass();
                                        watch.End();
                                        EXPECT_TRUE(returned);
                                    });
                                ending.WaitUntilCome(1);
                                ending.Open();
                                // Gives an end that does not wait the time to be caught.
                                for (int i = 0; i < 1000; ++i)
                                    std::this_thread::yield();
                                returned = true;
                            });
    mEvent.Signal();

    EXPECT_EQ(1, DispatchMainThread());
    other.join();
}

} // namespace
