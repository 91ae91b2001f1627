// For tests of the store in a folder against real files: items that tell by themselves whether they are
// whole, and waiting that ends.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "RiverKit/RKDataCache.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "RiverKit/RKInitializer.h"

namespace Testing
{

/// What nothing here takes, however slow the machine. Past it something hangs.
constexpr std::chrono::seconds kHangs{60};

/// Waits until inIsSo, looking at it again and again. @return whether it came to be so in time.
template <class IsSo>
bool Comes(const IsSo& inIsSo)
{
    const auto end = std::chrono::steady_clock::now() + kHangs;
    while (!inIsSo())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// The bytes of an item as one of many writers may have offered them: who and what stands in front, and
// all that follows is computed from it. So any bytes tell whether they are what some put offered.
struct Offer
{
    std::uint32_t writer = 0;
    std::uint32_t item = 0;
    std::uint32_t size = 0; // bytes, at least kHeaderBytes

    static constexpr std::size_t kHeaderBytes = 12;

    std::string Bytes() const
    {
        std::string bytes(size, '\0');
        std::memcpy(bytes.data(), this, kHeaderBytes);
        std::uint64_t state = (std::uint64_t{writer} << 40) ^ (std::uint64_t{item} << 20) ^ size;
        for (std::size_t at = kHeaderBytes; at < bytes.size(); at += 8)
        {
            state = state * 6364136223846793005u + 1442695040888963407u;
            std::memcpy(bytes.data() + at, &state, std::min<std::size_t>(8, bytes.size() - at));
        }
        return bytes;
    }
    /// Whether inBytes are an offer of that item, by anybody, from the first byte to the last.
    static bool IsWhole(const std::string& inBytes, std::uint32_t inItem)
    {
        Offer offer;
        if (inBytes.size() < kHeaderBytes)
            return false;
        std::memcpy(&offer, inBytes.data(), kHeaderBytes);
        return offer.item == inItem && offer.size == inBytes.size() && offer.Bytes() == inBytes;
    }
};

/// Some small, some over a megabyte, and most between.
inline std::uint32_t SizeOfItem(std::uint32_t inItem)
{
    static constexpr std::uint32_t sSizes[] = {4096, 12, 65536, 3000, 300000, 65537, 1300000, 2047};
    return sSizes[inItem % std::size(sSizes)];
}

inline Name SubKeyOf(std::uint32_t inItem)
{
    return N(std::to_string(inItem));
}

inline std::string FileNameOf(std::uint32_t inItem)
{
    return "clip." + std::to_string(inItem) + ".rkdc";
}

// What is in a cache folder, looked at from outside.
struct FolderContents
{
    std::set<std::uint32_t> whole;
    std::vector<std::string> torn;  // named like items, and not what anybody offered
    std::vector<std::string> temps; // whatever else, with their whole paths

    explicit FolderContents(const std::string& inFolder)
    {
        for (const auto& entry : std::filesystem::directory_iterator(inFolder))
        {
            const std::string name = entry.path().filename();
            if (entry.path().extension() != ".rkdc")
            {
                temps.push_back(entry.path());
                continue;
            }
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            const auto item =
                static_cast<std::uint32_t>(std::stoul(name.substr(name.find('.') + 1)));
            if (Offer::IsWhole(bytes, item))
                whole.insert(item);
            else
                torn.push_back(name + " of " + std::to_string(bytes.size()) + " bytes");
        }
    }
};

// A store and its client, who waits for what it asked.
class RealStore
{
public:
    explicit RealStore(const std::string& inFolder, bool inScan = false)
        : mStore(RK::CreateDataCacheInFilesystemAndManageDirectory(N(inFolder), mDirectory, inScan))
    {
    }

    RK::DataCache& operator*() const { return *mStore; }
    RK::DataCache* operator->() const { return mStore.get(); }

    void Put(std::uint32_t inItem, std::uint32_t inSize, std::uint32_t inWriter = 1) const
    {
        PutBytes(inItem, Offer{inWriter, inItem, inSize}.Bytes());
    }
    void PutBytes(std::uint32_t inItem, const std::string& inBytes) const
    {
        mStore->PutItem(mKey, SubKeyOf(inItem), BufferOf(inBytes));
    }
    void Put(std::uint32_t inItem) const { Put(inItem, SizeOfItem(inItem)); }
    std::uint64_t WritesWaiting() const { return RK::GetQueuedWrites(mStore).count; }
    /// Puts, and waits until the store is through with it, whatever became of it.
    void PutAndWait(std::uint32_t inItem) const
    {
        Put(inItem);
        WaitForWrites();
    }
    void WaitForWrites() const
    {
        EXPECT_TRUE(Comes([this] { return WritesWaiting() == 0; })) << "a write hangs";
    }
    void Touch(std::uint32_t inItem) const { mStore->TouchItem(mKey, SubKeyOf(inItem)); }
    void Remove(std::uint32_t inItem) const { mStore->RemoveItem(mKey, SubKeyOf(inItem)); }
    bool Has(std::uint32_t inItem) const { return mStore->IsItemAvailable(mKey, SubKeyOf(inItem)); }
    bool Lists(std::uint32_t inItem) const
    {
        const auto listed = Listed(*mStore, mKey);
        return std::find(listed.begin(), listed.end(), std::to_string(inItem)) != listed.end();
    }

    // What became of a read. Results in the order of the calls.
    struct Read
    {
        qelcore::Result answer = 0;
        std::vector<qelcore::Result> results;
        bool whole = false; // a delivery brought all of what somebody had offered
        bool torn = false;  // a delivery brought anything else
        bool told = false;  // the client was called at all, or told at once that it would not be
    };
    /// Begins a read. @return what becomes of it; look at it through Now() alone.
    class Pending
    {
    public:
        Read Now() const
        {
            const std::lock_guard<std::mutex> lock(mState->mutex);
            return mState->read;
        }
        /// Waits until the client was called.
        Read Wait() const
        {
            EXPECT_TRUE(Comes([this] { return Now().told; })) << "a completion is lost";
            return Now();
        }

    private:
        friend class RealStore;
        struct State
        {
            std::mutex mutex;
            Read read;
        };
        std::shared_ptr<State> mState = std::make_shared<State>();
    };
    Pending BeginGet(std::uint32_t inItem) const
    {
        Pending pending;
        const auto complete =
            [state = pending.mState, inItem](qelcore::Result inResult, const Name&, const Name&,
                                             const DataCache::CacheBuffer& inBuffer)
        {
            const bool delivered = inResult >= 0;
            const bool whole = delivered && Offer::IsWhole(TextOf(inBuffer), inItem);
            const std::lock_guard<std::mutex> lock(state->mutex);
            state->read.results.push_back(inResult);
            state->read.whole |= whole;
            state->read.torn |= delivered && !whole;
            state->read.told = true;
        };
        DataCache::CacheBuffer none;
        const qelcore::Result answer = mStore->GetItem(mKey, SubKeyOf(inItem), complete, none);
        const std::lock_guard<std::mutex> lock(pending.mState->mutex);
        pending.mState->read.answer = answer;
        pending.mState->read.told |= answer < 0;
        return pending;
    }
    Read Get(std::uint32_t inItem) const { return BeginGet(inItem).Wait(); }

private:
    RK::DiskCacheManager::ManagedDirectoryPtr mDirectory;
    const RK::DataCachePtr mStore;
    const Name mKey = N("clip");
};

} // namespace Testing
