#include <cerrno>

#include <boost/weak_ptr.hpp>

#include "FolderStoreFixture.h"
#include "Support/ChildProcess.h"
#include "Support/ContractWatch.h"
#include "Support/Sanitizers.h"
#include "ZOR/FileResults.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;

class FolderStoreReadTest : public FolderStoreTest
{
protected:
    /// A store that knows the item a/b, whose file holds that text.
    void OpenKnowing(const std::string& inText = "text")
    {
        mFiles.AddFile("/c/a.b.rkdc", inText);
        OpenAndSettle(true);
        ASSERT_TRUE(Lists("a", "b"));
    }
    void ExpectOneFailure(qelcore::Result inResult)
    {
        ASSERT_EQ(mDelivered.size(), 1u);
        EXPECT_EQ(mDelivered[0].result, inResult);
        EXPECT_EQ(mDelivered[0].key, "a");
        EXPECT_EQ(mDelivered[0].subKey, "b");
        EXPECT_EQ(mDelivered[0].buffer, nullptr);
    }
};

TEST_F(FolderStoreReadTest, AnItemThatIsOnlyOnDiskIsQueuedReadAndListedAfterwards)
{
    mFiles.AddFile("/c/a.b.rkdc", "text");
    OpenAndSettle();
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_EQ(Get("a", "b"), RK::kDataCacheResultReadQueued);
    EXPECT_EQ(mBuffer, nullptr);
    EXPECT_THAT(mDelivered, IsEmpty());
    Read();
    ASSERT_EQ(mDelivered.size(), 1u);
    EXPECT_EQ(mDelivered[0].result, qelcore::kResult_OK);
    EXPECT_EQ(mDelivered[0].key, "a");
    EXPECT_EQ(mDelivered[0].subKey, "b");
    EXPECT_EQ(TextOf(mDelivered[0].buffer), "text");
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
}

TEST_F(FolderStoreReadTest, WithoutACompletionOnlyWhatIsKnownIsToldToBeThere)
{
    OpenKnowing();
    mFiles.AddFile("/c/a.later.rkdc", "text");
    EXPECT_EQ(GetWithoutCompletion("a", "b"), RK::kDataCacheResultReadNeedsCompletion);
    EXPECT_EQ(GetWithoutCompletion("a", "later"), RK::kDataCacheResultItemNotFound);
    EXPECT_EQ(GetWithoutCompletion("a", "never"), RK::kDataCacheResultItemNotFound);
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_EQ(mReads->DueCount(), 0u);
}

TEST_F(FolderStoreReadTest, AnItemThatIsNowhereIsNotFoundAndNothingIsQueued)
{
    OpenAndSettle();
    EXPECT_EQ(Get("a", "b"), RK::kDataCacheResultItemNotFound);
    EXPECT_EQ(mReads->DueCount(), 0u);
}

TEST_F(FolderStoreReadTest, ItemsWithoutASubKeyAreReadByTheEmptyAndByTheNullOne)
{
    mFiles.AddFile("/c/a.rkdc", "text");
    OpenAndSettle(true);
    EXPECT_EQ(ReadBack("a", ""), "text");
    EXPECT_EQ(mStore->GetItem(N("a"), Name(), Taking(), mBuffer), RK::kDataCacheResultReadQueued);
    EXPECT_EQ(ListOf("a").size(), 1u);
}

TEST_F(FolderStoreReadTest, TheCompletionRunsOnThePoolForComputing)
{
    OpenKnowing();
    Get("a", "b");
    mReads->RunQueued();
    EXPECT_THAT(mDelivered, IsEmpty());
    EXPECT_EQ(mExecutors.cpu->DueCount(), 1u);
    Complete();
    EXPECT_EQ(mDelivered.size(), 1u);
}

TEST_F(FolderStoreReadTest, AFileOfOneByteIsReadByAWholeUnitAndDeliveredAsACopy)
{
    OpenKnowing("x");
    EXPECT_EQ(ReadBack("a", "b"), "x");
    EXPECT_EQ(mFiles.lastReadSize, 4096u);
    EXPECT_EQ(mFiles.ReadCount(), 1u);
    EXPECT_EQ(mDelivered[0].buffer->Capacity(), 16u);
}

TEST_F(FolderStoreReadTest, OnlyAFileOfLessThanHalfTheUnitsIsCopied)
{
    mFiles.AddFile("/c/a.2047.rkdc", std::string(2047, 'x'));
    mFiles.AddFile("/c/a.2048.rkdc", std::string(2048, 'y'));
    mFiles.AddFile("/c/a.3000.rkdc", std::string(3000, 'z'));
    OpenAndSettle(true);
    EXPECT_EQ(ReadBack("a", "2047"), std::string(2047, 'x'));
    EXPECT_EQ(mDelivered[0].buffer->Capacity(), 2048u) << "a block of its own";
    EXPECT_EQ(ReadBack("a", "2048"), std::string(2048, 'y'));
    EXPECT_EQ(mDelivered[0].buffer->Capacity(), 2048u);
    EXPECT_EQ(ReadBack("a", "3000"), std::string(3000, 'z'));
    EXPECT_EQ(mFiles.lastReadSize, 4096u);
    // A view: the bytes behind its end are those of the unit that it keeps.
    EXPECT_EQ(mDelivered[0].buffer->Capacity(), 3000u);
}

TEST_F(FolderStoreReadTest, AFileOfAWholeNumberOfUnitsIsReadWithoutRounding)
{
    OpenKnowing(std::string(8192, 'x'));
    EXPECT_EQ(ReadBack("a", "b"), std::string(8192, 'x'));
    EXPECT_EQ(mFiles.lastReadSize, 8192u);
    EXPECT_EQ(mFiles.ReadCount(), 1u);
}

TEST_F(FolderStoreReadTest, TransfersThatBringLessThanAskedForAreContinued)
{
    OpenKnowing(std::string(5000, 'x'));
    mFiles.LimitTransfers(700);
    EXPECT_EQ(ReadBack("a", "b"), std::string(5000, 'x'));
}

TEST_F(FolderStoreReadTest, AFileDeletedAfterItWasFoundFailsTheReadLeavesTheListAndIsTold)
{
    OpenKnowing();
    RemovalCounter counter(mStore->GetStationID());
    TraceCapture trace("DataCacheInFilesystem", 5);
    EXPECT_EQ(Get("a", "b"), RK::kDataCacheResultReadQueued);
    mFiles.Vanish("/c/a.b.rkdc");
    mReads->RunQueued();
    ExpectOneFailure(ZOR::kFileResult_NotFound);
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_THAT(trace.Texts(), ElementsAre("Can't open /c/a.b.rkdc (size: 0 result:a00f0002)"));
    TurnMainThread(999);
    EXPECT_EQ(counter.heard, 0);
    TurnMainThread(1);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreReadTest, AFailingSizeQueryFailsTheReadOnItsThreadAndIsTraced)
{
    OpenKnowing();
    TraceCapture trace("DataCacheInFilesystem", 5);
    mFiles.Fail(FileOperation::kStatOpen, "/c/a.b.rkdc", EIO);
    Get("a", "b");
    mReads->RunQueued();
    ExpectOneFailure(ZOR::kFileResult_DeviceFailure);
    EXPECT_FALSE(Lists("a", "b"));
    EXPECT_EQ(trace.Count("Can't open /c/a.b.rkdc (size: 0 result:a00f000f)"), 1u);
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
}

TEST_F(FolderStoreReadTest, AFailingUnitQueryFailsTheReadWithoutATrace)
{
    OpenKnowing();
    TraceCapture trace("DataCacheInFilesystem", 5);
    mFiles.Fail(FileOperation::kBlockSize, "/c/a.b.rkdc", EIO);
    Get("a", "b");
    mReads->RunQueued();
    ExpectOneFailure(ZOR::kFileResult_DeviceFailure);
    EXPECT_FALSE(Lists("a", "b"));
    EXPECT_THAT(trace.Texts(), IsEmpty());
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
}

TEST_F(FolderStoreReadTest, AFailingOpenFailsTheReadWithoutATrace)
{
    OpenKnowing();
    TraceCapture trace("DataCacheInFilesystem", 5);
    mFiles.Fail(FileOperation::kOpen, "/c/a.b.rkdc", EMFILE);
    Get("a", "b");
    mReads->RunQueued();
    ExpectOneFailure(ZOR::kFileResult_TooManyOpenFiles);
    EXPECT_FALSE(Lists("a", "b"));
    EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(FolderStoreReadTest, AFailingReadCompletesTwiceAndOnlyTheFirstTimeWithABuffer)
{
    OpenKnowing();
    RemovalCounter counter(mStore->GetStationID());
    mFiles.Fail(FileOperation::kRead, "/c/a.b.rkdc", EIO);
    Get("a", "b");
    mReads->RunQueued();
    ExpectOneFailure(
        ZOR::kFileResult_DeviceFailure); // the one without a buffer, on the read's thread
    Complete();
    ASSERT_EQ(mDelivered.size(), 2u);
    EXPECT_EQ(mDelivered[1].result, ZOR::kFileResult_DeviceFailure);
    ASSERT_NE(mDelivered[1].buffer, nullptr);
    EXPECT_EQ(mDelivered[1].buffer->Size(), 4u);
    EXPECT_FALSE(Lists("a", "b"));
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreReadTest, AFileCutShortWhileItIsReadFailsTheRead)
{
    OpenKnowing(std::string(5000, 'x'));
    mFiles.onRead = [&] { mFiles.Truncate("/c/a.b.rkdc", 100); };
    Get("a", "b");
    Read();
    ASSERT_EQ(mDelivered.size(), 2u);
    EXPECT_EQ(mDelivered[0].result, RK::kResultFailed);
    EXPECT_EQ(mDelivered[1].result, RK::kResultFailed);
}

TEST_F(FolderStoreReadTest, AFileReplacedAfterItWasOpenedIsDeliveredAsItWas)
{
    OpenKnowing("the first");
    mFiles.onRead = [&]
    {
        mFiles.Vanish("/c/a.b.rkdc");
        mFiles.AddFile("/c/a.b.rkdc", "2");
    };
    EXPECT_EQ(ReadBack("a", "b"), "the first");
}

TEST_F(FolderStoreReadTest, AnEmptyFileEndsInSilenceAndStaysListed)
{
    OpenKnowing("");
    TraceCapture trace("DataCacheInFilesystem", 5);
    EXPECT_EQ(Get("a", "b"), RK::kDataCacheResultReadQueued);
    Read();
    EXPECT_THAT(mDelivered, IsEmpty());
    EXPECT_TRUE(Lists("a", "b"));
    EXPECT_THAT(trace.Texts(), ElementsAre("Can't open /c/a.b.rkdc (size: 0 result:0)"));
}

TEST_F(FolderStoreReadTest, AFileThatIsTooLargeEndsInSilenceAndStaysListed)
{
    mFiles.AddSizedFile("/c/a.b.rkdc", 0x7FFFFFFF, {}, {});
    OpenAndSettle(true);
    TraceCapture trace("DataCacheInFilesystem", 5);
    EXPECT_EQ(Get("a", "b"), RK::kDataCacheResultReadQueued);
    Read();
    EXPECT_THAT(mDelivered, IsEmpty());
    EXPECT_TRUE(Lists("a", "b"));
    EXPECT_THAT(trace.Texts(), ElementsAre("Can't open /c/a.b.rkdc (size: 2147483647 result:0)"));
    EXPECT_EQ(mFiles.ReadCount(), 0u);
}

TEST_F(FolderStoreReadTest, AFolderOfAnItemsNameFailsTheRead)
{
    OpenKnowing();
    mFiles.Vanish("/c/a.b.rkdc");
    mFiles.AddDirectory("/c/a.b.rkdc");
    Get("a", "b");
    Read();
    ASSERT_EQ(mDelivered.size(), 1u);
    EXPECT_TRUE(qelcore::Failed(mDelivered[0].result));
    EXPECT_FALSE(Lists("a", "b"));
}

TEST_F(FolderStoreReadTest, ReadsOfOneItemAreNotMerged)
{
    OpenKnowing();
    Get("a", "b");
    Get("a", "b");
    EXPECT_EQ(mReads->DueCount(), 2u);
    Read();
    EXPECT_EQ(mDelivered.size(), 2u);
}

TEST_F(FolderStoreReadTest, AReadWhoseStoreHasGoneCompletesWithoutABufferBeforeTheStoresEndIsOver)
{
    OpenKnowing();
    Get("a", "b");
    mStore.reset();
    ExpectOneFailure(RK::kResultFailed);
    EXPECT_EQ(mFiles.ReadCount(), 0u);
}

TEST_F(FolderStoreReadTest, TheLastReferenceMayGoWithinACompletion)
{
    OpenKnowing();
    const boost::weak_ptr<DataCache> watched = mStore;
    bool gone = false;
    mStore->GetItem(
        N("a"), N("b"),
        [&](qelcore::Result, const Name&, const Name&, const DataCache::CacheBuffer&)
        {
            mStore.reset();
            gone = watched.expired();
        },
        mBuffer);
    Read();
    EXPECT_TRUE(gone);
}

TEST_F(FolderStoreReadTest, AvailabilityOfWhatIsKnownTakesNoLookAtTheDisk)
{
    OpenKnowing();
    mFiles.Vanish("/c/a.b.rkdc");
    EXPECT_TRUE(mStore->IsItemAvailable(N("a"), N("b")));
}

TEST_F(FolderStoreReadTest, AvailabilityFindsAFileAndRemembersIt)
{
    OpenAndSettle();
    EXPECT_FALSE(mStore->IsItemAvailable(N("a"), N("b")));
    mFiles.AddFile("/c/a.b.rkdc", "text");
    EXPECT_TRUE(mStore->IsItemAvailable(N("a"), N("b")));
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
}

TEST_F(FolderStoreReadTest, ListingClearsTheListAndLooksAtNoFile)
{
    OpenKnowing();
    mFiles.AddFile("/c/a.later.rkdc", "text");
    DataCache::AvailableCachedItemList list(3, N("old"));
    mStore->GetAvailableItems(N("a"), list);
    EXPECT_THAT(list, ElementsAre(N("b")));
    mStore->GetAvailableItems(N("unknown"), list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(FolderStoreReadTest, AFileThatThereIsNoMemoryForIsReportedAndNobodyIsTold)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP() << "a sanitizer needs all addresses";
    mFiles.AddSizedFile("/c/a.b.rkdc", std::uint64_t{1} << 30, {0, 0}, {0, 0});
    OpenAndSettle(true);
    const int answer = RunInChild(
        [this]
        {
            const ContractWatch watch;
            if (qelcore::Failed(Get("a", "b")) || !LimitAddresses(256u << 20))
                return 1;
            Read();
            if (watch.reported.size() != 1 ||
                watch.reported[0].condition != "readBuffer->Size() >= bufferAlignedSize")
                return 2;
            return mDelivered.empty() && Lists("a", "b") && mFiles.OpenHandles() == 0 ? 0 : 3;
        });
    EXPECT_EQ(answer, 0);
}

} // namespace
