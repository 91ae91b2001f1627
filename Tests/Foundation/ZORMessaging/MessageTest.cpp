#include "ZORMessaging/Message.h"

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "TestMessages.h"

namespace
{

using Testing::NumberMessage;
using Testing::PlainMessage;

// Golden values: other processes and later versions must find the same.
TEST(MessageID, OfATypeNameIsTheSameInEveryProcess)
{
    EXPECT_EQ(ZOR::HashMessageTypeNameToMessageID("N2RK9DataCache19ItemsRemovedMessageE"),
              0x19d7de096d1227e3u);
    EXPECT_EQ(ZOR::HashMessageTypeNameToMessageID(""), 0xe5189a9599e3f862u);
}

TEST(MessageID, DiffersBetweenClassesAndComesFromTheTypesName)
{
    EXPECT_EQ(NumberMessage::GetClassMessageID(),
              ZOR::HashMessageTypeNameToMessageID(typeid(NumberMessage).name()));
    EXPECT_EQ(NumberMessage(1).GetMessageID(), NumberMessage::GetClassMessageID());
    EXPECT_NE(NumberMessage::GetClassMessageID(), PlainMessage::GetClassMessageID());
}

TEST(Message, ACloneIsOfTheSameClassAndContent)
{
    const boost::shared_ptr<ZOR::Message> clone = NumberMessage(7).Clone();
    EXPECT_NE(dynamic_cast<NumberMessage*>(clone.get()), nullptr);
    EXPECT_EQ(Testing::NumberOf(*clone), 7);
}

TEST(Message, ACallbackTellsACopyEachTimeItIsCalled)
{
    const ZOR::StationUtils::ManagedStation station;
    Testing::Recorder recorder;
    ASSERT_TRUE(ZOR::StationUtils::AddListener(station.GetStationID(), &recorder));
    auto message = std::make_unique<NumberMessage>(3);
    const boost::function<void()> callback = message->CreateCallback(station.GetStationID());
    message.reset();
    callback();
    callback();
    EXPECT_EQ(recorder.mHeard, (std::vector<int>{3, 3}));
}

TEST(Message, LivingOnesAreCounted)
{
    const std::int32_t before = NumberMessage::GetLiveCount();
    {
        const NumberMessage one(1);
        const boost::shared_ptr<ZOR::Message> clone = one.Clone();
        EXPECT_EQ(NumberMessage::GetLiveCount(), before + 2);
    }
    EXPECT_EQ(NumberMessage::GetLiveCount(), before);
}

} // namespace
