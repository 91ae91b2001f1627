#include "FrameCache.h"

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

FrameCache::FrameCache()
    : mManager(RK::GetMediaManager())
    , mCache(ToLibraryText("rkhost frames"), kPriority)
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
    mBytesAdded += inPixels->Size();
    mCache.Add(inKey, inPixels, inPixels->Size(), kPriority, kNoHandles);
}

std::uint64_t FrameCache::BytesHeld() const
{
    mManager->FlushAsyncEvents();
    return mManager->GetCurrentSpace();
}

std::uint64_t FrameCache::BytesPurged() const
{
    // rkhost never removes a frame itself, so what was added and is not held has been purged.
    const std::uint64_t added = mBytesAdded;
    const std::uint64_t held = BytesHeld();
    return added > held ? added - held : 0;
}

std::uint64_t FrameCache::BudgetBytes() const
{
    return mManager->GetMaximumSize();
}

} // namespace RKHost
