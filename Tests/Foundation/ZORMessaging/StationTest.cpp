#include "ZORMessaging/Station.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "Support/TraceCapture.h"
#include "TestMessages.h"
#include "ZOR/CountedObject.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Testing::NumberMessage;
using Testing::Recorder;
using Testing::SafeRecorder;
using ZOR::StationID;
namespace StationRegistry = ZOR::StationRegistry;
namespace StationUtils = ZOR::StationUtils;

class StationTest : public testing::Test
{
protected:
    void Tell(int inNumber) { StationUtils::BroadcastMessage(mID, NumberMessage(inNumber)); }

    std::optional<StationUtils::ManagedStation> mStation{std::in_place};
    const StationID mID = mStation->GetStationID();
    Recorder mRecorder;
    std::vector<int> mHeard;
};

TEST_F(StationTest, AMessageReachesEachListenerInTheOrderTheyCame)
{
    std::vector<int> order;
    Recorder other;
    mRecorder.mThen = [&] { order.push_back(1); };
    other.mThen = [&] { order.push_back(2); };
    ASSERT_TRUE(StationUtils::AddListener(mID, &mRecorder));
    ASSERT_TRUE(StationUtils::AddListener(mID, &other));
    Tell(5);
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(5));
    EXPECT_THAT(other.mHeard, ElementsAre(5));
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST_F(StationTest, AListenerAddedTwiceHearsOnceAndIsRemovedTwice)
{
    StationUtils::AddListener(mID, &mRecorder);
    StationUtils::AddListener(mID, &mRecorder);
    Tell(1);
    EXPECT_TRUE(StationUtils::RemoveListener(mID, &mRecorder));
    Tell(2);
    EXPECT_TRUE(StationUtils::RemoveListener(mID, &mRecorder));
    Tell(3);
    EXPECT_FALSE(StationUtils::RemoveListener(mID, &mRecorder));
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 2));
}

TEST_F(StationTest, ACountedListenerIsHeldWeakly)
{
    ZOR::ISafeListenerRef listener(new SafeRecorder(mHeard));
    ASSERT_TRUE(StationUtils::AddListener(mID, listener));
    Tell(1);
    listener.reset();
    Tell(2);
    EXPECT_THAT(mHeard, ElementsAre(1));
}

TEST_F(StationTest, ACountedListenerIsHeldForTheTimeOfItsCall)
{
    ZOR::ISafeListenerRef listener;
    listener = ZOR::ISafeListenerRef(new SafeRecorder(
        mHeard,
        [&]
        {
            listener.reset();
            mHeard.push_back(100); // touches the object's reference, which is still there
        }));
    StationUtils::AddListener(mID, listener);
    Tell(1);
    Tell(2);
    EXPECT_THAT(mHeard, ElementsAre(1, 100));
}

TEST_F(StationTest, ACountedListenerCanBeRemovedThroughAnyReferenceToIt)
{
    const ZOR::ISafeListenerRef listener(new SafeRecorder(mHeard));
    StationUtils::AddListener(mID, listener);
    const auto capable = ZOR::QueryInterface<ZOR::IWeakReferenceCapable>(listener);
    EXPECT_TRUE(
        StationUtils::RemoveListener(mID, ZOR::QueryInterface<ZOR::ISafeListener>(capable)));
    Tell(1);
    EXPECT_THAT(mHeard, IsEmpty());
}

class StrongListener : public ZOR::CountedObject<ZOR::ISafeListener>
{
public:
    void ListenToMessage(const ZOR::Message&) override {}
};

TEST_F(StationTest, RefusesWhoCannotBeHeldWeaklyAndNull)
{
    EXPECT_FALSE(StationUtils::AddListener(mID, ZOR::ISafeListenerRef(new StrongListener)));
    EXPECT_FALSE(StationUtils::AddListener(mID, ZOR::ISafeListenerRef()));
    EXPECT_FALSE(StationUtils::AddListener(mID, static_cast<ZOR::Listener*>(nullptr)));
    EXPECT_FALSE(StationUtils::RemoveListener(mID, ZOR::ISafeListenerRef()));
    Tell(1);
}

TEST_F(StationTest, AListenerMayRemoveItselfWithinItsCall)
{
    mRecorder.mThen = [&] { StationUtils::RemoveListener(mID, &mRecorder); };
    StationUtils::AddListener(mID, &mRecorder);
    Tell(1);
    Tell(2);
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1));
}

TEST_F(StationTest, AListenerRemovedByOneBeforeItHearsNothingMore)
{
    Recorder later;
    mRecorder.mThen = [&] { StationUtils::RemoveListener(mID, &later); };
    StationUtils::AddListener(mID, &mRecorder);
    StationUtils::AddListener(mID, &later);
    Tell(1);
    EXPECT_THAT(later.mHeard, IsEmpty());
}

TEST_F(StationTest, AListenerMayTellAndAddWithinItsCall)
{
    Recorder added;
    mRecorder.mThen = [&]
    {
        if (mRecorder.mHeard.size() > 1)
            return;
        StationUtils::AddListener(mID, &added);
        Tell(2);
    };
    StationUtils::AddListener(mID, &mRecorder);
    Tell(1);
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 2));
    EXPECT_THAT(added.mHeard, ElementsAre(2));
}

TEST_F(StationTest, OneListenersExceptionIsTracedAndTheOthersHear)
{
    const Testing::TraceCapture trace("Messaging");
    Recorder other;
    mRecorder.mThen = [] { throw std::runtime_error("out of ink"); };
    StationUtils::AddListener(mID, &mRecorder);
    StationUtils::AddListener(mID, &other);
    Tell(4);
    EXPECT_THAT(other.mHeard, ElementsAre(4));
    EXPECT_THAT(trace.Lines(), ElementsAre(HasSubstr("A listener raised: out of ink")));
}

TEST_F(StationTest, IsForgottenWithItsListenersAtItsEnd)
{
    StationUtils::AddListener(mID, &mRecorder);
    mStation.reset();
    Tell(1);
    EXPECT_THAT(mRecorder.mHeard, IsEmpty());
    EXPECT_FALSE(StationUtils::AddListener(mID, &mRecorder));
    EXPECT_FALSE(StationUtils::RemoveListener(mID, &mRecorder));
    EXPECT_FALSE(StationRegistry::DisposeStation(mID));
}

TEST(StationRegistryTest, NamesAreUniqueAndTakenOnce)
{
    const StationID first = StationRegistry::UniqueStationID();
    EXPECT_NE(first, StationRegistry::UniqueStationID());
    EXPECT_TRUE(StationRegistry::RegisterStation(first));
    EXPECT_FALSE(StationRegistry::RegisterStation(first));
    EXPECT_TRUE(StationRegistry::DisposeStation(first));
    EXPECT_FALSE(StationRegistry::RegisterStation(StationID()));
}

TEST(StationRegistryTest, ASecondRegistrationLeavesTheListeners)
{
    const StationUtils::ManagedStation station;
    Recorder recorder;
    StationUtils::AddListener(station.GetStationID(), &recorder);
    EXPECT_FALSE(StationRegistry::RegisterStation(station.GetStationID()));
    StationUtils::BroadcastMessage(station.GetStationID(), NumberMessage(1));
    EXPECT_THAT(recorder.mHeard, ElementsAre(1));
}

TEST(StationRegistryTest, AFactoryMakesTheStationWhenSomebodyFirstListens)
{
    int made = 0;
    const StationUtils::ManagedStation station(
        [&](const StationID&)
        {
            ++made;
            return boost::make_shared<ZOR::Station>();
        });
    StationUtils::BroadcastMessage(station.GetStationID(), NumberMessage(1));
    EXPECT_EQ(made, 0);
    Recorder recorder;
    StationUtils::AddListener(station.GetStationID(), &recorder);
    StationUtils::AddListener(station.GetStationID(), &recorder);
    EXPECT_EQ(made, 1);
}

} // namespace
