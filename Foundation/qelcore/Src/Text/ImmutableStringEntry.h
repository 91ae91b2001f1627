#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "qelcore/ImmutableString.h"

namespace qelcore
{
namespace utility
{

// A text that somebody looks for: units of 8 or 16 bits. An 8-bit one is ASCII.
struct InternedText
{
    const void* units;
    std::size_t length;
    bool narrow;
};

/// The hash depends on the units alone, not on their width.
std::uint64_t HashText(const InternedText& inText) noexcept;
bool EqualTexts(const InternedText& a, const InternedText& b) noexcept;

// An interned string: this header, and the text behind it, or a pointer to the literal instead.
//
// Everything but mHolders and mNextRetired is constant from the moment the entry is in the table.
struct ImmutableString::Entry
{
    enum class Storage : std::uint8_t
    {
        kLiteral,
        kNarrow,
        kWide
    };

    // Holders of an entry that a purge has taken. A look-up may still add to it and take its one back,
    // from as many threads as there are: the sum stays far below zero, and that is how they know.
    static constexpr std::int64_t kTaken = INT64_MIN / 2;

    /// @param inIsLiteral  keep the pointer instead of a copy of the text, which is narrow then.
    /// @return an entry with one holder. Raises std::bad_alloc.
    static Entry* Create(const InternedText& inText, std::uint64_t inHash, bool inIsLiteral);
    static void Destroy(Entry* inEntry) noexcept;

    InternedText Text() const noexcept;

    /// Adds a holder. @return false if a purge has taken the entry.
    bool TryHold() noexcept
    {
        // Relaxed: the look-up has read the entry from its slot with acquire, and no other memory
        // hangs on the count.
        if (mHolders.fetch_add(1, std::memory_order_relaxed) >= 0)
            return true;
        mHolders.fetch_sub(1, std::memory_order_relaxed);
        return false;
    }
    /// One more, for somebody who holds it already.
    void Hold() noexcept { mHolders.fetch_add(1, std::memory_order_relaxed); }
    /// Release: whatever the holder read comes before the purge that frees it.
    void LetGo() noexcept { mHolders.fetch_sub(1, std::memory_order_release); }
    /// Takes the entry for good, if nobody holds it.
    bool TryTake() noexcept
    {
        std::int64_t nobody = 0;
        return mHolders.compare_exchange_strong(nobody, kTaken, std::memory_order_acquire,
                                                std::memory_order_relaxed);
    }

    std::atomic<std::int64_t> mHolders{1};
    const std::uint64_t mHash;
    const std::size_t mLength;
    Entry* mNextRetired = nullptr; // the purge's own
    const Storage mStorage;

private:
    Entry(std::uint64_t inHash, std::size_t inLength, Storage inStorage) noexcept
        : mHash(inHash)
        , mLength(inLength)
        , mStorage(inStorage)
    {
    }
    static std::size_t SizeOf(std::size_t inLength, Storage inStorage) noexcept;
    void* Tail() noexcept { return this + 1; }
    const void* Tail() const noexcept { return this + 1; }
};

} // namespace utility
} // namespace qelcore
