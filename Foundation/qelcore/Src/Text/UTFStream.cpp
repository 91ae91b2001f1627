#include "qelcore/UTFStream.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "NumberScan.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace
{

// 24 characters at most: the sign, 17 digits, the point and the exponent of a double.
class PrintedNumber
{
public:
    template <class T>
    explicit PrintedNumber(T inNumber)
    {
        std::array<char, 32> text;
        const char* const end = std::to_chars(text.data(), text.data() + text.size(), inNumber).ptr;
        mLength = static_cast<std::size_t>(end - text.data());
        std::copy(text.begin(), text.begin() + mLength, mText.begin());
    }
    const char16_t* Text() const { return mText.data(); }
    std::size_t Length() const { return mLength; }

private:
    std::array<char16_t, 32> mText;
    std::size_t mLength;
};

} // namespace

UTF16OutputStream::~UTF16OutputStream() = default;
oUTF16StringStream::~oUTF16StringStream() = default;
UTF16InputStream::~UTF16InputStream() = default;
iUTF16StringStream::~iUTF16StringStream() = default;
UTF16StringStream::~UTF16StringStream() = default;

UTF16OutputStream& UTF16OutputStream::operator<<(const UTF16String& inText)
{
    Write(inText.data(), inText.size());
    return *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(const char* inUTF8)
{
    return inUTF8 ? *this << std::string_view(inUTF8) : *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(std::string_view inUTF8)
{
    return *this << utility::NarrowToUTF16(inUTF8);
}

UTF16OutputStream& UTF16OutputStream::operator<<(const UTF8String& inText)
{
    return *this << utility::UTF8to16(inText);
}

UTF16OutputStream& UTF16OutputStream::operator<<(const char16_t* inText)
{
    if (inText)
        Write(inText, std::char_traits<char16_t>::length(inText));
    return *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(char inCharacter)
{
    return *this << static_cast<char16_t>(static_cast<unsigned char>(inCharacter));
}

UTF16OutputStream& UTF16OutputStream::operator<<(char16_t inUnit)
{
    Write(&inUnit, 1);
    return *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(int inNumber)
{
    return *this << static_cast<long long>(inNumber);
}

UTF16OutputStream& UTF16OutputStream::operator<<(unsigned inNumber)
{
    return *this << static_cast<unsigned long long>(inNumber);
}

UTF16OutputStream& UTF16OutputStream::operator<<(long inNumber)
{
    return *this << static_cast<long long>(inNumber);
}

UTF16OutputStream& UTF16OutputStream::operator<<(unsigned long inNumber)
{
    return *this << static_cast<unsigned long long>(inNumber);
}

UTF16OutputStream& UTF16OutputStream::operator<<(long long inNumber)
{
    const PrintedNumber printed(inNumber);
    Write(printed.Text(), printed.Length());
    return *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(unsigned long long inNumber)
{
    const PrintedNumber printed(inNumber);
    Write(printed.Text(), printed.Length());
    return *this;
}

UTF16OutputStream& UTF16OutputStream::operator<<(double inNumber)
{
    const PrintedNumber printed(inNumber);
    Write(printed.Text(), printed.Length());
    return *this;
}

void oUTF16StringStream::Write(const char16_t* inText, std::size_t inLength)
{
    mText.append(inText, inLength);
}

std::u16string_view UTF16InputStream::Rest() const noexcept
{
    const std::u16string_view text = Text();
    return text.substr(std::min(mPosition, text.size()));
}

std::u16string_view UTF16InputStream::SkipBlanks() const noexcept
{
    const std::u16string_view rest = Rest();
    return rest.substr(CountBlanks(rest));
}

/// Moves the position behind inRead, a part of the text.
void UTF16InputStream::Pass(std::u16string_view inRead) noexcept
{
    mPosition = static_cast<std::size_t>(inRead.data() + inRead.size() - Text().data());
}

void UTF16InputStream::Rewind() noexcept
{
    mPosition = 0;
    mFailed = false;
}

UTF16InputStream& UTF16InputStream::operator>>(UTF16String& outWord)
{
    const std::u16string_view rest = SkipBlanks();
    const auto end = std::find_if(rest.begin(), rest.end(), IsBlank);
    const std::u16string_view word = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    mFailed = mFailed || word.empty();
    if (mFailed)
        return *this;
    Pass(word);
    outWord = word;
    return *this;
}

UTF16InputStream& UTF16InputStream::operator>>(char16_t& outUnit)
{
    const std::u16string_view unit = SkipBlanks().substr(0, 1);
    mFailed = mFailed || unit.empty();
    if (mFailed)
        return *this;
    outUnit = unit.front();
    Pass(unit);
    return *this;
}

template <class T>
UTF16InputStream& UTF16InputStream::ReadNumber(T& outNumber)
{
    if (mFailed)
        return *this;
    const std::u16string_view rest = SkipBlanks();
    const ScannedNumber<T> number = ScanNumber<T>(rest);
    mFailed = !number.IsRead();
    if (mFailed)
        return *this;
    outNumber = number.value;
    Pass(rest.substr(0, number.length));
    return *this;
}

UTF16InputStream& UTF16InputStream::operator>>(int& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(unsigned& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(long& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(unsigned long& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(long long& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(unsigned long long& outNumber)
{
    return ReadNumber(outNumber);
}

UTF16InputStream& UTF16InputStream::operator>>(double& outNumber)
{
    return ReadNumber(outNumber);
}

bool UTF16InputStream::GetLine(UTF16String& outLine, char16_t inDelimiter)
{
    const std::u16string_view rest = Rest();
    mFailed = mFailed || rest.empty();
    if (mFailed)
        return false;
    const std::size_t length = std::min(rest.find(inDelimiter), rest.size());
    Pass(rest.substr(0, length + 1)); // substr stops at the end where there is no delimiter
    outLine = rest.substr(0, length);
    return true;
}

void iUTF16StringStream::str(const UTF16String& inText)
{
    mText = inText;
    Rewind();
}

void UTF16StringStream::str(const UTF16String& inText)
{
    mText = inText;
    Rewind();
}

} // namespace qelcore
