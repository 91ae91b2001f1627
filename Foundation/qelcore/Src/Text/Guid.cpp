#include "qelcore/Guid.h"

#include <array>
#include <random>

namespace qelcore
{
namespace utility
{
namespace
{

constexpr std::size_t kTextLength = 36;
constexpr std::array<std::size_t, 4> kDashes = {8, 13, 18, 23};

bool IsDashPosition(std::size_t inPosition)
{
    for (const std::size_t dash : kDashes)
        if (dash == inPosition)
            return true;
    return false;
}

/// @return the value of a hexadecimal digit, or -1.
int DigitValue(char inDigit)
{
    if (inDigit >= '0' && inDigit <= '9')
        return inDigit - '0';
    if (inDigit >= 'a' && inDigit <= 'f')
        return inDigit - 'a' + 10;
    if (inDigit >= 'A' && inDigit <= 'F')
        return inDigit - 'A' + 10;
    return -1;
}

/// Asks the kernel's generator each time, so that nothing is shared among threads, and a process and
/// the child that it forks do not hand out the same identities.
std::uint64_t RandomHalf()
{
    std::random_device device("getentropy");
    const std::uint64_t high = device();
    return (high << 32) | device();
}

} // namespace

Guid Guid::CreateUnique()
{
    constexpr std::uint64_t kVersionMask = 0xF000, kVersion4 = 0x4000;
    constexpr std::uint64_t kVariantMask = 0xC000000000000000u, kVariant = 0x8000000000000000u;
    return Guid(static_cast<std::int64_t>((RandomHalf() & ~kVersionMask) | kVersion4),
                static_cast<std::int64_t>((RandomHalf() & ~kVariantMask) | kVariant));
}

Guid Guid::StringToGUID(const char* inText, std::size_t inLength)
{
    if (inText == nullptr || inLength != kTextLength)
        return Guid();
    std::array<std::uint64_t, 2> halves{};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < kTextLength; ++i)
    {
        if (IsDashPosition(i))
        {
            if (inText[i] != '-')
                return Guid();
            continue;
        }
        const int value = DigitValue(inText[i]);
        if (value < 0)
            return Guid();
        std::uint64_t& half = halves[digits++ / 16];
        half = (half << 4) | static_cast<std::uint64_t>(value);
    }
    return Guid(static_cast<std::int64_t>(halves[0]), static_cast<std::int64_t>(halves[1]));
}

std::string Guid::ToString() const
{
    const std::array<std::uint64_t, 2> halves = {static_cast<std::uint64_t>(mHigh),
                                                 static_cast<std::uint64_t>(mLow)};
    std::string text;
    for (std::size_t digit = 0; digit < 32; ++digit)
    {
        if (IsDashPosition(text.size()))
            text.push_back('-');
        text.push_back("0123456789ABCDEF"[(halves[digit / 16] >> (60 - 4 * (digit % 16))) & 0xF]);
    }
    return text;
}

} // namespace utility
} // namespace qelcore
