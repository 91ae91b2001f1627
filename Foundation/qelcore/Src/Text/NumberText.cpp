#include "qelcore/NumberText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace utility
{
namespace
{

bool IsBlank(char16_t inUnit)
{
    return inUnit == u' ' || (inUnit >= u'\t' && inUnit <= u'\r');
}

/// The ASCII units that the text begins with, behind its blanks.
std::string AsciiStart(const UTF16String& inText, bool inSkipBlanks, std::size_t& outEnd)
{
    std::size_t i = 0;
    while (inSkipBlanks && i < inText.size() && IsBlank(inText[i]))
        ++i;
    const std::size_t begin = i;
    while (i < inText.size() && inText[i] < 0x80)
        ++i;
    outEnd = begin;
    return std::string(inText.begin() + static_cast<std::ptrdiff_t>(begin),
                       inText.begin() + static_cast<std::ptrdiff_t>(i));
}

template <class T>
T ParseInteger(const UTF16String& inText)
{
    std::size_t begin = 0;
    const std::string text = AsciiStart(inText, false, begin);
    const char* first = text.data();
    const char* const last = first + text.size();
    if (first != last && *first == '+' && last - first > 1 && first[1] != '-')
        ++first;
    T value = 0;
    return std::from_chars(first, last, value).ec == std::errc() ? value : T{0};
}

} // namespace

UTF16String NumberToString(double inValue, int inMaxDecimals)
{
    if (std::isnan(inValue))
        return AsciiToUTF16("nan");
    if (std::isinf(inValue))
        return AsciiToUTF16(inValue < 0 ? "-inf" : "inf");
    std::array<char, 800> text; // 309 digits, a point, and up to 324 zeros and 17 digits behind it
    auto end =
        std::to_chars(text.data(), text.data() + text.size(), inValue, std::chars_format::fixed)
            .ptr;
    const auto point = std::find(text.data(), end, '.');
    if (point != end && end - point - 1 > std::max(inMaxDecimals, 0))
    {
        end = std::to_chars(text.data(), text.data() + text.size(), inValue,
                            std::chars_format::fixed, std::max(inMaxDecimals, 0))
                  .ptr;
        if (std::find(text.data(), end, '.') != end)
        {
            while (end[-1] == '0')
                --end;
            if (end[-1] == '.')
                --end;
        }
    }
    const UTF16String printed =
        AsciiToUTF16(text.data(), static_cast<std::size_t>(end - text.data()));
    return printed == u"-0" ? UTF16String(u"0") : printed;
}

double StringToNumber(const UTF16String& inText, std::uint32_t inFlags)
{
    std::size_t begin = 0;
    const std::string text = AsciiStart(inText, true, begin);
    const char* first = text.data();
    const char* const last = first + text.size();
    if (first != last && *first == '+' && last - first > 1 && first[1] != '-')
        ++first;
    double value = 0;
    const auto result = std::from_chars(first, last, value);
    if (result.ec == std::errc::invalid_argument || !std::isfinite(value))
        return 0;
    const std::size_t end = begin + static_cast<std::size_t>(result.ptr - text.data());
    const bool whole =
        std::all_of(inText.begin() + static_cast<std::ptrdiff_t>(end), inText.end(), IsBlank);
    if ((inFlags & kStringToNumber_WholeText) && !whole)
        return 0;
    if (result.ec == std::errc::result_out_of_range)
    {
        // from_chars leaves the value; a negative exponent means that it was too small.
        const bool small = std::find(first, result.ptr, '-') > first &&
                           std::string(first, result.ptr).find("e-") != std::string::npos;
        if (small)
            return 0;
        return *first == '-' ? -std::numeric_limits<double>::max()
                             : std::numeric_limits<double>::max();
    }
    return value;
}

UTF16String NumberToMemoryString(std::uint64_t inBytes, int inDecimals, bool inLongUnits)
{
    struct Unit
    {
        const char* shortName;
        const char* longName;
    };
    constexpr std::array<Unit, 7> kUnits = {{{" bytes", " bytes"},
                                             {" KB", " kilobytes"},
                                             {" MB", " megabytes"},
                                             {" GB", " gigabytes"},
                                             {" TB", " terabytes"},
                                             {" PB", " petabytes"},
                                             {" EB", " exabytes"}}};
    double value = static_cast<double>(inBytes);
    std::size_t unit = 0;
    while (value >= 1024 && unit + 1 < kUnits.size())
    {
        value /= 1024;
        ++unit;
    }
    std::array<char, 64> text;
    const int decimals = unit == 0 ? 0 : std::clamp(inDecimals, 0, 20);
    const char* const end = std::to_chars(text.data(), text.data() + text.size(), value,
                                          std::chars_format::fixed, decimals)
                                .ptr;
    return AsciiToUTF16(text.data(), static_cast<std::size_t>(end - text.data())) +
           AsciiToUTF16(inLongUnits ? kUnits[unit].longName : kUnits[unit].shortName);
}

int Coercion<int>::Result(const UTF16String& inText)
{
    return ParseInteger<int>(inText);
}

long long Coercion<long long>::Result(const UTF16String& inText)
{
    return ParseInteger<long long>(inText);
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
        ioText = replaced.append(ioText, begin);
    return count;
}

} // namespace utility
} // namespace qelcore
