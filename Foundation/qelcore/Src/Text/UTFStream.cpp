#include "qelcore/UTFStream.h"

#include <array>
#include <charconv>
#include <cstring>

#include "qelcore/TextConversion.h"

namespace qelcore
{

namespace
{

template <class T>
UTF16String Print(T inNumber)
{
    std::array<char, 64> text;
    const char* const end = std::to_chars(text.data(), text.data() + text.size(), inNumber).ptr;
    return utility::AsciiToUTF16(text.data(), static_cast<std::size_t>(end - text.data()));
}

} // namespace

UTF16OutputStream::~UTF16OutputStream() = default;

UTF16OutputStream& UTF16OutputStream::operator<<(const UTF16String& inText)
{
    Write(inText.data(), inText.size());
    return *this;
}
UTF16OutputStream& UTF16OutputStream::operator<<(const char* inASCII)
{
    return *this << utility::AsciiToUTF16(inASCII);
}
UTF16OutputStream& UTF16OutputStream::operator<<(const char16_t* inText)
{
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
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(unsigned inNumber)
{
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(long inNumber)
{
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(unsigned long inNumber)
{
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(long long inNumber)
{
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(unsigned long long inNumber)
{
    return *this << Print(inNumber);
}
UTF16OutputStream& UTF16OutputStream::operator<<(double inNumber)
{
    return *this << Print(inNumber);
}

void oUTF16StringStream::Write(const char16_t* inText, std::size_t inLength)
{
    mText.append(inText, inLength);
}

} // namespace qelcore
