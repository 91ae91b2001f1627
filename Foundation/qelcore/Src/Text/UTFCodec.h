#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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

constexpr bool IsContinuation(unsigned char inByte) noexcept
{
    return (inByte & 0xC0) == 0x80;
}

/// Decodes the sequence that begins with a byte of 0x80 or more. @param inLength  at least 1.
/// @return how many bytes it has; 0 if it is malformed.
inline std::size_t DecodeUTF8(const unsigned char* inText, std::size_t inLength,
                              char32_t& outCodePoint) noexcept
{
    const unsigned char lead = inText[0];
    if (lead < 0xE0)
    {
        if (lead < 0xC2 || inLength < 2 || !IsContinuation(inText[1]))
            return 0;
        outCodePoint = ((lead & 0x1Fu) << 6) | (inText[1] & 0x3Fu);
        return 2;
    }
    if (lead < 0xF0)
    {
        if (inLength < 3 || !IsContinuation(inText[1]) || !IsContinuation(inText[2]))
            return 0;
        const char32_t c =
            ((lead & 0x0Fu) << 12) | ((inText[1] & 0x3Fu) << 6) | (inText[2] & 0x3Fu);
        outCodePoint = c;
        return c < 0x800 || (c >= 0xD800 && c <= 0xDFFF) ? 0 : 3;
    }
    if (lead > 0xF4 || inLength < 4 || !IsContinuation(inText[1]) || !IsContinuation(inText[2]) ||
        !IsContinuation(inText[3]))
        return 0;
    const char32_t c = ((lead & 0x07u) << 18) | ((inText[1] & 0x3Fu) << 12) |
                       ((inText[2] & 0x3Fu) << 6) | (inText[3] & 0x3Fu);
    outCodePoint = c;
    return c < 0x10000 || c > 0x10FFFF ? 0 : 4;
}

struct MalformedUTF8
{
    std::size_t length; // bytes that could have begun a sound sequence; at least 1
    ConversionErrorCode error;
};

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

/// Tells what is wrong with a sequence that DecodeUTF8 refused.
inline MalformedUTF8 DiagnoseUTF8(const unsigned char* inText, std::size_t inLength) noexcept
{
    const unsigned char lead = inText[0];
    if (lead < 0xC2 || lead > 0xF7)
        return {1, ConversionErrorCode::kInvalidByte};
    if (lead > 0xF4)
        return {1, ConversionErrorCode::kOutOfRange};
    std::size_t i = 1;
    for (; i < inLength; ++i)
    {
        if (!IsContinuation(inText[i]))
            return {i, ConversionErrorCode::kInvalidByte};
        const ConversionErrorCode error =
            i == 1 ? JudgeSecondByte(lead, inText[1]) : ConversionErrorCode::kNone;
        if (error != ConversionErrorCode::kNone)
            return {1, error};
    }
    return {i, ConversionErrorCode::kTruncated};
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

// Blocks of a fixed size: the compiler keeps such arrays in vector registers.
constexpr std::size_t kAsciiBlock = 16; // units; two registers of 128 bits on the wider side
constexpr std::size_t kSmallAsciiBlock = 8;

/// How many of eight units are ASCII before the first that is none.
template <class In>
std::size_t CountAsciiOfEight(const In* inUnits) noexcept
{
    constexpr std::size_t kPerWord = sizeof(std::uint64_t) / sizeof(In);
    constexpr std::uint64_t kOthers =
        sizeof(In) == 1 ? 0x8080808080808080u : 0xFF80FF80FF80FF80u; // bits that no ASCII unit has
    std::size_t count = 0;
    for (; count < kSmallAsciiBlock; count += kPerWord)
    {
        std::uint64_t word = 0;
        std::memcpy(&word, inUnits + count, sizeof word);
        if (word &= kOthers; word == 0)
            continue;
        const int bits = std::endian::native == std::endian::little ? std::countr_zero(word)
                                                                    : std::countl_zero(word);
        return count + static_cast<std::size_t>(bits) / (8 * sizeof(In));
    }
    return count;
}

/// Copies the ASCII that inText begins with, to units of another width.
/// @return how many units there were. Room for inLength must be at outText; what lies in it behind those
///         units may be overwritten.
template <class Out, class In>
std::size_t CopyAscii(const In* inText, std::size_t inLength, Out* outText) noexcept
{
    std::size_t done = 0;
    const auto copyBlock = [&]<std::size_t kUnits>(std::integral_constant<std::size_t, kUnits>)
    {
        In block[kUnits];
        Out copy[kUnits];
        std::memcpy(block, inText + done, sizeof block);
        In all = 0;
        for (std::size_t i = 0; i < kUnits; ++i)
        {
            all = static_cast<In>(all | block[i]);
            copy[i] = static_cast<Out>(block[i]);
        }
        std::memcpy(outText + done, copy, sizeof copy);
        return all < 0x80;
    };
    // Runs are often short, so that a block of 16 is not the first thing to try.
    if (inLength >= kSmallAsciiBlock)
    {
        if (!copyBlock(std::integral_constant<std::size_t, kSmallAsciiBlock>()))
            return CountAsciiOfEight(inText);
        done = kSmallAsciiBlock;
    }
    while (inLength - done >= kAsciiBlock &&
           copyBlock(std::integral_constant<std::size_t, kAsciiBlock>()))
        done += kAsciiBlock;
    while (inLength - done >= kSmallAsciiBlock)
    {
        if (!copyBlock(std::integral_constant<std::size_t, kSmallAsciiBlock>()))
            return done + CountAsciiOfEight(inText + done);
        done += kSmallAsciiBlock;
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
