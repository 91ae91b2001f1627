#pragma once

#include <cstddef>
#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

// Numbers and text. Every function here is total: any text and any number has an answer, and nothing
// but std::bad_alloc is raised. No function follows a locale: the point is ".", digits are ASCII.
//
// Threads  Free functions without state.

/// Plain text of a number: as many digits as needed to read the same number again, at most
/// inMaxDecimals behind the point (the last one rounded, zeros at the end left out); no exponent, no
/// grouping. Zero has no sign, and neither has what rounds to it. 1e300 has its 301 digits.
/// @param inMaxDecimals  below 0 counts as 0.
/// @return "nan" for any not-a-number, "inf" and "-inf" for the infinities; StringToNumber takes none
///         of these for a number.
RK_API UTF16String NumberToString(double inValue, int inMaxDecimals = 17);

enum NumberToStringFlags : std::uint32_t
{
    kNumberToString_None = 0,
};

/// The same with at least inMinDecimals behind the point, zeros if need be. What would be longer than
/// inMaxLength characters is written with an exponent, with as few digits as are needed to read the same
/// number again; that takes 24 characters at the most.
/// @param inMinDecimals  beyond inMaxDecimals counts as inMaxDecimals.
RK_API UTF16String NumberToString(double inValue, int inMinDecimals, int inMaxDecimals,
                                  NumberToStringFlags inFlags, std::size_t inMaxLength);

enum StringToNumberFlags : std::uint32_t
{
    kStringToNumber_None = 0,
    kStringToNumber_WholeText = 1, ///< anything but blanks behind the number makes it 0
};

/// Reads the number that the text begins with, after blanks: a sign ("+" or "-") or none, digits with
/// a point among, before or behind them, and an exponent ("e" and a whole number) or none.
/// @return 0 if there is none; the nearest finite number for one out of range, so 0 for one too small.
RK_API double StringToNumber(const UTF16String& inText,
                             std::uint32_t inFlags = kStringToNumber_None);

/// A byte count in human units of 1024 ("1.50 GB"), with inDecimals behind the point; bytes have none
/// ("512 B"). The unit is the largest that leaves at least 1 in front of the point, after rounding:
/// one byte less than a megabyte is "1.00 MB". The largest unit is the exabyte.
/// @param inDecimals   0 to 20; what is outside counts as the nearer end.
/// @param inLongUnits  true writes "gigabytes" for "GB", and "1 byte" for "1 B".
RK_API UTF16String NumberToMemoryString(std::uint64_t inBytes, int inDecimals, bool inLongUnits);

/// Text to number by type. Reads the digits that the text begins with (after a sign), and stops at the
/// first character that is none. Blanks are none: a text that begins with one cannot be parsed.
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

/// The first inCount characters, counted in 16-bit units; the whole text if it has no more.
/// @param inWholeCharacters  true never leaves half a surrogate pair at the cut: the text then ends one
///                           unit earlier. Surrogates that are lone in inText stay.
RK_API UTF16String TruncateStringToNumChars(const UTF16String& inText, std::size_t inCount,
                                            bool inWholeCharacters);

/// Replaces each inPlaceholder in ioText, from the front; what was put in is not searched again. An
/// empty placeholder is nowhere. The arguments may be one object.
/// @return how many there were.
RK_API std::size_t ReplaceInString(UTF16String& ioText, const UTF16String& inPlaceholder,
                                   const UTF16String& inValue);

} // namespace utility
} // namespace qelcore
