#include "ImmutableStringEntry.h"

#include <cstring>
#include <new>

#include "UTFCodec.h"
#include "qelcore/SmallBlockAllocator.h"

namespace qelcore
{
namespace utility
{
namespace
{

/// A unit as 16 bits; a narrow one is below 128, so that its sign does not matter.
template <class Unit>
std::uint64_t Widen(Unit inUnit) noexcept
{
    return static_cast<char16_t>(inUnit);
}

/// Four units as one word, the first lowest, on any machine.
template <class Unit>
std::uint64_t LoadFour(const Unit* inUnits) noexcept
{
    return Widen(inUnits[0]) | Widen(inUnits[1]) << 16 | Widen(inUnits[2]) << 32 |
           Widen(inUnits[3]) << 48;
}

template <class Unit>
std::uint64_t LoadLast(const Unit* inUnits, std::size_t inCount) noexcept
{
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < inCount; ++i)
        word |= Widen(inUnits[i]) << (16 * i);
    return word;
}

std::uint64_t MixWord(std::uint64_t inHash, std::uint64_t inWord) noexcept
{
    // An odd multiplier moves what differs upwards, and the shift brings it down again; the constants
    // are the fractions of the golden ratio and of the square root of 3.
    inHash = (inHash ^ inWord) * 0x9E3779B97F4A7C15u;
    return inHash ^ (inHash >> 32);
}

template <class Unit>
std::uint64_t HashUnits(const Unit* inUnits, std::size_t inLength) noexcept
{
    std::uint64_t hash = inLength;
    std::size_t i = 0;
    for (; i + 4 <= inLength; i += 4)
        hash = MixWord(hash, LoadFour(inUnits + i));
    hash = MixWord(hash, LoadLast(inUnits + i, inLength - i));
    return MixWord(hash, 0xBB67AE8584CAA73Bu);
}

bool EqualAcrossWidths(const char* inNarrow, const char16_t* inWide, std::size_t inLength) noexcept
{
    for (std::size_t i = 0; i < inLength; ++i)
        if (static_cast<char16_t>(inNarrow[i]) != inWide[i])
            return false;
    return true;
}

} // namespace

std::uint64_t HashText(const InternedText& inText) noexcept
{
    return inText.narrow ? HashUnits(static_cast<const char*>(inText.units), inText.length)
                         : HashUnits(static_cast<const char16_t*>(inText.units), inText.length);
}

bool EqualTexts(const InternedText& a, const InternedText& b) noexcept
{
    if (a.length != b.length)
        return false;
    if (a.length == 0)
        return true;
    if (a.narrow == b.narrow)
        return std::memcmp(a.units, b.units, a.length * (a.narrow ? 1 : sizeof(char16_t))) == 0;
    const InternedText& narrow = a.narrow ? a : b;
    const InternedText& wide = a.narrow ? b : a;
    return EqualAcrossWidths(static_cast<const char*>(narrow.units),
                             static_cast<const char16_t*>(wide.units), a.length);
}

std::size_t ImmutableString::Entry::SizeOf(std::size_t inLength, Storage inStorage) noexcept
{
    switch (inStorage)
    {
    case Storage::kLiteral:
        return sizeof(Entry) + sizeof(const char*);
    case Storage::kNarrow:
        return sizeof(Entry) + inLength;
    case Storage::kWide:
        break;
    }
    return sizeof(Entry) + inLength * sizeof(char16_t);
}

ImmutableString::Entry* ImmutableString::Entry::Create(const InternedText& inText,
                                                       std::uint64_t inHash, bool inIsLiteral)
{
    const bool narrow =
        inText.narrow || IsAscii(static_cast<const char16_t*>(inText.units), inText.length);
    const Storage storage = inIsLiteral ? Storage::kLiteral
                            : narrow    ? Storage::kNarrow
                                        : Storage::kWide;
    const std::size_t size = SizeOf(inText.length, storage);
    Entry* const entry =
        new (SmallBlockAllocator::Allocate(size)) Entry(inHash, inText.length, storage);
    if (inIsLiteral)
        std::memcpy(entry->Tail(), &inText.units, sizeof inText.units);
    else if (narrow && !inText.narrow)
        CopyAscii(static_cast<const char16_t*>(inText.units), inText.length,
                  static_cast<char*>(entry->Tail()));
    else if (inText.length != 0)
        std::memcpy(entry->Tail(), inText.units, size - sizeof(Entry));
    return entry;
}

void ImmutableString::Entry::Destroy(Entry* inEntry) noexcept
{
    const std::size_t size = SizeOf(inEntry->mLength, inEntry->mStorage);
    inEntry->~Entry();
    SmallBlockAllocator::Dispose(inEntry, size);
}

InternedText ImmutableString::Entry::Text() const noexcept
{
    const void* units = Tail();
    if (mStorage == Storage::kLiteral)
        std::memcpy(&units, Tail(), sizeof units);
    return {units, mLength, mStorage != Storage::kWide};
}

} // namespace utility
} // namespace qelcore
