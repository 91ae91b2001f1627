#include "FrameArrivals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace RKHostTests
{
namespace
{

using RKHost::FileVersion;
using RKHost::FrameArrivals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kToday = 1000000;

class FrameArrivalsTest : public testing::Test
{
protected:
    void Write(int inFrame, std::uint64_t inSize, double inModified)
    {
        FileVersion& file = mFiles[inFrame];
        file.mIsThere = true;
        file.mSize = inSize;
        file.mSeconds = static_cast<std::int64_t>(inModified);
    }
    std::vector<int> TakeAt(double inSeconds)
    {
        return mArrivals.Take([this](int inFrame) { return mFiles[inFrame]; }, inSeconds,
                              kToday + inSeconds);
    }

    std::map<int, FileVersion> mFiles;
    FrameArrivals mArrivals;
};

TEST_F(FrameArrivalsTest, FilesOfLongAgoAreTakenAtOnceAndOnce)
{
    Write(0, 10, kToday - 60);
    Write(1, 10, kToday - 60);
    mArrivals.AwaitUpTo(2);
    EXPECT_THAT(TakeAt(0), ElementsAre(0, 1));
    mArrivals.AwaitUpTo(2);
    EXPECT_THAT(TakeAt(1), IsEmpty());
}

TEST_F(FrameArrivalsTest, AFileThatIsBeingWrittenIsTakenOnceItIsQuiet)
{
    mArrivals.AwaitUpTo(1);
    Write(0, 10, kToday);
    EXPECT_THAT(TakeAt(0), IsEmpty());
    EXPECT_TRUE(mArrivals.IsAnyBeingWritten());
    Write(0, 20, kToday);
    EXPECT_THAT(TakeAt(0.45), IsEmpty());
    EXPECT_THAT(TakeAt(0.9), IsEmpty()) << "it was written at 0.45 s";
    EXPECT_THAT(TakeAt(0.96), ElementsAre(0));
    EXPECT_FALSE(mArrivals.IsAnyBeingWritten());
}

TEST_F(FrameArrivalsTest, AnEmptyFileIsNotYetWritten)
{
    mArrivals.AwaitUpTo(1);
    Write(0, 0, kToday);
    TakeAt(0);
    EXPECT_THAT(TakeAt(1), IsEmpty());
    EXPECT_THAT(TakeAt(3), ElementsAre(0)) << "somebody has left it so";
}

TEST_F(FrameArrivalsTest, AGapIsWaitedForAndHoldsNothingUp)
{
    mArrivals.AwaitUpTo(3);
    Write(0, 10, kToday - 60);
    Write(2, 10, kToday - 60);
    EXPECT_THAT(TakeAt(0), ElementsAre(0, 2));
    EXPECT_EQ(mArrivals.AwaitedCount(), 1);
    EXPECT_FALSE(mArrivals.IsAnyBeingWritten());
    Write(1, 10, kToday - 60);
    EXPECT_THAT(TakeAt(1), ElementsAre(1));
}

TEST_F(FrameArrivalsTest, AClockOfTheFilesThatIsAheadDelaysNothing)
{
    mArrivals.AwaitUpTo(1);
    Write(0, 10, kToday + 3600);
    TakeAt(0);
    EXPECT_THAT(TakeAt(0.5), ElementsAre(0));
}

} // namespace
} // namespace RKHostTests
