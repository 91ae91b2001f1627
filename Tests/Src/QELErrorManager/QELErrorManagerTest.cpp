// The last resort: what is freed, in which order, and when the next step is left out.
#include "RKQELErrorManager.h"

#include <boost/make_shared.hpp>

#include "RKFileManager.h"
#include "Src/MediaManager/ManagerFixture.h"
#include "Support/TraceCapture.h"
#include "ZOR/WeakReference.h"
#include "qelcore/ImmutableString.h"

namespace
{

using namespace Testing;
using qelcore::utility::ImmutableString;
using qelcore::utility::MemoryRecycler;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Keeps one file open, and counts how often it was asked to close it.
class FileKeeper : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
{
public:
    qelcore::Result CloseOpenFile(std::uint32_t inFileID) override
    {
        ++asked;
        if (!agrees)
            return -1;
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFileID);
        return qelcore::kResult_OK;
    }
    std::uint64_t GetOpenFilePriority(std::uint32_t) override
    {
        if (outOfMemory)
            throw std::bad_alloc();
        return 0;
    }

    int asked = 0;
    bool agrees = true;
    bool outOfMemory = false;
};

/// A manager of media with nothing in it, a manager of files with one that refuses to be closed, no
/// unused strings and nothing in the recycler's pool: nothing can be freed until the test puts
/// something there.
class PurgeMemoryTest : public ManagerTest
{
protected:
    PurgeMemoryTest()
    {
        RK::FileManager::Startup();
        mKeeper->agrees = false;
        RK::FileManager::RegisterOpenFile(mKeeper, u"/a", 1, 1);
        ImmutableString::PurgeUnusedStrings();
        MemoryRecycler::PurgeBytes(kEverything);
    }
    ~PurgeMemoryTest() override { RK::FileManager::Shutdown(); }

    static void LeaveAnUnusedString() { ImmutableString::CreateDynamic(u"nobody holds this one"); }
    /// Whether there is an unused string; there is none afterwards.
    static bool TakeUnusedString() { return ImmutableString::PurgeUnusedStrings(); }
    /// @return its size.
    static std::size_t LeaveABlockInThePool(std::size_t inBytes)
    {
        std::size_t actual = 0;
        void* const block = MemoryRecycler::Allocate(inBytes, actual);
        MemoryRecycler::Recycle(block, actual);
        return actual;
    }

    ZOR::InterfaceRef<FileKeeper, RK::IOpenFileOwner> mKeeper{new FileKeeper};
    RK::QELErrorManager mErrors;
};

TEST_F(PurgeMemoryTest, FreesMediaAloneIfThatIsEnough)
{
    mKeeper->agrees = true;
    LeaveAnUnusedString();
    Add(1, 3 * kMiB);
    Add(2, 3 * kMiB);
    Apply();
    const TraceCapture second("QELErrorManager.PurgeMemory(B)");

    EXPECT_TRUE(mErrors.PurgeMemory(2 * kMiB));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    EXPECT_EQ(0, mKeeper->asked);
    EXPECT_TRUE(TakeUnusedString());
    EXPECT_THAT(second.Texts(), IsEmpty());
}

TEST_F(PurgeMemoryTest, CountsWhatMediaHaveLeftInThePool)
{
    mKeeper->agrees = true;
    Add(1, 1);
    Apply();
    std::size_t pooled = 0;
    mMap->onFlush = [&pooled](RK::MediaID) { pooled = LeaveABlockInThePool(kMiB); };

    const std::size_t wanted = kMiB + 1; // the pool's block and the item's own byte
    EXPECT_TRUE(mErrors.PurgeMemory(wanted));
    EXPECT_EQ(kMiB, pooled);
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_EQ(0, mKeeper->asked);
}

TEST_F(PurgeMemoryTest, HasFilesClosedIfMediaAndPoolAreNotEnough)
{
    mKeeper->agrees = true;
    LeaveAnUnusedString();
    Add(1, kMiB);
    Apply();

    EXPECT_TRUE(mErrors.PurgeMemory(2 * kMiB));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    EXPECT_EQ(1, mKeeper->asked);
    EXPECT_TRUE(TakeUnusedString());
}

TEST_F(PurgeMemoryTest, PurgesStringsIfNoFileWasClosed)
{
    LeaveAnUnusedString();
    EXPECT_TRUE(mErrors.PurgeMemory(1));
    EXPECT_EQ(1, mKeeper->asked);
    EXPECT_FALSE(TakeUnusedString());
}

TEST_F(PurgeMemoryTest, SucceedsIfLessThanAskedForWasFreed)
{
    Add(1, 1);
    Apply();
    EXPECT_TRUE(mErrors.PurgeMemory(kEverything));
}

TEST_F(PurgeMemoryTest, FailsIfNothingWasFreed)
{
    EXPECT_FALSE(mErrors.PurgeMemory(1));
    EXPECT_FALSE(mErrors.PurgeMemory(kEverything));
}

TEST_F(PurgeMemoryTest, OfNoBytesFreesNothingNotEvenWhatIsStaleAndFails)
{
    mKeeper->agrees = true;
    LeaveAnUnusedString();
    LeaveABlockInThePool(kMiB);
    AddAt(1, 1, kMiB);
    // In this mode any purge drops what was not used for some seconds.
    mManager->EnterHighThroughputMode();
    GoTo(1000);

    EXPECT_FALSE(mErrors.PurgeMemory(0));
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
    EXPECT_EQ(kMiB, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_EQ(0, mKeeper->asked);
    EXPECT_TRUE(TakeUnusedString());
}

TEST_F(PurgeMemoryTest, AStepThatFindsNoMemoryForItselfIsPassedOver)
{
    mKeeper->outOfMemory = true;
    EXPECT_FALSE(mErrors.PurgeMemory(1));
    LeaveAnUnusedString();
    EXPECT_TRUE(mErrors.PurgeMemory(1));
    EXPECT_EQ(0, mKeeper->asked);
}

TEST_F(PurgeMemoryTest, TracesTheSizeAndThatMediaWereNotEnough)
{
    for (const char* const category :
         {"QELErrorManager.PurgeMemory(A)", "QELErrorManager.PurgeMemory(B)"})
    {
        const TraceCapture trace(category);
        mErrors.PurgeMemory(4711);
        EXPECT_THAT(trace.Texts(), ElementsAre("Purge: 4711")) << category;
    }
}

TEST_F(PurgeMemoryTest, InForceItFreesMediaWhenAFunctionEndsForLackOfMemory)
{
    const auto before = qelcore::config::SetErrorManager(boost::make_shared<RK::QELErrorManager>());
    Add(1, 64 * kMiB);
    Apply();

    EXPECT_THROW(qelcore::config::GetErrorManager()->ExecuteFunctionAndConvertException(
                     [] { throw std::bad_alloc(); }),
                 qelcore::config::Error);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    qelcore::config::SetErrorManager(before);
}

TEST(PurgeMemoryWhileStopped, FreesWhatNeedsNoManager)
{
    RK::QELErrorManager errors;
    ImmutableString::PurgeUnusedStrings();
    MemoryRecycler::PurgeBytes(kEverything);
    EXPECT_FALSE(errors.PurgeMemory(1));

    std::size_t actual = 0;
    void* const block = MemoryRecycler::Allocate(kMiB, actual);
    MemoryRecycler::Recycle(block, actual);
    EXPECT_TRUE(errors.PurgeMemory(kMiB));
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

} // namespace
