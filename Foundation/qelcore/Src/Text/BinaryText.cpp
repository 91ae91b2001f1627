#include "qelcore/BinaryText.h"

#include <array>
#include <limits>

namespace qelcore
{
namespace utility
{

namespace
{

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr UTF8Unit kPadding = '=';
constexpr std::uint32_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigits()
{
    std::array<std::uint8_t, 256> digits{};
    for (std::uint8_t& digit : digits)
        digit = kNoDigit;
    for (std::uint8_t value = 0; value < 64; ++value)
        digits[static_cast<unsigned char>(kAlphabet[value])] = value;
    return digits;
}

constexpr std::array<std::uint8_t, 256> kDigits = MakeDigits();

UTF8Unit CharacterOf(std::uint32_t inBits) noexcept
{
    return static_cast<UTF8Unit>(kAlphabet[inBits & 63]);
}

/// Writes the four characters of up to three bytes.
void EncodeGroup(const std::uint8_t* inBytes, std::size_t inCount, UTF8Unit* outText) noexcept
{
    std::uint32_t bits = std::uint32_t{inBytes[0]} << 16;
    if (inCount > 1)
        bits |= std::uint32_t{inBytes[1]} << 8;
    if (inCount > 2)
        bits |= inBytes[2];
    outText[0] = CharacterOf(bits >> 18);
    outText[1] = CharacterOf(bits >> 12);
    outText[2] = inCount > 1 ? CharacterOf(bits >> 6) : kPadding;
    outText[3] = inCount > 2 ? CharacterOf(bits) : kPadding;
}

/// Reads inCount digits, 2 to 4, into one byte less.
/// @return false if one is no digit, or bits are set that stand for nothing.
bool DecodeGroup(const UTF8Unit* inText, std::size_t inCount, std::uint8_t* outBytes) noexcept
{
    std::uint32_t bits = 0;
    std::uint32_t all = 0; // kNoDigit has bits above the six of a digit
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const std::uint32_t digit = kDigits[inText[i]];
        all |= digit;
        bits |= (digit & 63) << (18 - 6 * i);
    }
    const std::size_t byteCount = inCount - 1;
    const std::uint32_t spare = 0xFFFFFFu >> (8 * byteCount);
    if (all > 63 || (bits & spare) != 0)
        return false;
    for (std::size_t i = 0; i < byteCount; ++i)
        outBytes[i] = static_cast<std::uint8_t>(bits >> (16 - 8 * i));
    return true;
}

} // namespace

bool EncodeBinaryDataToUTF8String(const void* inBytes, std::size_t inSize, UTF8String& outText)
{
    if (inSize > std::numeric_limits<std::size_t>::max() / 4 ||
        (inSize + 2) / 3 * 4 > outText.max_size())
        return false;
    UTF8String text((inSize + 2) / 3 * 4, UTF8Unit());
    const auto* bytes = static_cast<const std::uint8_t*>(inBytes);
    UTF8Unit* to = text.data();
    for (std::size_t done = 0; done < inSize; done += 3, to += 4)
        EncodeGroup(bytes + done, inSize - done, to);
    outText.swap(text);
    return true;
}

bool DecodeBinaryDataFromUTF8String(const UTF8String& inText, std::vector<std::uint8_t>& outBytes)
{
    if (inText.size() % 4 != 0)
        return false;
    std::size_t digits = inText.size();
    for (int padding = 0; padding < 2 && digits > 0 && inText[digits - 1] == kPadding; ++padding)
        --digits;
    std::vector<std::uint8_t> bytes(digits / 4 * 3 + (digits % 4 == 0 ? 0 : digits % 4 - 1));
    std::uint8_t* to = bytes.data();
    const UTF8Unit* from = inText.data();
    for (; digits >= 4; digits -= 4, from += 4, to += 3)
    {
        if (!DecodeGroup(from, 4, to))
            return false;
    }
    if (digits != 0 && !DecodeGroup(from, digits, to))
        return false;
    outBytes.swap(bytes);
    return true;
}

} // namespace utility
} // namespace qelcore
