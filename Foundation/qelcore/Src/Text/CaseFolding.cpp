#include "qelcore/CaseFolding.h"

#include <algorithm>

namespace qelcore
{
namespace utility
{

char16_t ToNumericCase(char16_t inUnit)
{
    if (inUnit >= u'A' && inUnit <= u'Z')
        return static_cast<char16_t>(inUnit + 32);
    if (inUnit >= 0xFF10 && inUnit <= 0xFF19)
        return static_cast<char16_t>(inUnit - 0xFF10 + u'0');
    return inUnit;
}

UTF16String ToNumericCase(const UTF16String& inText)
{
    UTF16String text = inText;
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char16_t inUnit) { return ToNumericCase(inUnit); });
    return text;
}

bool CaseInsensitive::StringEquals(const UTF16String& a, const UTF16String& b)
{
    return ToNumericCase(a) == ToNumericCase(b);
}

} // namespace utility
} // namespace qelcore
