#include "qelcore/Locale.h"

#include <array>
#include <cstdint>

namespace qelcore
{
namespace
{

enum CharacterClass : std::uint8_t
{
    kCharacterClass_Digit = 1
};

constexpr std::array<std::uint8_t, 256> MakeCharacterTable()
{
    std::array<std::uint8_t, 256> table{};
    for (std::size_t c = '0'; c <= '9'; ++c)
        table[c] = kCharacterClass_Digit;
    return table;
}

constexpr std::array<std::uint8_t, 256> kCharacterTable = MakeCharacterTable();

} // namespace

const Locale& Locale::Default() noexcept
{
    static constexpr Locale sDefault;
    return sDefault;
}

bool Locale::IsDigit(char16_t inUnit) const noexcept
{
    return inUnit < kCharacterTable.size() &&
           (kCharacterTable[inUnit] & kCharacterClass_Digit) != 0;
}

} // namespace qelcore
