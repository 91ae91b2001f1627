#include "Text.h"

#include <cstdio>

#include "qelcore/NumberText.h"
#include "qelcore/TextConversion.h"

namespace RKHost
{

qelcore::UTF16String ToLibraryPath(const std::string& inPath)
{
    return qelcore::utility::FileNameToUTF16(inPath);
}

std::string FromLibraryPath(const qelcore::UTF16String& inPath)
{
    return qelcore::utility::UTF16ToFileName(inPath);
}

qelcore::UTF16String ToLibraryText(const std::string& inText)
{
    return qelcore::utility::NarrowToUTF16(inText);
}

std::string FromLibraryText(const qelcore::UTF16String& inText)
{
    return qelcore::utility::UTF16ToNarrow(inText);
}

std::string MemoryText(std::uint64_t inBytes)
{
    return FromLibraryText(qelcore::utility::NumberToMemoryString(inBytes, 2, false));
}

std::string NumberText(double inValue, int inDecimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", inDecimals, inValue);
    return text;
}

} // namespace RKHost
