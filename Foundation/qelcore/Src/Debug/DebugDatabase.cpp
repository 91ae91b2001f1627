#include "qelcore/DebugDatabase.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <optional>

#include "DebugSettings.h"
#include "qelcore/RecursiveMutex.h"

namespace qelcore
{
namespace debug
{
namespace
{

// Outside the instance, so that a cached value can compare it before the instance has been made.
constinit std::atomic<std::int32_t> sChangeCount{0};

} // namespace

struct DebugDatabase::Impl
{
    // A leaf: nothing is called with it held.
    mutable threads::RecursiveMutex mMutex;
    std::map<std::string, std::string> mEntries RK_GUARDED_BY(mMutex);

    std::optional<std::string> Find(const std::string& inKey) const
    {
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "DebugDatabase::Find");
        const auto entry = mEntries.find(inKey);
        return entry == mEntries.end() ? std::nullopt : std::make_optional(entry->second);
    }

    void Set(const std::string& inKey, const std::string& inValue) RK_REQUIRES(mMutex)
    {
        const auto [entry, added] = mEntries.try_emplace(inKey, inValue);
        if (!added && entry->second == inValue)
            return;
        entry->second = inValue;
        CountChange();
    }

    // Release, after the change: who sees the count, and then asks, sees the change.
    void CountChange() RK_REQUIRES(mMutex)
    {
        sChangeCount.store(NextChangeCount(sChangeCount.load(std::memory_order_relaxed)),
                           std::memory_order_release);
    }
};

DebugDatabase& DebugDatabase::Instance()
{
    // Never destroyed, since values may be read during exit.
    static DebugDatabase& sInstance = *new DebugDatabase;
    return sInstance;
}

DebugDatabase::DebugDatabase()
    : mImpl(new Impl)
{
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mMutex, "DebugDatabase::DebugDatabase");
    if (const char* const settings = std::getenv("RK_DEBUG"))
        for (const Entry& entry : ParseDebugSettings(settings))
            mImpl->mEntries[entry.first] = entry.second;
}

std::string DebugDatabase::GetEntry(const std::string& inKey, const std::string& inDefault) const
{
    return mImpl->Find(inKey).value_or(inDefault);
}

template <>
bool DebugDatabase::GetEntryAs<bool>(const std::string& inKey, bool inDefault) const
{
    return GetEntry(inKey, inDefault ? "true" : "false") == "true";
}

template <>
int DebugDatabase::GetEntryAs<int>(const std::string& inKey, int inDefault) const
{
    const std::optional<std::string> entry = mImpl->Find(inKey);
    return entry ? ReadInt(*entry).value_or(inDefault) : inDefault;
}

template <>
float DebugDatabase::GetEntryAs<float>(const std::string& inKey, float inDefault) const
{
    const std::optional<std::string> entry = mImpl->Find(inKey);
    return entry ? ReadFloat(*entry).value_or(inDefault) : inDefault;
}

void DebugDatabase::SetEntry(const std::string& inKey, const std::string& inValue)
{
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mMutex, "DebugDatabase::SetEntry");
    mImpl->Set(inKey, inValue);
}

void DebugDatabase::RemoveEntry(const std::string& inKey)
{
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mMutex, "DebugDatabase::RemoveEntry");
    if (mImpl->mEntries.erase(inKey) != 0)
        mImpl->CountChange();
}

std::size_t DebugDatabase::SetEntries(const std::string& inSettings)
{
    const std::vector<Entry> settings = ParseDebugSettings(inSettings);
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mMutex, "DebugDatabase::SetEntries");
    for (const Entry& setting : settings)
        mImpl->Set(setting.first, setting.second);
    return settings.size();
}

std::vector<DebugDatabase::Entry> DebugDatabase::List() const
{
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mMutex, "DebugDatabase::List");
    return {mImpl->mEntries.begin(), mImpl->mEntries.end()};
}

std::int32_t DebugDatabase::CurrentChangeCount() noexcept
{
    return sChangeCount.load(std::memory_order_acquire);
}

} // namespace debug
} // namespace qelcore
