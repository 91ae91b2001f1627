#include "StringTable.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace config
{
namespace
{

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kKeyPrefix = "$$$/";

bool IsBlank(char inByte)
{
    return inByte == ' ' || inByte == '\t';
}

std::optional<unsigned> HexDigit(char inByte)
{
    if (inByte >= '0' && inByte <= '9')
        return inByte - '0';
    if (inByte >= 'a' && inByte <= 'f')
        return inByte - 'a' + 10;
    if (inByte >= 'A' && inByte <= 'F')
        return inByte - 'A' + 10;
    return std::nullopt;
}

// Reads one line from its start to its end. After a failure mMessage says what was wrong.
class LineReader
{
public:
    explicit LineReader(std::string_view inLine)
        : mRest(inLine)
    {
    }

    bool ReadEntry(UTF16String& outKey, UTF16String& outText)
    {
        if (!ReadQuoted(outKey))
            return false;
        SkipBlanks();
        if (!Take('='))
            return Fail("there is no \"=\" behind the key");
        if (!ReadQuoted(outText))
            return false;
        SkipBlanks();
        return mRest.empty() || Fail("something stands behind the text");
    }

    const char* Message() const { return mMessage; }

private:
    bool Fail(const char* inMessage)
    {
        mMessage = inMessage;
        return false;
    }

    void SkipBlanks()
    {
        while (!mRest.empty() && IsBlank(mRest.front()))
            mRest.remove_prefix(1);
    }

    bool Take(char inByte)
    {
        if (mRest.empty() || mRest.front() != inByte)
            return false;
        mRest.remove_prefix(1);
        return true;
    }

    bool ReadQuoted(UTF16String& outText)
    {
        SkipBlanks();
        if (!Take('"'))
            return Fail("a quotation mark is missing");
        while (!Take('"'))
        {
            if (mRest.empty())
                return Fail("the closing quotation mark is missing");
            if (!(Take('\\') ? ReadEscape(outText) : ReadPlain(outText)))
                return false;
        }
        return true;
    }

    bool ReadPlain(UTF16String& outText)
    {
        const std::size_t size = std::min(mRest.find_first_of("\"\\"), mRest.size());
        const std::string_view plain = mRest.substr(0, size);
        for (const char byte : plain)
            if (static_cast<unsigned char>(byte) < 0x20 && byte != '\t')
                return Fail("a control character that is not escaped");
        utility::ConversionError error;
        outText += utility::UTF8to16(plain.data(), plain.size(), &error);
        if (error.code != utility::ConversionErrorCode::kNone)
            return Fail("it is not UTF-8");
        mRest.remove_prefix(size);
        return true;
    }

    bool ReadEscape(UTF16String& outText)
    {
        constexpr std::string_view kLetters = "\"\\nrt";
        constexpr std::u16string_view kMeanings = u"\"\\\n\r\t";
        if (Take('u'))
            return ReadUnit(outText);
        const std::size_t letter = mRest.empty() ? kLetters.npos : kLetters.find(mRest.front());
        if (letter == kLetters.npos)
            return Fail("an escape that means nothing");
        mRest.remove_prefix(1);
        outText += kMeanings[letter];
        return true;
    }

    bool ReadUnit(UTF16String& outText)
    {
        unsigned unit = 0;
        for (int digit = 0; digit < 4; ++digit)
        {
            const std::optional<unsigned> value =
                mRest.empty() ? std::nullopt : HexDigit(mRest.front());
            if (!value)
                return Fail("\\u without four hexadecimal digits");
            unit = unit * 16 + *value;
            mRest.remove_prefix(1);
        }
        outText += static_cast<char16_t>(unit);
        return true;
    }

    std::string_view mRest;
    const char* mMessage = "";
};

bool HasUnpairedSurrogate(const UTF16String& inText)
{
    utility::ConversionError error;
    utility::UTF16to8(inText, &error);
    return error.code != utility::ConversionErrorCode::kNone;
}

// @return what is wrong with the line, or null.
const char* ReadLine(std::string_view inLine, StringTable& ioTable)
{
    LineReader reader(inLine);
    UTF16String key;
    UTF16String text;
    if (!reader.ReadEntry(key, text))
        return reader.Message();
    if (HasUnpairedSurrogate(key) || HasUnpairedSurrogate(text))
        return "half of a surrogate pair";
    std::string narrowKey = utility::UTF16ToNarrow(key);
    if (narrowKey.compare(0, kKeyPrefix.size(), kKeyPrefix) != 0)
        return "the key does not begin with \"$$$/\"";
    if (narrowKey.find('=') != std::string::npos)
        return "the key holds a \"=\"";
    if (!ioTable.emplace(std::move(narrowKey), std::move(text)).second)
        return "the key stands in the table twice";
    return nullptr;
}

bool IsPassedOver(std::string_view inLine)
{
    return inLine.find_first_not_of(" \t") == std::string_view::npos || inLine.front() == '#';
}

} // namespace

bool ParseStringTable(std::string_view inBytes, StringTable& outTable, StringTableError& outError)
{
    outTable.clear();
    outError = {};
    if (inBytes.size() > kMaxStringTableBytes)
    {
        outError.message = "the table is too large";
        return false;
    }
    if (inBytes.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        inBytes.remove_prefix(kByteOrderMark.size());
    for (std::size_t number = 1; !inBytes.empty(); ++number)
    {
        const std::size_t end = std::min(inBytes.find('\n'), inBytes.size());
        std::string_view line = inBytes.substr(0, end);
        inBytes.remove_prefix(std::min(end + 1, inBytes.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const char* const message = IsPassedOver(line) ? nullptr : ReadLine(line, outTable);
        if (!message)
            continue;
        outTable.clear();
        outError = {number, message};
        return false;
    }
    return true;
}

} // namespace config
} // namespace qelcore
