#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

/// Plain text of a number: as many digits as needed to read the same number again, at most
/// inMaxDecimals behind the point; no exponent, no grouping, no locale.
RK_API UTF16String NumberToString(double inValue, int inMaxDecimals = 17);

enum StringToNumberFlags : std::uint32_t
{
    kStringToNumber_None = 0,
    kStringToNumber_WholeText = 1, ///< anything behind the number makes it 0
};

/// Reads the number that the text begins with, after blanks. @return 0 if there is none; a number out
/// of range gives the nearest finite one.
RK_API double StringToNumber(const UTF16String& inText, std::uint32_t inFlags = kStringToNumber_None);

/// A byte count in human units ("1.50 GB"), with inDecimals behind the point; bytes have none.
/// @param inLongUnits  true writes "gigabytes" for "GB".
RK_API UTF16String NumberToMemoryString(std::uint64_t inBytes, int inDecimals, bool inLongUnits);

/// Text to number by type. Reads the digits that the text begins with (after a sign), and stops at the
/// first character that is none.
/// @return 0 for text that cannot be parsed, a value out of range included.
template <class T>
struct Coercion;
template <>
struct RK_API Coercion<int>
{
    static int Result(const UTF16String& inText);
};
template <>
struct RK_API Coercion<long long>
{
    static long long Result(const UTF16String& inText);
};

/// The first inCount characters. @param inWholeCharacters  true never leaves half a surrogate pair.
RK_API UTF16String TruncateStringToNumChars(const UTF16String& inText, std::size_t inCount, bool inWholeCharacters);

/// Replaces each inPlaceholder in ioText. @return how many there were.
RK_API std::size_t ReplaceInString(UTF16String& ioText, const UTF16String& inPlaceholder, const UTF16String& inValue);

} // namespace utility
} // namespace qelcore
