#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "qelcore/DebugDatabase.h"

namespace qelcore
{
namespace debug
{

// A setting of the debug database, cached: reading it compares two counters, and asks the database
// only if something has changed there. T is bool, int or float.
//
// Set up at compile time, so that a static of this type may be read before main(). Any thread may
// read, without a lock; a new setting is seen by the next read that begins after it was set.
template <class T>
class CachedDatabaseValue
{
    static_assert(std::is_same<T, bool>::value || std::is_same<T, int>::value ||
                      std::is_same<T, float>::value,
                  "the debug database reads bool, int and float");

public:
    /// @param inKey  a literal, or any text that outlives this object.
    constexpr CachedDatabaseValue(const char* inKey, T inDefault) noexcept
        : mKey(inKey)
        , mDefault(inDefault)
    {
    }
    /// A copy has the key and the default, and reads the database afresh.
    constexpr CachedDatabaseValue(const CachedDatabaseValue& inOther) noexcept
        : CachedDatabaseValue(inOther.mKey, inOther.mDefault)
    {
    }
    CachedDatabaseValue& operator=(const CachedDatabaseValue&) = delete;

    T Get() const
    {
        std::uint64_t cached = mCached.load(std::memory_order_acquire);
        const std::int32_t count = DebugDatabase::CurrentChangeCount();
        if (SeenCount(cached) == count)
            return Value(cached);
        // The count is read before the entry: a change between the two makes the next read ask
        // again.
        const T value = DebugDatabase::Instance().GetEntryAs<T>(mKey, mDefault);
        // Who loses this exchange was overtaken by a reader whose count may be newer: its word
        // stays.
        mCached.compare_exchange_strong(cached, Pack(count, value), std::memory_order_acq_rel);
        return value;
    }
    operator T() const { return Get(); }

    const char* Key() const noexcept { return mKey; }
    T Default() const noexcept { return mDefault; }

private:
    static std::int32_t SeenCount(std::uint64_t inCached) noexcept
    {
        return static_cast<std::int32_t>(inCached >> 32);
    }
    static T Value(std::uint64_t inCached) noexcept
    {
        const std::uint32_t bits = static_cast<std::uint32_t>(inCached);
        T value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    static std::uint64_t Pack(std::int32_t inCount, T inValue) noexcept
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &inValue, sizeof inValue);
        return std::uint64_t{static_cast<std::uint32_t>(inCount)} << 32 | bits;
    }

    const char* const mKey;
    const T mDefault;
    // The last seen change count above, initially -1, and the bits of the value below. In one word,
    // since two would let a slow reader put an old value beside a new count, and leave it there.
    mutable std::atomic<std::uint64_t> mCached{std::uint64_t{0xFFFFFFFFu} << 32};
};

} // namespace debug
} // namespace qelcore
