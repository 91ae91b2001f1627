#include "FrameCache.h"

#include <algorithm>

#include "Text.h"

namespace RKHost
{

namespace
{

constexpr unsigned kPriority = 1; // 0 would be kept longest; nothing here is worth that
constexpr unsigned kNoHandles = 0;

} // namespace

FrameCache::Key FrameCache::MakeKey(const std::string& inPath)
{
    using qelcore::utility::ImmutableString;
    return Key(ImmutableString::CreateDynamic(ToLibraryPath(inPath)),
               ImmutableString::CreateStatic("rkhost.Frame"));
}

FrameCache::Cache::Cache()
    : MediaCache(ToLibraryText("rkhost frames"), kPriority)
{
}

FrameCache::Cache::~Cache()
{
    Detach();
}

void FrameCache::Cache::AddFrame(const Key& inKey, const Value& inPixels)
{
    const Lock lock(mMutex, "RKHost::FrameCache::Cache::AddFrame");
    const std::size_t before = mElements.size();
    Add(inKey, inPixels, inPixels->Size(), kPriority, kNoHandles);
    if (mElements.size() > before)
        mBytesAdded += inPixels->Size();
}

void FrameCache::Cache::Flush(RK::MediaID inID)
{
    const Lock lock(mMutex, "RKHost::FrameCache::Cache::Flush");
    const auto found = mIDs.find(inID);
    if (found != mIDs.end())
        mBytesPurged += found->second->second.mValue->Size();
    MediaCache::Flush(inID);
}

FrameCache::FrameCache()
    : mManager(RK::GetMediaManager())
{
}

FrameCache::Value FrameCache::Get(const Key& inKey)
{
    Value pixels;
    mCache.Get(pixels, inKey);
    return pixels;
}

void FrameCache::Add(const Key& inKey, const Value& inPixels)
{
    mCache.AddFrame(inKey, inPixels);
}

std::uint64_t FrameCache::BytesHeld() const
{
    const std::uint64_t purged = mCache.BytesPurged();
    return mCache.BytesAdded() - purged;
}

std::uint64_t FrameCache::BytesOfOthers() const
{
    mManager->FlushAsyncEvents();
    const std::uint64_t all = mManager->GetCurrentSpace();
    return all - std::min(all, BytesHeld());
}

std::uint64_t FrameCache::BudgetBytes() const
{
    return mManager->GetMaximumSize();
}

} // namespace RKHost
