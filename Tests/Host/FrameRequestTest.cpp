// A frame's request, told by hand what the decode queue would tell it.
#include "FrameRequest.h"

#include <RiverKit/RKInitializer.h>
#include <boost/make_shared.hpp>

#include "BuiltImporter.h"
#include "HostFixture.h"
#include "qelcore/AsyncExecutor.h"

namespace RKHostTests
{
namespace
{

using RKHost::FrameRequest;
using RKHost::FrameResult;

class FrameRequestTest : public testing::Test
{
protected:
    boost::shared_ptr<FrameRequest> MakeRequest(const std::string& inPath)
    {
        return boost::make_shared<FrameRequest>(
            inPath, RKHost::FrameCache::MakeKey(inPath), mCache, mFiles, mImporter,
            [this](const FrameResult& inResult) { mResults.push_back(inResult); });
    }

    /// Runs the I/O stage to its end. @return the status that the queue is told.
    static int RunIO(FrameRequest& ioRequest)
    {
        int status = 12345;
        EXPECT_GE(ioRequest.InitiateIO([&status](int inStatus) { status = inStatus; }), 0);
        qelcore::threads::GetIOBoundExecutor()->Flush();
        return status;
    }

    bool IsCached(const std::string& inPath)
    {
        return mCache.Get(RKHost::FrameCache::MakeKey(inPath)) != nullptr;
    }

    FrameFolder mFolder;
    RK::Initializer mLibrary;
    RKHost::FrameCache mCache;
    RKHost::FilePool mFiles;
    RKHost::ImporterModule mImporter = LoadBuiltImporter();
    std::string mGood = mFolder.WriteFrames("quadrants.png", "f", {1});
    std::vector<FrameResult> mResults;
};

TEST_F(FrameRequestTest, BothStagesDeliverTheFrameAndCacheIt)
{
    const auto request = MakeRequest(mGood);

    EXPECT_GE(RunIO(*request), 0);
    EXPECT_TRUE(mResults.empty());
    EXPECT_GE(request->ProcessCPU(), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_EQ("", mResults[0].mError);
    EXPECT_EQ(32u, mResults[0].mFrame.mInfo.mWidth);
    EXPECT_EQ(4096u, mResults[0].mFrame.mPixels->Size());
    EXPECT_TRUE(IsCached(mGood));
}

TEST_F(FrameRequestTest, AFileThatCannotBeReadEndsInTheIOStage)
{
    const auto request = MakeRequest(mFolder.Path("f0002.png"));

    EXPECT_LT(RunIO(*request), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_EQ("No such file or directory", mResults[0].mError);
    EXPECT_FALSE(mResults[0].mCancelled);
}

TEST_F(FrameRequestTest, AFileThatIsNoImageEndsInTheCPUStageUncached)
{
    const std::string path = mFolder.Write("f0003.png", Bytes(100, 'x'));
    const auto request = MakeRequest(path);

    EXPECT_GE(RunIO(*request), 0);
    EXPECT_LT(request->ProcessCPU(), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_NE("", mResults[0].mError);
    EXPECT_EQ(nullptr, mResults[0].mFrame.mPixels);
    EXPECT_FALSE(IsCached(path));
}

TEST_F(FrameRequestTest, CancelledBetweenTheStagesItDeliversAtOnce)
{
    const auto request = MakeRequest(mGood);

    EXPECT_GE(request->CancelQueued(), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_TRUE(mResults[0].mCancelled);
}

TEST_F(FrameRequestTest, CancelledBeforeItsIOItDeliversAtOnceAndReadsNothing)
{
    const auto request = MakeRequest(mGood);

    EXPECT_GE(request->CancelDuringIO(), 0);
    EXPECT_EQ(1u, mResults.size()) << "the queue may tell it nothing more";
    EXPECT_LT(RunIO(*request), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_TRUE(mResults[0].mCancelled);
}

TEST_F(FrameRequestTest, CancelledWhenItsIOHasJustEndedItDecodesNothing)
{
    const auto request = MakeRequest(mGood);
    EXPECT_GE(RunIO(*request), 0);

    request->CancelDuringIO();
    EXPECT_LT(request->ProcessCPU(), 0);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_TRUE(mResults[0].mCancelled);
    EXPECT_FALSE(IsCached(mGood));
}

TEST_F(FrameRequestTest, CancelledDuringItsCPUStageItSaysThatItCouldNotBe)
{
    const auto request = MakeRequest(mGood);
    RunIO(*request);
    EXPECT_LT(request->CancelDuringCPU(), 0);
}

TEST_F(FrameRequestTest, RequestsForTheSameFileAreTheSameWork)
{
    EXPECT_EQ(MakeRequest(mGood)->GetGuid(), MakeRequest(mGood)->GetGuid());
    EXPECT_NE(MakeRequest(mGood)->GetGuid(), MakeRequest(mFolder.Path("f0002.png"))->GetGuid());
}

TEST_F(FrameRequestTest, ADuplicateDeliversWhatThePrimaryHasDecoded)
{
    const auto primary = MakeRequest(mGood);
    const auto duplicate = MakeRequest(mGood);
    RunIO(*primary);
    const int status = primary->ProcessCPU();

    duplicate->DuplicateCompleted(primary, status);
    duplicate->DuplicateCompleted(primary, status);

    ASSERT_EQ(2u, mResults.size());
    EXPECT_EQ(mResults[0].mFrame.mPixels, mResults[1].mFrame.mPixels);
    EXPECT_EQ("", mResults[1].mError);
}

TEST_F(FrameRequestTest, ADuplicateDeliversThePrimarysFailure)
{
    const std::string missing = mFolder.Path("f0002.png");
    const auto primary = MakeRequest(missing);
    const int status = RunIO(*primary);

    MakeRequest(missing)->DuplicateCompleted(primary, status);

    ASSERT_EQ(2u, mResults.size());
    EXPECT_EQ("No such file or directory", mResults[1].mError);
}

TEST_F(FrameRequestTest, ADuplicateOfAPrimaryThatNobodyHasToldYetIsCancelled)
{
    MakeRequest(mGood)->DuplicateCompleted(MakeRequest(mGood), RK::kDecodeErrorRequestCancelled);

    ASSERT_EQ(1u, mResults.size());
    EXPECT_TRUE(mResults[0].mCancelled);
}

} // namespace
} // namespace RKHostTests
