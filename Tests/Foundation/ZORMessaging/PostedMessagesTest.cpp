#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "TestMessages.h"
#include "ZORMessaging/Station.h"
#include "qelcore/ErrorManager.h"
#include "qelcore/MainThread.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::NumberMessage;
using Testing::PlainMessage;
using Testing::Recorder;
namespace StationUtils = ZOR::StationUtils;
namespace threads = qelcore::threads;

class PostedMessagesTest : public testing::Test
{
protected:
    PostedMessagesTest()
    {
        EXPECT_TRUE(threads::RegisterMainThread());
        StationUtils::AddListener(mStation.GetStationID(), &mRecorder);
    }
    ~PostedMessagesTest() override
    {
        threads::RunMainThreadUntilIdle();
        threads::UnregisterMainThread();
    }

    bool Post(int inNumber, bool inOnlyOnce = false)
    {
        return StationUtils::PostMessageToUIThread(mStation.GetStationID(), NumberMessage(inNumber),
                                                   inOnlyOnce);
    }

    const StationUtils::ManagedStation mStation;
    Recorder mRecorder;
};

TEST_F(PostedMessagesTest, AreToldByTheMainThreadInTheOrderOfPosting)
{
    std::thread([&] { EXPECT_TRUE(Post(1) && Post(2)); }).join();
    EXPECT_TRUE(Post(3));
    EXPECT_THAT(mRecorder.mHeard, IsEmpty());
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 2, 3));
}

TEST_F(PostedMessagesTest, AFlushTellsThemAtOnceAndNotAgain)
{
    Post(1);
    Post(2);
    StationUtils::FlushPostedMessagesOnUIThread();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 2));
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 2));
}

TEST_F(PostedMessagesTest, AFlushOnAnotherThreadDoesNothing)
{
    Post(1);
    std::thread([] { StationUtils::FlushPostedMessagesOnUIThread(); }).join();
    EXPECT_THAT(mRecorder.mHeard, IsEmpty());
}

TEST_F(PostedMessagesTest, AFlushLeavesWhatIsPostedMeanwhile)
{
    mRecorder.mThen = [&]
    {
        if (mRecorder.mHeard.size() < 3)
            Post(9);
    };
    Post(1);
    StationUtils::FlushPostedMessagesOnUIThread();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1));
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 9, 9));
}

TEST_F(PostedMessagesTest, OnlyOnceMergesWithOneOfItsClassThatWaitsForTheStation)
{
    const StationUtils::ManagedStation other;
    EXPECT_TRUE(Post(1, true));
    EXPECT_TRUE(Post(2, true));
    StationUtils::PostMessageToUIThread(other.GetStationID(), PlainMessage(), true);
    EXPECT_TRUE(StationUtils::PostMessageToUIThread(mStation.GetStationID(), PlainMessage(), true));
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, -1));
    Post(3, true);
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, -1, 3));
}

TEST_F(PostedMessagesTest, AStoppedMainThreadTakesNoneAndForgetsNone)
{
    Post(1);
    threads::GetRegisteredMainThread()->Stop();
    EXPECT_FALSE(Post(2));
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1));
    threads::UnregisterMainThread();
    threads::RegisterMainThread();
    Post(3);
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1, 3));
}

TEST_F(PostedMessagesTest, TheLastTerminateDropsThem)
{
    ZOR::Messaging::Initialize();
    ZOR::Messaging::Initialize();
    Post(1);
    ZOR::Messaging::Terminate();
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1));
    Post(2);
    ZOR::Messaging::Terminate();
    threads::RunMainThreadUntilIdle();
    EXPECT_THAT(mRecorder.mHeard, ElementsAre(1));
    EXPECT_THROW(ZOR::Messaging::Terminate(), qelcore::config::Error);
}

TEST_F(PostedMessagesTest, TheStationOfDirectoryChangesStandsWhileMessagingIsUp)
{
    EXPECT_FALSE(StationUtils::AddListener(ZOR::kStation_DirectoryChange, &mRecorder));
    ZOR::Messaging::Initialize();
    EXPECT_TRUE(StationUtils::AddListener(ZOR::kStation_DirectoryChange, &mRecorder));
    ZOR::Messaging::Terminate();
    EXPECT_FALSE(StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, &mRecorder));
}

} // namespace
