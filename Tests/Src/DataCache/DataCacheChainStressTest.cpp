#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKDataCacheChain.h"
#include "ZORMessaging/Station.h"
#include "qelcore/AsyncExecutor.h"

namespace
{

using namespace Testing;
using qelcore::threads::AsyncExecutorPtr;

// A store in a map that answers at once, or on an executor.
class MapStore : public DataCache
{
public:
    explicit MapStore(const AsyncExecutorPtr& inDelivery = AsyncExecutorPtr())
        : mDelivery(inDelivery)
    {
        ++sLive;
    }
    ~MapStore() override { --sLive; }
    static std::atomic<int> sLive;

    void GetAvailableItems(const CacheKey& inKey, AvailableCachedItemList& outList) const override
    {
        outList.clear();
        const std::lock_guard<std::mutex> lock(mMutex);
        for (const auto& item : mItems)
        {
            if (item.first.first == inKey)
                outList.push_back(item.first.second);
        }
    }
    bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const override
    {
        return Find(inKey, inSubKey) != nullptr;
    }
    qelcore::Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                            const GetItemCompletionFunction& inCompletion,
                            CacheBuffer& outBuffer) const override
    {
        const CacheBuffer found = Find(inKey, inSubKey);
        if (!found)
            return RK::kDataCacheResultItemNotFound;
        if (!mDelivery)
        {
            outBuffer = found;
            return RK::kDataCacheResultItemReturned;
        }
        mDelivery->Post([=] { inCompletion(qelcore::kResult_OK, inKey, inSubKey, found); }, 0);
        return RK::kDataCacheResultReadQueued;
    }
    void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                 const CacheBuffer& inBuffer) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mItems.insert({{inKey, inSubKey}, inBuffer});
    }
    void TouchItem(const CacheKey&, const CacheSubKey&) const override {}
    void RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mItems.erase({inKey, inSubKey});
        }
        ZOR::StationUtils::BroadcastMessage(GetStationID(), ItemsRemovedMessage());
    }
    ZOR::StationID GetStationID() const override { return mStation.GetStationID(); }

private:
    CacheBuffer Find(const CacheKey& inKey, const CacheSubKey& inSubKey) const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mItems.find({inKey, inSubKey});
        return found == mItems.end() ? CacheBuffer() : found->second;
    }

    const AsyncExecutorPtr mDelivery;
    const ZOR::StationUtils::ManagedStation mStation;
    mutable std::mutex mMutex;
    mutable std::map<std::pair<Name, Name>, CacheBuffer> mItems;
};

std::atomic<int> MapStore::sLive{0};

class AtomicCounter : public ZOR::Listener
{
public:
    void ListenToMessage(const ZOR::Message&) override { ++heard; }
    std::atomic<int> heard{0};
};

// One thread's share of the item operations.
struct Worker
{
    static constexpr int kRounds = 1500;

    void operator()(int inFirst)
    {
        for (int round = 0; round < kRounds; ++round)
        {
            const std::string name = std::to_string((inFirst * 5 + round) % 40);
            Get(name);
            chain.PutItem(key, N(name), BufferOf(name));
            if (round % 10 == 0)
                chain.RemoveItem(key, N(name));
            if (round % 10 == 1)
                Look(name);
        }
    }
    void Get(const std::string& inName)
    {
        DataCache::CacheBuffer buffer;
        // Runs after the worker may have gone.
        const auto completion = [&delivered = delivered, &wrong = wrong](
                                    qelcore::Result inResult, const Name&, const Name& inSubKey,
                                    const DataCache::CacheBuffer& inRead)
        {
            ++delivered;
            wrong += qelcore::Failed(inResult) || N(TextOf(inRead)) != inSubKey;
        };
        const qelcore::Result result = chain.GetItem(key, N(inName), completion, buffer);
        queued += result == RK::kDataCacheResultReadQueued;
        wrong += result == RK::kDataCacheResultItemReturned && TextOf(buffer) != inName;
    }
    void Look(const std::string& inName)
    {
        chain.IsItemAvailable(key, N(inName));
        chain.TouchItem(key, N(inName));
        wrong += Listed(chain, key).size() > 40;
        chain.GetStationID();
    }

    RK::DataCacheChain& chain;
    std::atomic<int>&queued, &delivered, &wrong;
    const Name key = N("clip");
};

TEST(DataCacheChainStress, NoDeliveryIsLostOrWrongWhileEightThreadsWorkAndLinksAreReplaced)
{
    const AsyncExecutorPtr delivery = qelcore::threads::CreateCPUBoundExecutor();
    std::atomic<int> queued{0}, delivered{0}, wrong{0};
    std::atomic<bool> done{false};
    AtomicCounter counter;
    std::vector<RK::DataCachePtr> replaced;
    {
        RK::DataCacheChain chain(boost::make_shared<MapStore>(),
                                 boost::make_shared<MapStore>(delivery));
        ZOR::StationUtils::AddListener(chain.GetStationID(), &counter);
        std::thread replacer(
            [&]
            {
                for (int i = 0; !done; ++i)
                {
                    chain.ReplaceChainLinks(boost::make_shared<MapStore>(), nullptr);
                    // Less often, so that there is something to be read from it.
                    if (i % 8 == 7)
                    {
                        const auto second = boost::make_shared<MapStore>(delivery);
                        chain.ReplaceChainLinks(nullptr, second);
                        if (replaced.size() < 10)
                            replaced.push_back(second);
                    }
                    std::this_thread::yield();
                }
                chain.ReplaceChainLinks(nullptr, boost::make_shared<MapStore>(delivery));
            });
        std::vector<std::thread> workers;
        for (int i = 0; i < 8; ++i)
            workers.emplace_back(Worker{chain, queued, delivered, wrong}, i);
        for (std::thread& worker : workers)
            worker.join();
        done = true;
        replacer.join();
        delivery->Flush();

        EXPECT_GT(queued, 0);
        EXPECT_EQ(delivered, queued);
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(counter.heard, 0);
        const int heard = counter.heard;
        for (const RK::DataCachePtr& link : replaced)
            link->RemoveItem(N("clip"), N("0"));
        EXPECT_EQ(counter.heard, heard);
        ZOR::StationUtils::RemoveListener(chain.GetStationID(), &counter);
    }
    replaced.clear();
    EXPECT_EQ(MapStore::sLive, 0);
}

} // namespace
