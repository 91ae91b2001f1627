#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "DataCacheSupport.h"

namespace Testing
{

/// Waits for what real threads bring about; fails the test after a minute.
template <class Condition>
void WaitUntil(const Condition& inCondition)
{
    for (int tries = 0; tries < 60000; ++tries)
    {
        if (inCondition())
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ADD_FAILURE() << "this did not come about in time";
}

inline void WaitUntilWritten(const RK::DataCachePtr& inStore)
{
    WaitUntil([&] { return RK::GetQueuedWrites(inStore).count == 0; });
}

/// Reads an item and waits for it. @return its text, "(failed)", or "(not found)" if no read began.
inline std::string ReadNow(const DataCache& inStore, const Name& inKey, const Name& inSubKey)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::string text;
    bool done = false;
    DataCache::CacheBuffer unused;
    const qelcore::Result result = inStore.GetItem(
        inKey, inSubKey,
        [&](qelcore::Result inResult, const Name&, const Name&,
            const DataCache::CacheBuffer& inBuffer)
        {
            const std::lock_guard<std::mutex> lock(mutex);
            text = qelcore::Failed(inResult) ? "(failed)" : TextOf(inBuffer);
            done = true;
            changed.notify_one();
        },
        unused);
    if (qelcore::Failed(result))
        return "(not found)";
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::minutes(1), [&] { return done; }));
    return text;
}

} // namespace Testing
