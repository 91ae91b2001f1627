#include <string>

#include "qelcore/ErrorManager.h"
#include "qelcore/NumberText.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace config
{

Error::Error(int inLevel, const std::string& inKey, const UTF16String& inText)
    : std::runtime_error(utility::UTF16ToNarrow(inText))
    , mLevel(inLevel)
    , mKey(inKey)
    , mText(inText)
{
}

Error::Error(const Error&) = default;
Error& Error::operator=(const Error&) = default;
Error::~Error() = default;

int Error::Level() const noexcept
{
    return mLevel;
}

const std::string& Error::Key() const noexcept
{
    return mKey;
}

const UTF16String& Error::Text() const noexcept
{
    return mText;
}

ReplacementValue::ReplacementValue(const UTF16String& inText)
    : mText(inText)
{
}

ReplacementValue::ReplacementValue(const char16_t* inText)
    : mText(inText)
{
}

ReplacementValue::ReplacementValue(const char* inText)
    : mText(utility::NarrowToUTF16(inText))
{
}

ReplacementValue::ReplacementValue(const std::string& inText)
    : mText(utility::NarrowToUTF16(inText))
{
}

ReplacementValue::ReplacementValue(int inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(unsigned inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(long inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(unsigned long inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(long long inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(unsigned long long inNumber)
    : ReplacementValue(std::to_string(inNumber))
{
}

ReplacementValue::ReplacementValue(double inNumber)
    : mText(utility::NumberToString(inNumber))
{
}

UTF16String ReplacePlaceholders(const UTF16String& inText, const ReplacementValues& inValues)
{
    UTF16String text;
    for (std::size_t at = 0; at < inText.size(); ++at)
    {
        const bool digitFollows =
            at + 1 < inText.size() && inText[at + 1] >= u'0' && inText[at + 1] <= u'9';
        const std::size_t index = digitFollows ? std::size_t(inText[at + 1] - u'0') : 0;
        if (inText[at] != u'@' || !digitFollows || index >= inValues.size())
        {
            text += inText[at];
            continue;
        }
        text += inValues[index].Text();
        ++at; // the digit
    }
    return text;
}

} // namespace config
} // namespace qelcore
