#include "ItemRead.h"

#include <atomic>
#include <future>

#include <boost/make_shared.hpp>

namespace RKHost
{

namespace
{

using RK::DataCache;

class OneAnswer
{
public:
    explicit OneAnswer(const ItemAnswer& inAnswer)
        : mAnswer(inAnswer)
    {
    }
    ~OneAnswer() { Give(RK::kResultFailed, DataCache::CacheBuffer()); }
    OneAnswer(const OneAnswer&) = delete;
    OneAnswer& operator=(const OneAnswer&) = delete;

    void Give(qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
    {
        if (!mGiven.exchange(true))
            mAnswer(inResult, qelcore::Failed(inResult) ? DataCache::CacheBuffer() : inBuffer);
    }

private:
    const ItemAnswer mAnswer;
    std::atomic<bool> mGiven{false};
};

} // namespace

void ReadItem(const DataCache& inCache, const DataCache::CacheKey& inKey,
              const DataCache::CacheSubKey& inSubKey, const ItemAnswer& inAnswer)
{
    const auto answer = boost::make_shared<OneAnswer>(inAnswer);
    const auto completion = [answer](qelcore::Result inResult, const DataCache::CacheKey&,
                                     const DataCache::CacheSubKey&,
                                     const DataCache::CacheBuffer& inBuffer)
    { answer->Give(inResult, inBuffer); };
    DataCache::CacheBuffer buffer;
    const qelcore::Result result = inCache.GetItem(inKey, inSubKey, completion, buffer);
    if (result != RK::kDataCacheResultReadQueued)
        answer->Give(result, buffer);
}

qelcore::Result ReadItemNow(const DataCache& inCache, const DataCache::CacheKey& inKey,
                            const DataCache::CacheSubKey& inSubKey,
                            DataCache::CacheBuffer& outBuffer)
{
    struct Answer
    {
        qelcore::Result mResult;
        DataCache::CacheBuffer mBuffer;
    };
    const auto promise = boost::make_shared<std::promise<Answer>>();
    ReadItem(inCache, inKey, inSubKey,
             [promise](qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
             { promise->set_value({inResult, inBuffer}); });
    const Answer answer = promise->get_future().get();
    outBuffer = answer.mBuffer;
    return answer.mResult;
}

} // namespace RKHost
