// Conversions: any bytes and any units convert; the strict conversion finds fault exactly with what does
// not come back; file names come back whatever they are.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qelcore/CaseFolding.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/TextConversion.h"

using namespace qelcore;
using namespace qelcore::utility;

namespace
{

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void CheckBytes(const std::string& inBytes)
{
    ConversionError error;
    const UTF16String text = NarrowToUTF16(inBytes, &error);
    Require(text.size() <= inBytes.size());
    ConversionError back;
    Require((UTF16ToNarrow(text, &back) == inBytes) == (error.code == ConversionErrorCode::kNone));
    Require(back.code == ConversionErrorCode::kNone);
    if (error.code != ConversionErrorCode::kNone)
    {
        Require(error.position < inBytes.size());
        NarrowToUTF16(inBytes.substr(0, error.position), &back);
        Require(back.code == ConversionErrorCode::kNone);
    }
    Require(UTF16ToFileName(FileNameToUTF16(inBytes)) == inBytes);
    Require(ImmutableString::CreateDynamic(inBytes.data(), inBytes.size()).ToString() == text);
}

void CheckUnits(const UTF16String& inText)
{
    ConversionError error;
    const UTF8String bytes = UTF16to8(inText, &error);
    ConversionError back;
    Require((UTF8to16(bytes, &back) == inText) == (error.code == ConversionErrorCode::kNone));
    Require(back.code == ConversionErrorCode::kNone);
    Require(error.code == ConversionErrorCode::kNone || error.position < inText.size());

    const std::string name = UTF16ToFileName(inText);
    Require(UTF16ToFileName(FileNameToUTF16(name)) == name);
    if (error.code == ConversionErrorCode::kNone)
        Require(FileNameToUTF16(name) == inText);
    std::size_t slashes = 0, slashBytes = 0;
    for (const char16_t unit : inText)
        slashes += unit == u'/' || unit == 0;
    for (const char byte : name)
        slashBytes += byte == '/' || byte == 0;
    Require(slashes == slashBytes);

    const UTF16String folded = ToNumericCase(inText);
    Require(folded.size() == inText.size());
    Require(ToNumericCase(folded) == folded);
    Require(CaseInsensitive::StringEquals(inText, inText));
    Require(ImmutableString::CreateDynamic(inText).ToString() == inText);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize)
{
    CheckBytes(std::string(reinterpret_cast<const char*>(inData), inSize));
    UTF16String text(inSize / 2, u'\0');
    if (!text.empty())
        std::memcpy(text.data(), inData, text.size() * sizeof(char16_t));
    CheckUnits(text);
    // The strings of all inputs would fill the memory.
    static unsigned sInputs = 0;
    if (++sInputs % 1000 == 0)
        ImmutableString::PurgeUnusedStrings();
    return 0;
}
