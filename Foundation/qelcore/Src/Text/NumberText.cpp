#include "qelcore/NumberText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "NumberScan.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace utility
{
namespace
{

template <class T>
T CoerceTo(const UTF16String& inText)
{
    const ScannedNumber<T> number = ScanNumber<T>(inText);
    return number.IsRead() ? number.value : T{0};
}

/// The decimal exponent that the text of a number states. @return the nearest long long.
long long StatedExponent(std::string_view inExponent)
{
    const bool negative = !inExponent.empty() && inExponent[0] == '-';
    if (!inExponent.empty() && (negative || inExponent[0] == '+'))
        inExponent.remove_prefix(1);
    long long value = 0;
    const auto result =
        std::from_chars(inExponent.data(), inExponent.data() + inExponent.size(), value);
    if (result.ec == std::errc::result_out_of_range)
        value = std::numeric_limits<long long>::max();
    return negative ? -value : value;
}

/// Of a number that a double cannot hold: true if it is too large, false if it is too small. Where
/// its first digit stands decides, since nothing in between is out of range.
bool IsTooLarge(std::string_view inNumber)
{
    const std::size_t mantissaEnd = std::min(inNumber.find_first_of("eE"), inNumber.size());
    const std::string_view mantissa = inNumber.substr(0, mantissaEnd);
    const auto point = static_cast<long long>(std::min(mantissa.find('.'), mantissa.size()));
    const auto first = static_cast<long long>(mantissa.find_first_of("123456789"));
    const long long stated =
        mantissaEnd == inNumber.size() ? 0 : StatedExponent(inNumber.substr(mantissaEnd + 1));
    return stated > first - point;
}

double NearestFinite(std::string_view inNumber)
{
    if (!IsTooLarge(inNumber))
        return 0;
    return inNumber[0] == '-' ? std::numeric_limits<double>::lowest()
                              : std::numeric_limits<double>::max();
}

// 309 digits, the point, and up to 324 zeros and 17 digits behind it.
using NumberBuffer = std::array<char, 800>;

char* PrintFixed(NumberBuffer& outText, double inValue, int inDecimals)
{
    return std::to_chars(outText.data(), outText.data() + outText.size(), inValue,
                         std::chars_format::fixed, inDecimals)
        .ptr;
}

const char* WithoutTrailingZeros(const char* inText, const char* inEnd)
{
    if (std::find(inText, inEnd, '.') == inEnd)
        return inEnd;
    while (inEnd[-1] == '0')
        --inEnd;
    return inEnd[-1] == '.' ? inEnd - 1 : inEnd;
}

UTF16String ToText(const char* inText, const char* inEnd)
{
    return AsciiToUTF16(inText, static_cast<std::size_t>(inEnd - inText));
}

struct MemoryUnit
{
    const char* shortName;
    const char* longName;
};
constexpr std::array<MemoryUnit, 7> kMemoryUnits = {{{" B", " bytes"},
                                                     {" KB", " kilobytes"},
                                                     {" MB", " megabytes"},
                                                     {" GB", " gigabytes"},
                                                     {" TB", " terabytes"},
                                                     {" PB", " petabytes"},
                                                     {" EB", " exabytes"}}};

} // namespace

UTF16String NumberToString(double inValue, int inMaxDecimals)
{
    if (std::isnan(inValue))
        return AsciiToUTF16("nan");
    if (std::isinf(inValue))
        return AsciiToUTF16(inValue < 0 ? "-inf" : "inf");
    NumberBuffer text;
    const char* end =
        std::to_chars(text.data(), text.data() + text.size(), inValue, std::chars_format::fixed)
            .ptr;
    const int maxDecimals = std::max(inMaxDecimals, 0);
    const char* const point = std::find<const char*>(text.data(), end, '.');
    if (point != end && end - point - 1 > maxDecimals)
        end = WithoutTrailingZeros(text.data(), PrintFixed(text, inValue, maxDecimals));
    const bool isZero =
        std::all_of<const char*>(text.data(), end, [](char c) { return c == '-' || c == '0'; });
    return isZero ? AsciiToUTF16("0") : ToText(text.data(), end);
}

UTF16String NumberToString(double inValue, int inMinDecimals, int inMaxDecimals,
                           NumberToStringFlags, std::size_t inMaxLength)
{
    UTF16String text = NumberToString(inValue, inMaxDecimals);
    if (!std::isfinite(inValue))
        return text;
    const int minDecimals = std::min(std::max(inMinDecimals, 0), std::max(inMaxDecimals, 0));
    std::size_t point = text.find(u'.');
    if (point == UTF16String::npos && minDecimals > 0)
    {
        point = text.size();
        text += u'.';
    }
    if (minDecimals > 0)
        text.resize(std::max(text.size(), point + 1 + static_cast<std::size_t>(minDecimals)), u'0');
    if (text.size() <= inMaxLength)
        return text;
    NumberBuffer exponential;
    const char* const end =
        std::to_chars(exponential.data(), exponential.data() + exponential.size(), inValue,
                      std::chars_format::scientific)
            .ptr;
    return ToText(exponential.data(), end);
}

double StringToNumber(const UTF16String& inText, std::uint32_t inFlags)
{
    const std::u16string_view text = std::u16string_view(inText).substr(CountBlanks(inText));
    const ScannedNumber<double> number = ScanNumber<double>(text);
    // What from_chars takes for a number and has no digit is "nan" or "inf".
    if (number.text.find_first_of("0123456789") == std::string::npos)
        return 0;
    const std::u16string_view behind = text.substr(number.length);
    if ((inFlags & kStringToNumber_WholeText) && CountBlanks(behind) != behind.size())
        return 0;
    return number.IsRead() ? number.value : NearestFinite(number.text);
}

UTF16String NumberToMemoryString(std::uint64_t inBytes, int inDecimals, bool inLongUnits)
{
    if (inBytes == 1 && inLongUnits)
        return AsciiToUTF16("1 byte");
    std::size_t unit = 0;
    while (unit + 1 < kMemoryUnits.size() && (inBytes >> (10 * (unit + 1))) != 0)
        ++unit;
    const int decimals = std::clamp(inDecimals, 0, 20);
    // Dividing by a power of 2 is exact, so the text is rounded from the count itself; only a count of
    // more than 53 bits (8 PB) is rounded before, beyond its 15th digit.
    const double value = std::ldexp(static_cast<double>(inBytes), -10 * static_cast<int>(unit));
    NumberBuffer text;
    const char* end = PrintFixed(text, value, unit == 0 ? 0 : decimals);
    if (unit + 1 < kMemoryUnits.size() && value >= 1023 &&
        std::string_view(text.data(), 4) == "1024")
    {
        ++unit;
        end = PrintFixed(text, value / 1024, decimals);
    }
    return ToText(text.data(), end) +
           AsciiToUTF16(inLongUnits ? kMemoryUnits[unit].longName : kMemoryUnits[unit].shortName);
}

int Coercion<int>::Result(const UTF16String& inText)
{
    return CoerceTo<int>(inText);
}

long long Coercion<long long>::Result(const UTF16String& inText)
{
    return CoerceTo<long long>(inText);
}

UTF16String TruncateStringToNumChars(const UTF16String& inText, std::size_t inCount,
                                     bool inWholeCharacters)
{
    if (inCount >= inText.size())
        return inText;
    const bool splits = inCount > 0 && (inText[inCount - 1] & 0xFC00) == 0xD800 &&
                        (inText[inCount] & 0xFC00) == 0xDC00;
    return inText.substr(0, inWholeCharacters && splits ? inCount - 1 : inCount);
}

std::size_t ReplaceInString(UTF16String& ioText, const UTF16String& inPlaceholder,
                            const UTF16String& inValue)
{
    if (inPlaceholder.empty())
        return 0;
    UTF16String replaced;
    std::size_t count = 0, begin = 0;
    for (std::size_t found; (found = ioText.find(inPlaceholder, begin)) != UTF16String::npos;
         ++count)
    {
        replaced.append(ioText, begin, found - begin).append(inValue);
        begin = found + inPlaceholder.size();
    }
    if (count != 0)
        ioText = replaced.append(ioText, begin, UTF16String::npos);
    return count;
}

} // namespace utility
} // namespace qelcore
