// The player and the contact sheet from within, with the library running.
#include "Player.h"

#include <csignal>
#include <future>
#include <limits>
#include <numeric>
#include <stdexcept>

#include <RiverKit/RKInitializer.h>
#include <RiverKit/RKMediaManager.h>

#include "BuiltImporter.h"
#include "ContactSheet.h"
#include "HostError.h"
#include "HostFixture.h"
#include "Stopwatch.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/MainThread.h"

namespace RKHostTests
{
namespace
{

using RKHost::ContactSheet;
using RKHost::EvenlySpaced;
using RKHost::Frame;

class Recorder : public RKHost::IAudience
{
public:
    void OnFrame(int inFrame, const Frame& inPicture, bool inHit) override
    {
        mFrames.push_back(inFrame);
        mHits += inHit ? 1 : 0;
        mBytes += inPicture.mPixels->Size();
        if (mOnFrame)
            mOnFrame(inFrame);
    }
    void OnFailure(int inFrame, const std::string& inError) override
    {
        mFailures.emplace_back(inFrame, inError);
    }

    std::vector<int> mFrames;
    std::vector<std::pair<int, std::string>> mFailures;
    int mHits = 0;
    std::size_t mBytes = 0;
    std::function<void(int)> mOnFrame;
};

class PlayerTest : public testing::Test
{
protected:
    static constexpr int kFrames = 200; // more than are asked for ahead on most machines

    PlayerTest()
    {
        std::vector<int> numbers(kFrames);
        std::iota(numbers.begin(), numbers.end(), 1);
        mFirst = mFolder.WriteFrames("quadrants-420.jpg", "f", numbers);
        mAll.resize(kFrames);
        std::iota(mAll.begin(), mAll.end(), 0);
    }

    FrameFolder mFolder;
    RKHost::EventLoop mLoop;
    RK::Initializer mLibrary;
    RKHost::FrameCache mCache;
    RKHost::FilePool mFiles;
    RKHost::ImporterModule mImporter = LoadBuiltImporter();
    std::string mFirst;
    std::vector<int> mAll;
};

TEST_F(PlayerTest, FramesComeInTheOrderAskedForAndOnlyOnce)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    Recorder recorder;

    player.Play(mAll, recorder);

    EXPECT_EQ(mAll, recorder.mFrames);
    EXPECT_EQ(0, recorder.mHits);
    EXPECT_EQ(1536u * kFrames, mCache.BytesHeld());
    EXPECT_EQ(0u, mCache.BytesPurged());
}

TEST_F(PlayerTest, AFrameThatIsAskedForAgainBeforeItHasComeIsDecodedOnce)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    ASSERT_GE(player.ReadAhead(), 4u);
    // Nothing is read before the player has asked for all it may and waits.
    const auto io = qelcore::threads::GetIOBoundExecutor();
    std::promise<void> asked;
    const std::shared_future<void> wait = asked.get_future().share();
    for (int thread = 0; thread < io->GetParallelism(); ++thread)
        io->Post([wait] { wait.wait(); }, 0);
    qelcore::threads::AsyncCallFromMainThread([&asked] { asked.set_value(); }, 0);
    const std::vector<int> frames = {3, 3, 4, 3};
    Recorder recorder;

    player.Play(frames, recorder);

    EXPECT_EQ(frames, recorder.mFrames);
    EXPECT_EQ(0, recorder.mHits);
    EXPECT_EQ(2u, player.QueueCounters().activeCPU.entered);
    EXPECT_EQ(2u, player.QueueCounters().parked.entered);
    EXPECT_EQ(2 * 1536u, mCache.BytesHeld());
}

TEST_F(PlayerTest, WhatWasPurgedIsDecodedAgain)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    Recorder cold, warm, again;
    player.Play(mAll, cold);

    RK::MM::Purge(std::numeric_limits<std::size_t>::max(), RK::kPurgeUrgency_Immediate);
    const std::uint64_t purged = mCache.BytesPurged();
    player.Play(mAll, warm);
    player.Play(mAll, again);

    EXPECT_EQ(1536u * kFrames, purged);
    EXPECT_EQ(0, warm.mHits);
    EXPECT_EQ(cold.mBytes, warm.mBytes);
    EXPECT_EQ(kFrames, again.mHits);
}

TEST_F(PlayerTest, AnInterruptionLeavesNothingUnderWay)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    Recorder recorder;
    recorder.mOnFrame = [](int inFrame)
    {
        if (inFrame == 10)
            raise(SIGINT);
    };

    EXPECT_THROW(player.Play(mAll, recorder), RKHost::Interrupted);

    EXPECT_TRUE(mLoop.IsInterrupted());
    EXPECT_GE(recorder.mFrames.size(), 11u);
    EXPECT_LT(recorder.mFrames.size(), static_cast<std::size_t>(kFrames));
}

TEST_F(PlayerTest, AnAudienceThatThrowsEndsThePassAndTheNextOnePlays)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    Recorder recorder, next;
    recorder.mOnFrame = [](int inFrame)
    {
        if (inFrame == 3)
            throw std::runtime_error("seen enough");
    };

    EXPECT_THROW(player.Play(mAll, recorder), std::runtime_error);
    player.Play(mAll, next);

    EXPECT_EQ(4u, recorder.mFrames.size());
    EXPECT_EQ(mAll, next.mFrames);
}

TEST_F(PlayerTest, ARateHoldsTheFramesBack)
{
    constexpr int kShown = 20;
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop, 1000);
    Recorder recorder;
    const RKHost::Stopwatch stopwatch;

    player.Play(std::vector<int>(mAll.begin(), mAll.begin() + kShown), recorder);

    EXPECT_EQ(static_cast<std::size_t>(kShown), recorder.mFrames.size());
    EXPECT_GE(stopwatch.Seconds(), (kShown - 1) * 0.001);
}

TEST_F(PlayerTest, ReadAheadIsBoundedByTheBudget)
{
    const RKHost::Sequence sequence = RKHost::Sequence::FromExampleFile(mFirst);
    RKHost::Player player(sequence, kFrames, mCache, mFiles, mImporter, mLoop);
    const std::size_t most = player.ReadAhead();
    Recorder recorder;
    player.Play(mAll, recorder);
    EXPECT_EQ(most, player.ReadAhead()) << "frames of 1.5 KB fit any budget";

    // A budget of so few bytes that two frames of this size are more than a fourth of it.
    player.LimitReadAhead(1536 * 4 * 2);
    EXPECT_EQ(2u, player.ReadAhead());
    player.LimitReadAhead(1536 * 4 * 3);
    EXPECT_EQ(3u, player.ReadAhead());
    player.LimitReadAhead(1);
    EXPECT_EQ(2u, player.ReadAhead());
}

TEST(EvenlySpacedFrames, RunFromTheFirstToTheLast)
{
    EXPECT_EQ((std::vector<int>{}), EvenlySpaced(0, 24));
    EXPECT_EQ((std::vector<int>{0}), EvenlySpaced(1, 24));
    EXPECT_EQ((std::vector<int>{0, 1, 2}), EvenlySpaced(3, 24));
    EXPECT_EQ((std::vector<int>{0, 33, 66, 99}), EvenlySpaced(100, 4));
    EXPECT_EQ(24u, EvenlySpaced(1000000, 24).size());
    EXPECT_EQ(999999, EvenlySpaced(1000000, 24).back());
}

// A frame of one colour.
Frame PlainFrame(std::uint32_t inWidth, std::uint32_t inHeight, std::uint8_t inGrey)
{
    Frame frame;
    frame.mInfo.mWidth = inWidth;
    frame.mInfo.mHeight = inHeight;
    frame.mInfo.mLayout = kRKImageLayout_BGRA8;
    frame.mInfo.mPlaneCount = 1;
    frame.mInfo.mPlanes[0] = {0, inWidth * 4, inHeight};
    frame.mInfo.mByteCount = std::uint64_t{inWidth} * inHeight * 4;
    const auto pixels = qelcore::utility::RecycledMemory::Create(frame.mInfo.mByteCount);
    std::memset(pixels->Data(), inGrey, pixels->Size());
    frame.mPixels = pixels;
    return frame;
}

class ContactSheetTest : public testing::Test
{
protected:
    RKHost::ImporterModule mImporter = LoadBuiltImporter();
    ContactSheet mSheet{mImporter};
};

TEST_F(ContactSheetTest, AFrameIsScaledDownToTheWidestCell)
{
    mSheet.Add(PlainFrame(1920, 1080, 77));
    const RKHost::Picture sheet = mSheet.Compose();
    EXPECT_EQ(320u + 16, sheet.mWidth);
    EXPECT_EQ(180u + 16, sheet.mHeight);
    EXPECT_TRUE(IsNear({77, 77, 77}, ColorAt(sheet.mPixels, sheet.mWidth, 168, 98), 1));
}

TEST_F(ContactSheetTest, AFrameOfAnotherShapeIsFittedIntoItsCell)
{
    mSheet.Add(PlainFrame(64, 32, 200));
    mSheet.Add(PlainFrame(32, 64, 100));
    const RKHost::Picture sheet = mSheet.Compose();
    const auto at = [&](std::uint32_t x, std::uint32_t y)
    { return ColorAt(sheet.mPixels, sheet.mWidth, x, y).mGreen; };
    const int background = at(1, 1);
    EXPECT_EQ(200, at(8, 8));
    // 16 pixels wide, in the middle of a cell that is 64 wide and begins at 80.
    EXPECT_EQ(background, at(80 + 23, 24));
    EXPECT_NEAR(100, at(80 + 32, 24), 1);
    EXPECT_EQ(background, at(80 + 40, 24));
}

TEST_F(ContactSheetTest, AThreadThinFrameStillHasAPixel)
{
    mSheet.Add(PlainFrame(4000, 2, 50));
    EXPECT_EQ(1u + 16, mSheet.Compose().mHeight);
}

} // namespace
} // namespace RKHostTests
