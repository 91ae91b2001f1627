#include "Text.h"

#include <algorithm>
#include <charconv>
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

std::string Printable(const std::string& inText)
{
    std::string text;
    for (const char character : inText)
    {
        const auto byte = static_cast<unsigned char>(character);
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
        if (byte < 0x20 || byte == 0x7f || byte == '\\')
            text += escaped;
        else
            text += character;
    }
    return text;
}

std::string FromPrintable(const std::string& inText)
{
    std::string bytes;
    for (std::size_t at = 0; at < inText.size(); ++at)
    {
        unsigned byte = 0;
        const char* const digits = inText.c_str() + at + 2;
        const bool isEscaped = inText.compare(at, 2, "\\x") == 0 && inText.size() - at >= 4 &&
                               std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
        bytes += isEscaped ? static_cast<char>(byte) : inText[at];
        at += isEscaped ? 3 : 0;
    }
    return bytes;
}

std::string Columns(const std::vector<std::vector<std::string>>& inRows)
{
    std::vector<std::size_t> widths;
    for (const auto& row : inRows)
    {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text;
    for (const auto& row : inRows)
    {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
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
