#include "qelcore/CaseFolding.h"

#include <algorithm>
#include <iterator>

#include "CaseFoldingTable.h"
#include "UTFCodec.h"

namespace qelcore
{
namespace utility
{
namespace
{

char32_t FoldCase(char32_t inCodePoint) noexcept
{
    if (inCodePoint < 0x80)
        return inCodePoint - U'A' < 26 ? inCodePoint + (U'a' - U'A') : inCodePoint;
    const auto run =
        std::lower_bound(std::begin(kCaseRuns), std::end(kCaseRuns), inCodePoint,
                         [](const CaseRun& inRun, char32_t c) { return inRun.last < c; });
    if (run == std::end(kCaseRuns) || inCodePoint < run->first ||
        (inCodePoint - run->first) % run->stride != 0)
        return inCodePoint;
    return static_cast<char32_t>(static_cast<std::int32_t>(inCodePoint) + run->delta);
}

char16_t ToAsciiDigit(char16_t inUnit) noexcept
{
    const auto behind = std::upper_bound(std::begin(kDigitZeros), std::end(kDigitZeros), inUnit);
    if (behind == std::begin(kDigitZeros))
        return inUnit;
    const int value = inUnit - behind[-1];
    return value < 10 ? static_cast<char16_t>(u'0' + value) : inUnit;
}

/// The code point that the text has at inPlace: a joined pair, or one unit, a lone surrogate included.
char32_t CodePointAt(const UTF16String& inText, std::size_t inPlace) noexcept
{
    const char16_t unit = inText[inPlace];
    // The string ends with U+0000, which is no surrogate.
    const bool pair = IsHighSurrogate(unit) && IsLowSurrogate(inText.c_str()[inPlace + 1]);
    return pair ? JoinSurrogates(unit, inText[inPlace + 1]) : unit;
}

} // namespace

char16_t ToNumericCase(char16_t inUnit)
{
    if (inUnit < 0x80)
        return static_cast<char16_t>(FoldCase(inUnit));
    const char16_t digit = ToAsciiDigit(inUnit);
    return digit != inUnit ? digit : static_cast<char16_t>(FoldCase(inUnit));
}

UTF16String ToNumericCase(const UTF16String& inText)
{
    UTF16String text = inText;
    for (std::size_t i = 0; i < text.size();)
    {
        const char32_t codePoint = CodePointAt(text, i);
        if (codePoint < 0x10000)
            text[i++] = ToNumericCase(static_cast<char16_t>(codePoint));
        else
            i = static_cast<std::size_t>(PutUTF16(&text[i], FoldCase(codePoint)) - text.data());
    }
    return text;
}

bool CaseInsensitive::StringEquals(const UTF16String& a, const UTF16String& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size();)
    {
        const char32_t codePoint = CodePointAt(a, i);
        if (FoldCase(codePoint) != FoldCase(CodePointAt(b, i)))
            return false;
        i += codePoint < 0x10000 ? 1
                                 : 2; // folding keeps the number of units, so b moves the same way
    }
    return true;
}

} // namespace utility
} // namespace qelcore
