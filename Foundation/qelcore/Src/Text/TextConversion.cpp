#include "qelcore/TextConversion.h"

#include "UTFCodec.h"

namespace qelcore
{
namespace utility
{
namespace
{

constexpr char16_t kEscapedByte = 0xDC00; // a byte b of no sound sequence is the unit 0xDC00 + b

void Note(ConversionError* ioError, ConversionErrorCode inCode, std::size_t inPosition)
{
    if (ioError && ioError->code == ConversionErrorCode::kNone)
        *ioError = {inCode, inPosition};
}

/// Cuts off what was reserved for the worst case, and gives it back where that is most of it.
template <class String>
void TrimTo(String& ioText, std::size_t inLength)
{
    constexpr std::size_t kWorthACopy =
        64; // units; what is smaller comes from a pool of small blocks
    const bool wasteful = ioText.size() > kWorthACopy && inLength < ioText.size() / 2;
    ioText.resize(inLength);
    if (wasteful)
        ioText.shrink_to_fit();
}

/// onBad(place, bad, position) writes what stands for a malformed sequence, at most as many units
/// as it has bytes, and returns the place behind.
template <class OnBad>
UTF16String Decode(const char* inText, std::size_t inLength, const OnBad& onBad)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(inText);
    UTF16String text(inLength, u'\0'); // no sequence has fewer bytes than units
    char16_t* place = text.data();
    for (std::size_t i = 0; i < inLength;)
    {
        if (bytes[i] < 0x80)
        {
            const std::size_t ascii = CopyAscii(bytes + i, inLength - i, place);
            place += ascii;
            i += ascii;
            continue;
        }
        char32_t codePoint = 0;
        if (const std::size_t length = DecodeUTF8(bytes + i, inLength - i, codePoint))
        {
            place = PutUTF16(place, codePoint);
            i += length;
            continue;
        }
        const MalformedUTF8 bad = DiagnoseUTF8(bytes + i, inLength - i);
        place = onBad(place, bad, i);
        i += bad.length;
    }
    TrimTo(text, static_cast<std::size_t>(place - text.data()));
    return text;
}

template <std::size_t kUnits>
std::size_t CountBytesBeyondOne(const char16_t* inUnits)
{
    std::uint16_t count = 0; // as wide as the units, so that the compiler counts them side by side
    for (std::size_t i = 0; i < kUnits; ++i)
        count = static_cast<std::uint16_t>(count + (inUnits[i] >= 0x80) + (inUnits[i] >= 0x800));
    return count;
}

/// @return the bytes that the text becomes; more where it has pairs of surrogates, which are counted
///         as three bytes a unit.
std::size_t EncodedLengthLimit(const UTF16String& inText)
{
    std::size_t length = inText.size();
    std::size_t i = 0;
    for (; inText.size() - i >= kAsciiBlock; i += kAsciiBlock)
        length += CountBytesBeyondOne<kAsciiBlock>(inText.data() + i);
    for (; i < inText.size(); ++i)
        length += CountBytesBeyondOne<1>(inText.data() + i);
    return length;
}

/// onBad(place, unit, position) writes what stands for an unpaired surrogate, three bytes at most, and
/// returns the place behind.
template <class String, class OnBad>
String Encode(const UTF16String& inText, const OnBad& onBad)
{
    using Byte = typename String::value_type;
    String text(EncodedLengthLimit(inText), Byte{0});
    Byte* place = text.data();
    const std::size_t length = inText.size();
    for (std::size_t i = 0; i < length;)
    {
        const char16_t unit = inText[i];
        if (unit < 0x80)
        {
            const std::size_t ascii = CopyAscii(inText.data() + i, length - i, place);
            place += ascii;
            i += ascii;
            continue;
        }
        if (IsHighSurrogate(unit) && i + 1 < length && IsLowSurrogate(inText[i + 1]))
        {
            place = PutUTF8(place, JoinSurrogates(unit, inText[i + 1]));
            i += 2;
            continue;
        }
        const bool unpaired = IsHighSurrogate(unit) || IsLowSurrogate(unit);
        place = unpaired ? onBad(place, unit, i) : PutUTF8(place, unit);
        ++i;
    }
    TrimTo(text, static_cast<std::size_t>(place - text.data()));
    return text;
}

template <class String>
String EncodeStrictly(const UTF16String& inText, ConversionError* outError)
{
    using Byte = typename String::value_type;
    if (outError)
        *outError = ConversionError();
    return Encode<String>(inText,
                          [outError](Byte* outPlace, char16_t, std::size_t inPosition)
                          {
                              Note(outError, ConversionErrorCode::kSurrogate, inPosition);
                              return PutUTF8(outPlace, kReplacementCharacter);
                          });
}

} // namespace

UTF16String AsciiToUTF16(const char* inText, std::size_t inLength)
{
    if (!inText)
        return UTF16String();
    const auto* bytes = reinterpret_cast<const unsigned char*>(inText);
    UTF16String text(inLength, u'\0');
    std::size_t done = CopyAscii(bytes, inLength, text.data());
    for (; done < inLength; ++done)
        text[done] = bytes[done];
    return text;
}

UTF16String AsciiToUTF16(const char* inText)
{
    return AsciiToUTF16(inText, inText ? std::strlen(inText) : 0);
}

UTF16String UTF8to16(const char* inText, std::size_t inLength, ConversionError* outError)
{
    if (outError)
        *outError = ConversionError();
    return Decode(inText, inLength,
                  [outError](char16_t* outPlace, const MalformedUTF8& inBad, std::size_t inPosition)
                  {
                      Note(outError, inBad.error, inPosition);
                      return PutUTF16(outPlace, kReplacementCharacter);
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
                  [inBytes](char16_t* outPlace, const MalformedUTF8& inBad, std::size_t inPosition)
                  {
                      for (const char byte : inBytes.substr(inPosition, inBad.length))
                          *outPlace++ = static_cast<char16_t>(kEscapedByte +
                                                              static_cast<unsigned char>(byte));
                      return outPlace;
                  });
}

std::string UTF16ToFileName(const UTF16String& inName)
{
    return Encode<std::string>(inName,
                               [](char* outPlace, char16_t inUnit, std::size_t)
                               {
                                   if (inUnit < kEscapedByte + 0x80 || inUnit > kEscapedByte + 0xFF)
                                       return PutUTF8(outPlace, inUnit);
                                   *outPlace++ = static_cast<char>(inUnit - kEscapedByte);
                                   return outPlace;
                               });
}

} // namespace utility
} // namespace qelcore
