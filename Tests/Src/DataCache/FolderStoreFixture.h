#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "Support/FakeClock.h"
#include "Support/FakeVolumeTable.h"
#include "Support/ManualExecutor.h"
#include "Support/MemoryFileSystem.h"
#include "Support/TraceCapture.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"

namespace Testing
{

/// One call of a completion function.
struct Delivery
{
    qelcore::Result result;
    std::string key;
    std::string subKey;
    DataCache::CacheBuffer buffer;
};

inline std::string Text(const Name& inName)
{
    const qelcore::UTF16String text = inName.ToString();
    return std::string(text.begin(), text.end());
}

// A store in the folder /c of a file system in memory, whose executors are turned by hand.
class FolderStoreTest : public testing::Test
{
protected:
    static constexpr char kFolder[] = "/c";

    FolderStoreTest() { EXPECT_TRUE(qelcore::threads::RegisterMainThread()); }
    ~FolderStoreTest() override
    {
        mStore.reset();
        TurnMainThread(10000);
        qelcore::threads::UnregisterMainThread();
    }

    void Open(bool inScan = false)
    {
        const std::size_t before = mExecutors.createdIO.size();
        mStore = RK::CreateDataCacheInFilesystemAndManageDirectory(N(kFolder), mDirectory, inScan);
        mReads = mExecutors.createdIO.at(before);
        mWrites = mExecutors.createdIO.at(before + 1);
    }
    /// The same, with what it does at first done.
    void OpenAndSettle(bool inScan = false)
    {
        Open(inScan);
        mReads->RunQueued();
    }

    DataCache::GetItemCompletionFunction Taking()
    {
        return [this](qelcore::Result inResult, const Name& inKey, const Name& inSubKey,
                      const DataCache::CacheBuffer& inBuffer)
        { mDelivered.push_back({inResult, Text(inKey), Text(inSubKey), inBuffer}); };
    }
    qelcore::Result Get(const std::string& inKey, const std::string& inSubKey)
    {
        return mStore->GetItem(N(inKey), N(inSubKey), Taking(), mBuffer);
    }
    qelcore::Result GetWithoutCompletion(const std::string& inKey, const std::string& inSubKey)
    {
        return mStore->GetItem(N(inKey), N(inSubKey), {}, mBuffer);
    }
    void Put(const std::string& inKey, const std::string& inSubKey, const std::string& inText)
    {
        mStore->PutItem(N(inKey), N(inSubKey), BufferOf(inText));
    }
    void Touch(const std::string& inKey, const std::string& inSubKey)
    {
        mStore->TouchItem(N(inKey), N(inSubKey));
    }
    void Remove(const std::string& inKey, const std::string& inSubKey)
    {
        mStore->RemoveItem(N(inKey), N(inSubKey));
    }
    /// Runs the reads, then their completions.
    void Read()
    {
        mReads->RunQueued();
        Complete();
    }
    void Complete() { mExecutors.cpu->RunQueued(); }
    void Write() { mWrites->RunQueued(); }
    /// The content that a read gives, or how it ended.
    std::string ReadBack(const std::string& inKey, const std::string& inSubKey)
    {
        mDelivered.clear();
        if (qelcore::Failed(Get(inKey, inSubKey)))
            return "(not found)";
        Read();
        return mDelivered.size() == 1 ? TextOf(mDelivered[0].buffer) : "(not once)";
    }

    std::vector<std::string> ListOf(const std::string& inKey) { return Listed(*mStore, N(inKey)); }
    bool Lists(const std::string& inKey, const std::string& inSubKey)
    {
        const std::vector<std::string> list = ListOf(inKey);
        return std::find(list.begin(), list.end(), inSubKey) != list.end();
    }
    std::string PathOf(const std::string& inName) const { return kFolder + ("/" + inName); }

    void TurnMainThread(std::uint64_t inMilliseconds)
    {
        mClock.AdvanceMilliseconds(inMilliseconds);
        qelcore::threads::RunMainThreadUntilIdle();
    }

    FakeClock mClock;
    FakeVolumeTable mVolumes;
    MemoryFileSystem mFiles;
    ManualExecutorFactory mExecutors;
    qelcore::threads::ScopedExecutorFactory mExecutorScope{mExecutors};
    boost::shared_ptr<ManualExecutor> mReads;
    boost::shared_ptr<ManualExecutor> mWrites;
    RK::DataCachePtr mStore;
    RK::DiskCacheManager::ManagedDirectoryPtr mDirectory;
    DataCache::CacheBuffer mBuffer;
    std::vector<Delivery> mDelivered;
};

/// Counts the messages of a station.
class RemovalCounter : public ZOR::Listener
{
public:
    explicit RemovalCounter(const ZOR::StationID& inStation)
        : mStation(inStation)
    {
        ZOR::StationUtils::AddListener(mStation, this);
    }
    ~RemovalCounter() override { ZOR::StationUtils::RemoveListener(mStation, this); }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        EXPECT_EQ(inMessage.GetMessageID(), DataCache::ItemsRemovedMessage::GetClassMessageID());
        EXPECT_TRUE(qelcore::threads::IsMainThread());
        ++heard;
    }
    int heard = 0;

private:
    const ZOR::StationID mStation;
};

} // namespace Testing
