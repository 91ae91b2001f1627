#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "MediaManager/IMediaMap.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"
#include "ZOR/InterfaceRef.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/SmallBlockAllocator.h"
#include "qelcore/ThreadAnnotations.h"
#include "qelcore/UTFString.h"

namespace RK
{
namespace Details
{

/// What the helper below calls.
class IMediaCacheOwner
{
public:
    virtual void Flush(MediaID inID) = 0;

protected:
    virtual ~IMediaCacheOwner() = default;
};

// What the manager sees of a MediaCache. It has a life of its own: the manager's entries, and the
// events that wait in its ring, hold references to it long after the cache may have gone.
//
// Invariants  (1) mOwner is not null only while the cache lives: it is read and called under mMutex,
//                 and Detach clears it under mMutex. So a Flush either ends before Detach returns,
//                 or finds no owner.
//             (2) Locks are taken in the order manager, helper, cache. Detach is called with no lock
//                 of the cache held, and Flush calls nothing but the cache.
class MediaMapTemplateHelper : public ZOR::CountedObject<IMediaMap>
{
public:
    MediaMapTemplateHelper(const IMediaManagerRef& inManager, IMediaCacheOwner* inOwner,
                           const qelcore::UTF16String& inName)
        : mManager(inManager)
        , mUniqueID(mManager->AcquireUniqueID())
        , mOwner(inOwner)
        , mName(inName)
    {
    }

    void Flush(MediaID inID) override
    {
        const Lock lock(mMutex, "RK::Details::MediaMapTemplateHelper::Flush");
        if (mOwner)
            mOwner->Flush(inID);
    }
    qelcore::utility::Guid GetUniqueID() const override { return mUniqueID; }

    /// Waits for a Flush under way, and lets none reach the owner any more.
    void Detach()
    {
        const Lock lock(mMutex, "RK::Details::MediaMapTemplateHelper::Detach");
        mOwner = nullptr;
    }
    const IMediaManagerRef& Manager() const noexcept { return mManager; }
    const qelcore::UTF16String& Name() const noexcept { return mName; }

protected:
    ~MediaMapTemplateHelper() override = default;

private:
    using Lock = qelcore::threads::RecursiveMutex::ScopedLock;

    const IMediaManagerRef mManager;
    const qelcore::utility::Guid mUniqueID;
    IMediaCacheOwner* mOwner RK_GUARDED_BY(mMutex);
    const qelcore::UTF16String mName;
    qelcore::threads::RecursiveMutex mMutex;
};

/// The policy of a MediaCache that has none of its own: the manager alone decides.
template <class Value>
struct NaiveCacheManager
{
};

} // namespace Details

// A cache of values by key under the budget of the media manager. It keeps the first value of a key.
//
//     RK::MediaCache<FrameKey, RecycledMemoryPtr> frames(u"Frames", 4);
//     frames.Add(key, frame, frame->Size(), frames.defaultPriority, 0);
//     if (!frames.Get(frame, key)) ...  // never there, or purged: decode it again
//
// Key      copyable, ordered by std::less.
// Value    copyable and default constructible; usually a shared pointer.
//
// Lifetime  The cache may be destroyed at any time by its owner, while the manager purges on another
//           thread: its destructor first waits for a Flush under way, and later ones find no cache.
//           So do not destroy a cache with a lock held that a value's destructor takes.
//           A class that derives from MediaCache and overrides Flush must call Detach() first thing
//           in its own destructor: by the time this one runs, the override's object is gone.
// Threads   Every function but the destructor from any thread. A purged value is released on the
//           thread that purges, with the locks of the manager and of the cache held; its destructor
//           must call neither.
template <class Key, class Value, class CacheManager = Details::NaiveCacheManager<Value>>
class MediaCache : public Details::IMediaCacheOwner
{
public:
    /// @param inName      for displays.
    /// @param inPriority  kept as defaultPriority; 0 (kept longest) to 100.
    /// @param inManager   the manager to register with, which must be running; for tests to replace.
    MediaCache(const qelcore::UTF16String& inName, unsigned int inPriority,
               const IMediaManagerRef& inManager = GetMediaManager())
        : mHelper(new Details::MediaMapTemplateHelper(inManager, this, inName))
        , defaultPriority(inPriority)
    {
    }
    MediaCache(const MediaCache&) = delete;
    MediaCache& operator=(const MediaCache&) = delete;

    /// Called by the manager, under its lock: drops an item. An unknown ID is ignored. Must not throw.
    void Flush(MediaID inID) override
    {
        const Lock lock(mMutex, "RK::MediaCache::Flush");
        const auto id = mIDs.find(inID);
        if (id == mIDs.end())
            return;
        mElements.erase(id->second);
        mIDs.erase(id);
    }

    ~MediaCache() override
    {
        Detach();
        for (const auto& element : mElements)
            mHelper->Manager()->RemoveMedia(element.second.mMediaID, mHelper->GetUniqueID());
    }

    /// Shares a value, unless the key is there: then the old value stays, and has been used.
    /// @param inSize  bytes that the value counts as. 0 violates the manager's contract, and what that
    ///                raises leaves the cache as it was.
    void Add(const Key& inKey, const Value& inValue, const std::size_t& inSize,
             unsigned int inPriority, unsigned int inHandleCount)
    {
        const Lock lock(mMutex, "RK::MediaCache::Add");
        const auto present = mElements.find(inKey);
        if (present != mElements.end())
        {
            mHelper->Manager()->TouchMedia(present->second.mMediaID, mHelper->GetUniqueID());
            return;
        }
        const MediaID id = TakeID();
        mHelper->Manager()->AddMedia(id, inSize, inPriority, inHandleCount, IMediaMapRef(mHelper));
        mIDs.emplace(id, mElements.emplace(inKey, CacheElem{id, inValue}).first);
    }

    /// Looks for a value, and counts a hit as a use.
    /// @param outValue  a copy on a hit, untouched on a miss.
    bool Get(Value& outValue, const Key& inKey)
    {
        Value found; // handed over outside the lock: what outValue held may be large
        {
            const Lock lock(mMutex, "RK::MediaCache::Get");
            const auto element = mElements.find(inKey);
            if (element == mElements.end())
                return false;
            found = element->second.mValue;
            mHelper->Manager()->TouchMedia(element->second.mMediaID, mHelper->GetUniqueID());
        }
        outValue = std::move(found);
        return true;
    }

protected:
    using Lock = qelcore::threads::RecursiveMutex::ScopedLock;
    struct CacheElem
    {
        MediaID mMediaID;
        Value mValue;
    };
    using Elements = std::map<Key, CacheElem, std::less<Key>,
                              qelcore::STLAllocator<std::pair<const Key, CacheElem>>>;
    using IDs =
        std::map<MediaID, typename Elements::iterator, std::less<MediaID>,
                 qelcore::STLAllocator<std::pair<const MediaID, typename Elements::iterator>>>;

    /// After it has returned, Flush is not called any more, by any thread. Call it with no lock held;
    /// calling it again does nothing.
    void Detach() { mHelper->Detach(); }

private:
    /// The next ID that is neither 0, which stands for none, nor in use.
    MediaID TakeID() RK_REQUIRES(mMutex)
    {
        while (mNextID == 0 || mIDs.count(mNextID) != 0)
            ++mNextID;
        return mNextID++;
    }

protected:
    // With mMutex held, only those operations of the manager are called that never lock.
    const ZOR::InterfaceRef<Details::MediaMapTemplateHelper, IMediaMap> mHelper;
    Elements mElements RK_GUARDED_BY(mMutex);

public:
    const unsigned int defaultPriority; ///< what callers pass to Add, unless they know better

protected:
    IDs mIDs RK_GUARDED_BY(mMutex);
    MediaID mNextID RK_GUARDED_BY(mMutex) = 1; // the next one to try
    qelcore::threads::RecursiveMutex mMutex;
};

} // namespace RK
