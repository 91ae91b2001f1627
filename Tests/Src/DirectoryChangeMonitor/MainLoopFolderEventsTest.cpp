#include "MainLoopFolderEvents.h"

#include <gtest/gtest.h>

#include "Support/FakeFolderEvents.h"
#include "Support/TraceCapture.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace RK;

class MainLoopFolderEventsTest : public testing::Test
{
protected:
    MainLoopFolderEventsTest() { qelcore::threads::RegisterMainThread(); }

    std::unique_ptr<MainLoopFolderEvents> Make()
    {
        return MainLoopFolderEvents::Create("/root", 1.5, Platform::kFolderStream_FileEvents,
                                            [this](const auto& inEvents)
                                            { mDeliveries.push_back(inEvents); });
    }
    static Platform::FolderEvent Event(const std::string& inPath)
    {
        return {inPath, Platform::kFolderEvent_ItemCreated, 1};
    }

    Testing::FakeFolderEvents mSource;
    std::vector<std::vector<Platform::FolderEvent>> mDeliveries;
};

TEST_F(MainLoopFolderEventsTest, AsksForWhatItWasAskedFor)
{
    const auto events = Make();
    ASSERT_EQ(1u, mSource.Streams().size());
    const Testing::FakeFolderEvents::Stream& stream = *mSource.Streams()[0];
    EXPECT_EQ("/root", stream.root);
    EXPECT_EQ(1.5, stream.latencySeconds);
    EXPECT_EQ(Platform::kFolderStream_FileEvents, stream.flags);
    EXPECT_TRUE(stream.isRunning);
}

TEST_F(MainLoopFolderEventsTest, CallsBackOnceForAllThatIsDue)
{
    const auto events = Make();
    mSource.Streams()[0]->Deliver({Event("/root/a"), Event("/root/b")});
    EXPECT_TRUE(mDeliveries.empty()) << "not before the main thread's turn";
    qelcore::threads::DispatchMainThread();
    ASSERT_EQ(1u, mDeliveries.size());
    ASSERT_EQ(2u, mDeliveries[0].size());
    EXPECT_EQ("/root/b", mDeliveries[0][1].path);
    qelcore::threads::DispatchMainThread();
    EXPECT_EQ(1u, mDeliveries.size());
}

TEST_F(MainLoopFolderEventsTest, CallsNoMoreOnceItHasGone)
{
    auto events = Make();
    mSource.Streams()[0]->Deliver({Event("/root/a")});
    events.reset();
    qelcore::threads::DispatchMainThread();
    EXPECT_TRUE(mDeliveries.empty());
    EXPECT_TRUE(mSource.Streams().empty());
}

TEST_F(MainLoopFolderEventsTest, IsNullWhereTheFolderCannotBeWatched)
{
    mSource.mustNotStart = true;
    EXPECT_EQ(nullptr, Make());
    mSource.mustNotCreate = true;
    EXPECT_EQ(nullptr, Make());
    EXPECT_TRUE(mSource.Streams().empty());
}

TEST_F(MainLoopFolderEventsTest, TracesEachLossOnce)
{
    const Testing::TraceCapture trace("RK.FolderEvents", 1);
    const auto events = Make();
    Testing::FakeFolderEvents::Stream& stream = *mSource.Streams()[0];
    stream.lossCount = 2;
    stream.Deliver({Event("/root")});
    qelcore::threads::DispatchMainThread();
    stream.Deliver({Event("/root")});
    qelcore::threads::DispatchMainThread();
    EXPECT_EQ(1u, trace.Lines().size());
}

} // namespace
