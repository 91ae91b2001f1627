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
// pointer. The order is that of identities, not of the alphabet, and differs from run to run.
//
// Threads  Any function from any thread; a look-up of a known string takes no lock that another
//          look-up holds. Usable before main() and during exit.
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

    /// Interns a literal without copying it. @param inLiteral ASCII; must stay valid for ever.
    static ImmutableString CreateStatic(const char* inLiteral);
    /// Interns a copy of the text.
    static ImmutableString CreateDynamic(const UTF16String& inText);
    static ImmutableString CreateDynamic(const char16_t* inText, std::size_t inLength);
    static ImmutableString CreateDynamic(const char* inUTF8);
    static ImmutableString CreateDynamic(const char* inUTF8, std::size_t inLength);

    /// @return the text; empty for the null value.
    UTF16String ToString() const;
    bool IsNull() const noexcept { return mEntry == nullptr; }

    /// Frees every interned string that nobody holds. @return true if something was freed.
    static bool PurgeUnusedStrings();

    static const ImmutableString sNullString;

    friend bool operator==(const ImmutableString& a, const ImmutableString& b) noexcept { return a.mEntry == b.mEntry; }
    friend bool operator!=(const ImmutableString& a, const ImmutableString& b) noexcept { return a.mEntry != b.mEntry; }
    friend bool operator<(const ImmutableString& a, const ImmutableString& b) noexcept
    {
        return std::less<const void*>()(a.mEntry, b.mEntry);
    }
    /// A value that identifies the string while anybody holds it.
    const void* Identity() const noexcept { return mEntry; }

private:
    struct Entry;
    friend class ImmutableStringTable;
    explicit ImmutableString(Entry* inEntry) noexcept : mEntry(inEntry) {}
    Entry* mEntry = nullptr;
};

} // namespace utility
} // namespace qelcore
