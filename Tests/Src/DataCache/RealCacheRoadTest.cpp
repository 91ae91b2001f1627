// The road of one request through everything that is real: a chain of a store in memory and one in a folder
// of the disk, from the first miss to the sweep that deletes behind the store's back.
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKDataCacheChain.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKMediaManager.h"
#include "Src/DiskCacheManager/RealSweepFixture.h"

namespace
{

using namespace Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int64_t kHour = 3600; // seconds

// One run of a program that keeps its analyses in a folder.
struct Program
{
    explicit Program(const std::string& inFolder)
        : folder(RK::CreateDataCacheInFilesystemAndManageDirectory(N(inFolder), directory, false))
        , chain(memory, folder)
    {
    }

    RK::DiskCacheManager::ManagedDirectoryPtr directory;
    const RK::DataCachePtr memory = RK::CreateDataCacheInMemory();
    const RK::DataCachePtr folder;
    RK::DataCacheChain chain;
};

// What a completion function was told. Any thread may tell it.
class Completions
{
public:
    DataCache::GetItemCompletionFunction Function(const RK::DataCachePtr& inMemory)
    {
        return [this, inMemory](qelcore::Result inResult, const Name& inKey, const Name& inSubKey,
                                const DataCache::CacheBuffer& inBuffer)
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            ++mCount;
            mResult = inResult;
            mText = TextOf(inBuffer);
            mWasInMemory = inMemory->IsItemAvailable(inKey, inSubKey);
            mCalled.notify_all();
        };
    }
    void WaitForOne()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mCalled.wait(lock, [this] { return mCount > 0; });
    }

    int mCount = 0;
    qelcore::Result mResult = 0;
    std::string mText;
    bool mWasInMemory = false; // at the time of the call

private:
    std::mutex mMutex;
    std::condition_variable mCalled;
};

// Ends the main thread's run with the first message.
class RemovalListener : public ZOR::Listener
{
public:
    explicit RemovalListener(const ZOR::StationID& inStation)
        : mStation(inStation)
    {
        ZOR::StationUtils::AddListener(mStation, this);
    }
    ~RemovalListener() override { ZOR::StationUtils::RemoveListener(mStation, this); }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        EXPECT_TRUE(qelcore::threads::IsMainThread());
        EXPECT_EQ(inMessage.GetMessageID(), DataCache::ItemsRemovedMessage::GetClassMessageID());
        ++mHeard;
        qelcore::threads::StopMainThread();
    }
    int mHeard = 0;

private:
    const ZOR::StationID mStation;
};

class RealCacheRoad : public RealSweep
{
protected:
    void Start() { mProgram = std::make_unique<Program>(mFolder.Path()); }
    void EndAndStartAgain()
    {
        mProgram.reset();
        Start();
    }
    qelcore::Result Get(Completions& outCompletions)
    {
        return mProgram->chain.GetItem(mKey, mSubKey, outCompletions.Function(mProgram->memory),
                                       mBuffer);
    }
    void WaitUntilWritten()
    {
        while (RK::GetQueuedWrites(mProgram->folder).count > 0)
            std::this_thread::yield();
    }
    std::string FileContent() const
    {
        std::ifstream file(mFolder.Path("clip.frame 1.rkdc"), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void PurgeMemory()
    {
        RK::GetMediaManager()->FlushAsyncEvents();
        RK::MM::Purge(~std::size_t{0}, RK::kPurgeUrgency_Immediate);
    }
    /// A read of the folder that delivers the item, once, into the store in memory and then here.
    void ExpectRead()
    {
        Completions read;
        EXPECT_EQ(Get(read), RK::kDataCacheResultReadQueued);
        read.WaitForOne();
        EXPECT_FALSE(qelcore::Failed(read.mResult));
        EXPECT_EQ(read.mText, "histogram");
        EXPECT_TRUE(read.mWasInMemory);
        Completions hit;
        EXPECT_EQ(Get(hit), RK::kDataCacheResultItemReturned);
        EXPECT_EQ(TextOf(mBuffer), "histogram");
        EXPECT_EQ(hit.mCount, 0);
        EXPECT_EQ(read.mCount, 1);
    }

    const RK::Initializer mLibrary;
    std::unique_ptr<Program> mProgram;
    const Name mKey = N("clip"), mSubKey = N("frame 1");
    DataCache::CacheBuffer mBuffer;
};

TEST_F(RealCacheRoad, ARequestGoesFromMissToPutToDiskToMemoryAndThroughTheSweepToAHealedIndex)
{
    Start();
    {
        SCOPED_TRACE("a miss: nobody has the item, and nobody is called");
        Completions miss;
        EXPECT_EQ(Get(miss), RK::kDataCacheResultItemNotFound);
        EXPECT_EQ(miss.mCount, 0);
        EXPECT_THAT(Left(), IsEmpty());
    }
    {
        SCOPED_TRACE("a put: at once in memory, soon on disk, byte for byte");
        mProgram->chain.PutItem(mKey, mSubKey, BufferOf("histogram"));
        Completions hit;
        EXPECT_EQ(Get(hit), RK::kDataCacheResultItemReturned);
        EXPECT_EQ(TextOf(mBuffer), "histogram");
        WaitUntilWritten();
        EXPECT_THAT(Left(), ElementsAre("clip.frame 1.rkdc"));
        EXPECT_EQ(FileContent(), "histogram");
        EXPECT_THAT(Listed(mProgram->chain, mKey), ElementsAre("frame 1"));
    }
    {
        SCOPED_TRACE("the media manager purges: memory forgets, the file stays and is read again");
        PurgeMemory();
        EXPECT_FALSE(mProgram->memory->IsItemAvailable(mKey, mSubKey));
        ExpectRead();
    }
    {
        SCOPED_TRACE("another run, whose index knows nothing: it finds the file");
        EndAndStartAgain();
        EXPECT_THAT(Listed(mProgram->chain, mKey), IsEmpty());
        ExpectRead();
        EXPECT_THAT(Listed(*mProgram->folder, mKey), ElementsAre("frame 1"));
    }
    {
        SCOPED_TRACE("the sweep deletes what was not used for long, behind the store's back");
        Age("clip.frame 1.rkdc", kHour);
        mProgram->directory->SetMaxUsedBytes(std::uint64_t{0});
        WaitForSweep();
        EXPECT_THAT(Left(), IsEmpty());
        PurgeMemory();
        // The store has not noticed, unless somebody listens; so nobody does yet.
        EXPECT_THAT(Listed(*mProgram->folder, mKey), ElementsAre("frame 1"));
    }
    {
        SCOPED_TRACE("the next read fails once, and that heals the index and is told on the chain");
        Completions failed;
        EXPECT_EQ(Get(failed), RK::kDataCacheResultReadQueued);
        failed.WaitForOne();
        EXPECT_TRUE(qelcore::Failed(failed.mResult));
        EXPECT_EQ(failed.mText, "(null)");
        EXPECT_FALSE(failed.mWasInMemory);
        EXPECT_THAT(Listed(*mProgram->folder, mKey), IsEmpty());
        EXPECT_FALSE(mProgram->chain.IsItemAvailable(mKey, mSubKey));
        EXPECT_EQ(failed.mCount, 1);
        // Nothing is told before the main thread is driven, so there is time to begin to listen.
        ASSERT_TRUE(qelcore::threads::RegisterMainThread());
        const RemovalListener listener(mProgram->chain.GetStationID());
        qelcore::threads::RunMainThreadUntilStopped();
        EXPECT_EQ(listener.mHeard, 1);
        qelcore::threads::UnregisterMainThread();
    }
    {
        SCOPED_TRACE("from then on it is a miss as at first, and can be put again");
        Completions miss;
        EXPECT_EQ(Get(miss), RK::kDataCacheResultItemNotFound);
        mProgram->chain.PutItem(mKey, mSubKey, BufferOf("histogram"));
        WaitUntilWritten();
        EXPECT_EQ(FileContent(), "histogram");
    }
}

} // namespace
