#pragma once

#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace qelcore
{

constexpr bool IsBlank(char16_t inUnit) noexcept
{
    return inUnit == u' ' || (inUnit >= u'\t' && inUnit <= u'\r');
}

inline std::size_t CountBlanks(std::u16string_view inText) noexcept
{
    std::size_t count = 0;
    while (count < inText.size() && IsBlank(inText[count]))
        ++count;
    return count;
}

// The number that a text begins with, as std::from_chars reads it, and a "+" in front besides.
template <class T>
struct ScannedNumber
{
    T value = 0;
    std::size_t length = 0; // units read; 0 where there is no number
    std::errc error = std::errc::invalid_argument;
    std::string text; // what was read, without the "+"

    bool IsRead() const noexcept { return error == std::errc(); }
};

/// The start of the text that numbers are made of, and no more: the rest may be long, and a caller may
/// come back for each number in it.
template <class T>
std::string NumberCharacters(std::u16string_view inText)
{
    std::string text;
    for (const char16_t unit : inText)
    {
        const bool sign = unit == u'+' || unit == u'-';
        const bool digit = unit >= u'0' && unit <= u'9';
        const bool letter = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
        if (!digit && !(sign && text.empty()) &&
            !(std::is_floating_point_v<T> && (sign || letter || unit == u'.')))
            break;
        text.push_back(static_cast<char>(unit));
    }
    return text;
}

template <class T>
ScannedNumber<T> ScanNumber(std::u16string_view inText)
{
    const std::string text = NumberCharacters<T>(inText);
    const std::size_t plus = text.size() > 1 && text[0] == '+' && text[1] != '-' ? 1 : 0;
    const char* const first = text.data() + plus;
    ScannedNumber<T> number;
    const auto [end, error] = std::from_chars(first, text.data() + text.size(), number.value);
    number.error = error;
    if (error == std::errc::invalid_argument)
        return number;
    number.text.assign(first, end);
    number.length = plus + number.text.size();
    return number;
}

} // namespace qelcore
