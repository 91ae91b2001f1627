#pragma once

#include <cstddef>
#include <functional>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

// An interned string: equal strings are one object, so that equality and order are comparisons of a
// pointer. The order is that of identities, not of the alphabet, and differs from run to run. Texts
// are equal when their 16-bit units are; whether they came as a literal, as UTF-16 or as UTF-8 makes
// no difference.
//
// A string that nobody holds any more stays interned until PurgeUnusedStrings(), so that one which
// comes and goes keeps its identity, and costs no allocation, in between.
//
// Threads  Any function from any thread; one object by one thread at a time, like any value. A look-up
//          of a known string takes no lock, and waits for nobody: it counts itself in and out of one
//          of 64 shards, so two look-ups meet at most in an atomic counter. Making a new string locks
//          its shard, and a purge locks one shard after the other. Usable before main() and during
//          exit: the table is set up at compile time and never destroyed.
// Cost     A look-up hashes and compares the text once, and allocates nothing (a narrow text beyond
//          ASCII is converted first). Copying and dropping are one atomic addition. ToString() copies.
// Memory   40 bytes and the text, which takes one byte a unit if it is ASCII and two otherwise; 48
//          bytes for a literal. The table adds 16 to 32 bytes a string.
// Errors   std::bad_alloc, with nothing interned.
class RK_API ImmutableString
{
public:
    /// The null value, equal to sNullString only. It is not the empty string.
    constexpr ImmutableString() noexcept = default;
    ImmutableString(const ImmutableString& inOther) noexcept;
    ImmutableString(ImmutableString&& inOther) noexcept;
    ImmutableString& operator=(const ImmutableString& inOther) noexcept;
    ImmutableString& operator=(ImmutableString&& inOther) noexcept;
    ~ImmutableString();

    /// Interns a literal without copying it, unless the same text is interned already.
    /// @param inLiteral  ASCII; must stay valid for ever, even when nobody holds the string. Text that
    ///                   is no ASCII counts as UTF-8 and is copied. Null gives the null value.
    static ImmutableString CreateStatic(const char* inLiteral);
    /// Interns a copy of the text. Unpaired surrogates are units like any other. A null pointer with
    /// the length 0 is the empty string.
    static ImmutableString CreateDynamic(const UTF16String& inText);
    static ImmutableString CreateDynamic(const char16_t* inText, std::size_t inLength);
    /// The same for UTF-8; malformed sequences become U+FFFD.
    static ImmutableString CreateDynamic(const char* inUTF8, std::size_t inLength);
    /// @param inUTF8  null gives the null value.
    static ImmutableString CreateDynamic(const char* inUTF8);

    /// @return the text; empty for the null value.
    UTF16String ToString() const;
    bool IsNull() const noexcept { return mEntry == nullptr; }

    /// Frees every interned string that nobody holds. Takes time in proportion to all interned
    /// strings. A string that a look-up of another thread is just looking at is freed once that
    /// look-up is through; if it stands still, by a later purge.
    /// @return true if something was freed.
    static bool PurgeUnusedStrings();

    static const ImmutableString sNullString;

    friend bool operator==(const ImmutableString& a, const ImmutableString& b) noexcept
    {
        return a.mEntry == b.mEntry;
    }
    friend bool operator!=(const ImmutableString& a, const ImmutableString& b) noexcept
    {
        return a.mEntry != b.mEntry;
    }
    friend bool operator<(const ImmutableString& a, const ImmutableString& b) noexcept
    {
        return std::less<const void*>()(a.mEntry, b.mEntry);
    }
    /// A value that identifies the string while anybody holds it.
    const void* Identity() const noexcept { return mEntry; }

    /// For boost::hash. Follows the identity: the same string hashes differently from run to run.
    friend std::size_t hash_value(const ImmutableString& inString) noexcept
    {
        return std::hash<const void*>()(inString.mEntry);
    }

private:
    struct Entry;
    friend class ImmutableStringTable;
    explicit ImmutableString(Entry* inEntry) noexcept
        : mEntry(inEntry)
    {
    }
    Entry* mEntry = nullptr;
};

} // namespace utility
} // namespace qelcore

template <>
struct std::hash<qelcore::utility::ImmutableString>
{
    std::size_t operator()(const qelcore::utility::ImmutableString& inString) const noexcept
    {
        return hash_value(inString);
    }
};
