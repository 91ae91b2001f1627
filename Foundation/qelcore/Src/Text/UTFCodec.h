#pragma once

#include <cstddef>
#include <cstring>

#include "qelcore/TextConversion.h"

// One code point at a time, between bytes and 16-bit units; and runs of ASCII, many at a time.

namespace qelcore
{
namespace utility
{

constexpr char32_t kReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(char16_t inUnit) noexcept
{
    return (inUnit & 0xFC00) == 0xD800;
}

constexpr bool IsLowSurrogate(char16_t inUnit) noexcept
{
    return (inUnit & 0xFC00) == 0xDC00;
}

constexpr char32_t JoinSurrogates(char16_t inHigh, char16_t inLow) noexcept
{
    return 0x10000 + ((inHigh & 0x3FFu) << 10) + (inLow & 0x3FFu);
}

struct DecodedUTF8
{
    char32_t codePoint;
    std::size_t length; // bytes consumed; of a malformed sequence, those that began well
    ConversionErrorCode error;
};

inline DecodedUTF8 MalformedUTF8(std::size_t inLength, ConversionErrorCode inError) noexcept
{
    return {0, inLength, inError};
}

/// What is wrong with a second byte that continues, if anything: it alone decides on overlong forms,
/// surrogates, and the end of Unicode.
inline ConversionErrorCode JudgeSecondByte(unsigned char inLead, unsigned char inSecond) noexcept
{
    if ((inLead == 0xE0 && inSecond < 0xA0) || (inLead == 0xF0 && inSecond < 0x90))
        return ConversionErrorCode::kInvalidByte;
    if (inLead == 0xED && inSecond >= 0xA0)
        return ConversionErrorCode::kSurrogate;
    if (inLead == 0xF4 && inSecond >= 0x90)
        return ConversionErrorCode::kOutOfRange;
    return ConversionErrorCode::kNone;
}

/// Decodes the sequence that begins with a byte of 0x80 or more. @param inLength  at least 1.
inline DecodedUTF8 DecodeUTF8(const unsigned char* inText, std::size_t inLength) noexcept
{
    const unsigned char lead = inText[0];
    if (lead < 0xC2 || lead > 0xF7)
        return MalformedUTF8(1, ConversionErrorCode::kInvalidByte);
    if (lead > 0xF4)
        return MalformedUTF8(1, ConversionErrorCode::kOutOfRange);
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t codePoint = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i)
    {
        if (i == inLength)
            return MalformedUTF8(i, ConversionErrorCode::kTruncated);
        if ((inText[i] & 0xC0) != 0x80)
            return MalformedUTF8(i, ConversionErrorCode::kInvalidByte);
        const ConversionErrorCode error =
            i == 1 ? JudgeSecondByte(lead, inText[1]) : ConversionErrorCode::kNone;
        if (error != ConversionErrorCode::kNone)
            return MalformedUTF8(1, error);
        codePoint = (codePoint << 6) | (inText[i] & 0x3Fu);
    }
    return {codePoint, length, ConversionErrorCode::kNone};
}

/// Writes one or two units. @return the place behind them.
inline char16_t* PutUTF16(char16_t* outText, char32_t inCodePoint) noexcept
{
    if (inCodePoint < 0x10000)
    {
        *outText++ = static_cast<char16_t>(inCodePoint);
        return outText;
    }
    *outText++ = static_cast<char16_t>(0xD7C0 + (inCodePoint >> 10));
    *outText++ = static_cast<char16_t>(0xDC00 + (inCodePoint & 0x3FF));
    return outText;
}

/// Writes one to four bytes by the pattern of UTF-8, for surrogates too. @return the place behind them.
template <class Byte>
Byte* PutUTF8(Byte* outText, char32_t inCodePoint) noexcept
{
    const auto put = [&outText](char32_t inByte) { *outText++ = static_cast<Byte>(inByte); };
    if (inCodePoint < 0x80)
    {
        put(inCodePoint);
        return outText;
    }
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
    return outText;
}

constexpr std::size_t kAsciiBlock = 16; // units; two registers of 128 bits on the wider side

/// Copies the ASCII that inText begins with, to units of another width.
/// @return how many units there were. Room for inLength must be at outText.
template <class Out, class In>
std::size_t CopyAscii(const In* inText, std::size_t inLength, Out* outText) noexcept
{
    std::size_t done = 0;
    // Copies of a fixed size, so that the compiler keeps both arrays in vector registers.
    for (In block[kAsciiBlock]; inLength - done >= kAsciiBlock; done += kAsciiBlock)
    {
        std::memcpy(block, inText + done, sizeof block);
        In all = 0;
        Out copy[kAsciiBlock];
        for (std::size_t i = 0; i < kAsciiBlock; ++i)
        {
            all = static_cast<In>(all | block[i]);
            copy[i] = static_cast<Out>(block[i]);
        }
        if (all >= 0x80)
            break;
        std::memcpy(outText + done, copy, sizeof copy);
    }
    for (; done < inLength && inText[done] < 0x80; ++done)
        outText[done] = static_cast<Out>(inText[done]);
    return done;
}

template <class In>
bool IsAscii(const In* inText, std::size_t inLength) noexcept
{
    std::size_t done = 0;
    for (In block[kAsciiBlock]; inLength - done >= kAsciiBlock; done += kAsciiBlock)
    {
        std::memcpy(block, inText + done, sizeof block);
        In all = 0;
        for (const In unit : block)
            all = static_cast<In>(all | unit);
        if (all >= 0x80)
            return false;
    }
    In all = 0;
    for (; done < inLength; ++done)
        all = static_cast<In>(all | inText[done]);
    return all < 0x80;
}

} // namespace utility
} // namespace qelcore
