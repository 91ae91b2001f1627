#include "Platform/WakeSet.h"

#include <gtest/gtest.h>

#include "Support/Descriptors.h"

namespace
{

using namespace Platform;
using Testing::EventDescriptor;
using Testing::IsReadable;

/// @return the ID of a ready descriptor, 0 for none.
std::uint64_t TakeReady(WakeSet& ioSet)
{
    std::uint64_t id = 0;
    unsigned events = 0;
    return ioSet.TakeReady(id, events) ? id : 0;
}

class WakeSetTest : public ::testing::Test
{
protected:
    WakeSet mSet;
    EventDescriptor mEvent;
};

TEST_F(WakeSetTest, AWaitTakesNothing)
{
    const WatchedDescriptor watched(mSet, mEvent.Get(), kReady_Readable, 7);
    mEvent.Signal();

    mSet.Wait(-1);
    mSet.Wait(-1);

    EXPECT_EQ(7u, TakeReady(mSet));
}

TEST_F(WakeSetTest, WhatWasTakenIsSilentUntilItIsArmedAgain)
{
    WatchedDescriptor watched(mSet, mEvent.Get(), kReady_Readable, 7);
    mEvent.Signal();
    EXPECT_EQ(7u, TakeReady(mSet));

    mEvent.Signal();
    EXPECT_FALSE(IsReadable(mSet.Descriptor()));
    EXPECT_EQ(0u, TakeReady(mSet));
    watched.Arm();
    EXPECT_TRUE(IsReadable(mSet.Descriptor()));
    EXPECT_EQ(7u, TakeReady(mSet));
}

TEST_F(WakeSetTest, TheSignalAndTheAlarmDoNotHideWhatIsWatched)
{
    mSet.Signal();
    mSet.SetAlarm(1);
    const EventDescriptor other;
    const WatchedDescriptor first(mSet, mEvent.Get(), kReady_Readable, 7);
    const WatchedDescriptor second(mSet, other.Get(), kReady_Readable, 8);
    mEvent.Signal();
    other.Signal();

    EXPECT_EQ(7u + 8u, TakeReady(mSet) + TakeReady(mSet));
    EXPECT_EQ(0u, TakeReady(mSet));
    EXPECT_TRUE(IsReadable(mSet.Descriptor())) << "by signal and alarm";
}

} // namespace
