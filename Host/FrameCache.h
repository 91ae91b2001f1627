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

    /// Bytes that the media manager has on its books now.
    std::uint64_t BytesHeld() const;
    /// Bytes that it has taken away from this cache so far.
    std::uint64_t BytesPurged() const;
    std::uint64_t BudgetBytes() const;

private:
    using Cache = RK::MediaCache<Key, Value, RK::Details::NaiveCacheManager<Value>>;

    RK::IMediaManagerRef mManager;
    Cache mCache;
    std::atomic<std::uint64_t> mBytesAdded{0};
};

} // namespace RKHost
