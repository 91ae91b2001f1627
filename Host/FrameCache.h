#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <RiverKit/MediaManager/MediaCache.h>
#include <RiverKit/RKMediaManager.h>

#include "qelcore/ImmutableString.h"
#include "qelcore/RecycledMemory.h"

namespace RKHost
{

// The decoded frames, under the budget of the media manager, which may take any of them away at any
// time. Whoever holds a frame's pointer keeps its bytes.
//
// Threads  Every function but the constructor and destructor may be called from any thread.
class FrameCache
{
public:
    using Value = boost::shared_ptr<const qelcore::utility::RecycledMemory>;

    /// What a frame is found by; making one interns its texts, so it is made once for each frame.
    using Key = std::pair<qelcore::utility::ImmutableString, qelcore::utility::ImmutableString>;
    static Key MakeKey(const std::string& inPath);

    FrameCache();

    /// @return null if the frame is not there (any more).
    Value Get(const Key& inKey);
    void Add(const Key& inKey, const Value& inPixels);

    /// Bytes of the frames that are here now.
    std::uint64_t BytesHeld() const;
    /// Bytes of frames that the media manager has taken away so far.
    std::uint64_t BytesPurged() const { return mCache.BytesPurged(); }
    /// Bytes that the media manager has on its books for others in the process.
    std::uint64_t BytesOfOthers() const;
    std::uint64_t BudgetBytes() const;

private:
    // Counts its bytes itself: the manager's books have everything that is cached in the process.
    class Cache : public RK::MediaCache<Key, Value>
    {
    public:
        Cache();
        ~Cache() override;
        void AddFrame(const Key& inKey, const Value& inPixels);
        void Flush(RK::MediaID inID) override;
        std::uint64_t BytesAdded() const { return mBytesAdded; }
        std::uint64_t BytesPurged() const { return mBytesPurged; }

    private:
        // Written with the cache's mutex held. Nothing is purged before it was added: who reads both reads
        // the purged ones first.
        std::atomic<std::uint64_t> mBytesAdded{0};
        std::atomic<std::uint64_t> mBytesPurged{0};
    };

    RK::IMediaManagerRef mManager;
    Cache mCache;
};

} // namespace RKHost
