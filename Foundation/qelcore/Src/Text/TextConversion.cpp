#include "qelcore/TextConversion.h"

#include <cstring>

namespace qelcore
{
namespace utility
{
namespace
{

constexpr char32_t kReplacement = 0xFFFD;
constexpr char16_t kEscapedByte = 0xDC00; // a byte b of no valid sequence is the unit 0xDC00 + b

struct Decoded
{
    char32_t codePoint = 0;
    std::size_t length = 1; // bytes consumed; of a bad sequence, those that began well
    ConversionErrorCode error = ConversionErrorCode::kNone;
};

bool IsContinuation(unsigned char inByte)
{
    return (inByte & 0xC0) == 0x80;
}

/// Decodes the sequence that begins with a byte of 0x80 or more.
Decoded DecodeSequence(const unsigned char* inText, std::size_t inLength)
{
    const unsigned char lead = inText[0];
    if (lead < 0xC2)
        return {0, 1, ConversionErrorCode::kInvalidByte};
    if (lead > 0xF4)
        return {0, 1,
                lead < 0xF8 ? ConversionErrorCode::kOutOfRange : ConversionErrorCode::kInvalidByte};
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t codePoint = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i)
    {
        if (i == inLength)
            return {0, i, ConversionErrorCode::kTruncated};
        if (!IsContinuation(inText[i]))
            return {0, i, ConversionErrorCode::kInvalidByte};
        codePoint = (codePoint << 6) | (inText[i] & 0x3Fu);
        if (i != 1)
            continue;
        // What the second byte decides: overlong forms, surrogates, and the end of Unicode.
        if ((lead == 0xE0 && inText[1] < 0xA0) || (lead == 0xF0 && inText[1] < 0x90))
            return {0, 1, ConversionErrorCode::kInvalidByte};
        if (lead == 0xED && inText[1] >= 0xA0)
            return {0, 1, ConversionErrorCode::kSurrogate};
        if (lead == 0xF4 && inText[1] >= 0x90)
            return {0, 1, ConversionErrorCode::kOutOfRange};
    }
    return {codePoint, length, ConversionErrorCode::kNone};
}

void AppendUTF16(UTF16String& ioText, char32_t inCodePoint)
{
    if (inCodePoint < 0x10000)
    {
        ioText.push_back(static_cast<char16_t>(inCodePoint));
        return;
    }
    ioText.push_back(static_cast<char16_t>(0xD7C0 + (inCodePoint >> 10)));
    ioText.push_back(static_cast<char16_t>(0xDC00 + (inCodePoint & 0x3FF)));
}

template <class String>
void AppendUTF8(String& ioText, char32_t inCodePoint)
{
    using Unit = typename String::value_type;
    const auto put = [&ioText](char32_t inByte) { ioText.push_back(static_cast<Unit>(inByte)); };
    if (inCodePoint < 0x80)
        return put(inCodePoint);
    if (inCodePoint < 0x800)
    {
        put(0xC0 | (inCodePoint >> 6));
    }
    else
    {
        if (inCodePoint < 0x10000)
        {
            put(0xE0 | (inCodePoint >> 12));
        }
        else
        {
            put(0xF0 | (inCodePoint >> 18));
            put(0x80 | ((inCodePoint >> 12) & 0x3F));
        }
        put(0x80 | ((inCodePoint >> 6) & 0x3F));
    }
    put(0x80 | (inCodePoint & 0x3F));
}

void Note(ConversionError* outError, ConversionErrorCode inCode, std::size_t inPosition)
{
    if (outError && outError->code == ConversionErrorCode::kNone)
        *outError = {inCode, inPosition};
}

/// The units that ASCII begins with, eight bytes at a time.
std::size_t AsciiLength(const char* inText, std::size_t inLength)
{
    std::size_t i = 0;
    for (std::uint64_t word; i + sizeof word <= inLength; i += sizeof word)
    {
        std::memcpy(&word, inText + i, sizeof word);
        if (word & 0x8080808080808080u)
            break;
    }
    while (i < inLength && static_cast<unsigned char>(inText[i]) < 0x80)
        ++i;
    return i;
}

/// onBad(text, decoded, position) says what stands for a bad sequence.
template <class OnBad>
UTF16String Decode(const char* inText, std::size_t inLength, const OnBad& onBad)
{
    UTF16String text;
    text.reserve(inLength);
    for (std::size_t i = 0; i < inLength;)
    {
        const std::size_t ascii = AsciiLength(inText + i, inLength - i);
        const auto* bytes = reinterpret_cast<const unsigned char*>(inText + i);
        text.append(bytes, bytes + ascii);
        i += ascii;
        if (i == inLength)
            break;
        const Decoded decoded =
            DecodeSequence(reinterpret_cast<const unsigned char*>(inText + i), inLength - i);
        if (decoded.error == ConversionErrorCode::kNone)
            AppendUTF16(text, decoded.codePoint);
        else
            onBad(text, decoded, i);
        i += decoded.length;
    }
    return text;
}

/// onBad(text, unit, position) says what stands for an unpaired surrogate.
template <class String, class OnBad>
String Encode(const UTF16String& inText, const OnBad& onBad)
{
    String text;
    text.reserve(inText.size());
    for (std::size_t i = 0; i < inText.size(); ++i)
    {
        const char16_t unit = inText[i];
        if (unit < 0xD800 || unit > 0xDFFF)
        {
            AppendUTF8(text, unit);
        }
        else if (unit < 0xDC00 && i + 1 < inText.size() && (inText[i + 1] & 0xFC00) == 0xDC00)
        {
            ++i;
            AppendUTF8(text, 0x10000 + ((unit & 0x3FFu) << 10) + (inText[i] & 0x3FFu));
        }
        else
        {
            onBad(text, unit, i);
        }
    }
    return text;
}

template <class String>
String EncodeStrictly(const UTF16String& inText, ConversionError* outError)
{
    if (outError)
        *outError = ConversionError();
    return Encode<String>(inText,
                          [outError](String& ioText, char16_t, std::size_t inPosition)
                          {
                              AppendUTF8(ioText, kReplacement);
                              Note(outError, ConversionErrorCode::kSurrogate, inPosition);
                          });
}

} // namespace

UTF16String AsciiToUTF16(const char* inText, std::size_t inLength)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(inText);
    return UTF16String(bytes, bytes + inLength);
}

UTF16String AsciiToUTF16(const char* inText)
{
    return AsciiToUTF16(inText, std::strlen(inText));
}

UTF16String UTF8to16(const char* inText, std::size_t inLength, ConversionError* outError)
{
    if (outError)
        *outError = ConversionError();
    return Decode(inText, inLength,
                  [outError](UTF16String& ioText, const Decoded& inBad, std::size_t inPosition)
                  {
                      ioText.push_back(kReplacement);
                      Note(outError, inBad.error, inPosition);
                  });
}

UTF16String UTF8to16(const UTF8String& inText, ConversionError* outError)
{
    return UTF8to16(reinterpret_cast<const char*>(inText.data()), inText.size(), outError);
}

UTF8String UTF16to8(const UTF16String& inText, ConversionError* outError)
{
    return EncodeStrictly<UTF8String>(inText, outError);
}

std::string UTF16ToNarrow(const UTF16String& inText, ConversionError* outError)
{
    return EncodeStrictly<std::string>(inText, outError);
}

UTF16String NarrowToUTF16(std::string_view inText, ConversionError* outError)
{
    return UTF8to16(inText.data(), inText.size(), outError);
}

UTF16String FileNameToUTF16(std::string_view inBytes)
{
    return Decode(inBytes.data(), inBytes.size(),
                  [inBytes](UTF16String& ioText, const Decoded& inBad, std::size_t inPosition)
                  {
                      for (std::size_t i = 0; i < inBad.length; ++i)
                          ioText.push_back(static_cast<char16_t>(
                              kEscapedByte + static_cast<unsigned char>(inBytes[inPosition + i])));
                  });
}

std::string UTF16ToFileName(const UTF16String& inName)
{
    return Encode<std::string>(inName,
                               [](std::string& ioText, char16_t inUnit, std::size_t)
                               {
                                   if (inUnit >= kEscapedByte + 0x80 &&
                                       inUnit <= kEscapedByte + 0xFF)
                                       ioText.push_back(static_cast<char>(inUnit - kEscapedByte));
                                   else
                                       AppendUTF8(ioText, inUnit);
                               });
}

} // namespace utility
} // namespace qelcore
