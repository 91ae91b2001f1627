#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#if __cplusplus >= 202002L
#include <compare>
#endif

#include "qelcore/SmallBlockAllocator.h"

namespace qelcore
{

/// The text type of paths, messages and names: UTF-16 in 16-bit units. Nothing checks that surrogates
/// come in pairs: a path may hold lone ones (see FileNameToUTF16).
using UTF16String = std::basic_string<char16_t, std::char_traits<char16_t>, STLAllocator<char16_t>>;

/// The unit of UTF8String. Unsigned, so that bytes order by value and widen without a sign.
using UTF8Unit = unsigned char;

// Character traits of UTF8Unit. std::char_traits<unsigned char> is an extension of one standard
// library, with an end-of-file value that differs between versions.
class UTF8Traits
{
public:
    using char_type = UTF8Unit;
    using int_type = int;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;
#if __cplusplus >= 202002L
    using comparison_category = std::strong_ordering;
#endif

    static constexpr void assign(char_type& outUnit, const char_type& inUnit) noexcept
    {
        outUnit = inUnit;
    }
    static constexpr bool eq(char_type a, char_type b) noexcept { return a == b; }
    static constexpr bool lt(char_type a, char_type b) noexcept { return a < b; }

    // memcmp and its like must not be given null, which an empty view may hold.
    static int compare(const char_type* a, const char_type* b, std::size_t inCount) noexcept
    {
        return inCount == 0 ? 0 : std::memcmp(a, b, inCount);
    }
    static std::size_t length(const char_type* inText) noexcept
    {
        return std::strlen(reinterpret_cast<const char*>(inText));
    }
    static const char_type* find(const char_type* inText, std::size_t inCount,
                                 const char_type& inUnit) noexcept
    {
        return inCount == 0 ? nullptr
                            : static_cast<const char_type*>(std::memchr(inText, inUnit, inCount));
    }
    static char_type* move(char_type* outText, const char_type* inText,
                           std::size_t inCount) noexcept
    {
        if (inCount != 0)
            std::memmove(outText, inText, inCount);
        return outText;
    }
    static char_type* copy(char_type* outText, const char_type* inText,
                           std::size_t inCount) noexcept
    {
        if (inCount != 0)
            std::memcpy(outText, inText, inCount);
        return outText;
    }
    static char_type* assign(char_type* outText, std::size_t inCount, char_type inUnit) noexcept
    {
        if (inCount != 0)
            std::memset(outText, inUnit, inCount);
        return outText;
    }

    static constexpr int_type eof() noexcept { return -1; }
    static constexpr int_type not_eof(int_type inValue) noexcept
    {
        return inValue == eof() ? 0 : inValue;
    }
    static constexpr char_type to_char_type(int_type inValue) noexcept
    {
        return static_cast<char_type>(inValue);
    }
    static constexpr int_type to_int_type(char_type inUnit) noexcept { return inUnit; }
    static constexpr bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
};

/// 8-bit units, for debug keys, JSON and trace text. UTF-8 by convention; nothing checks it.
using UTF8String = std::basic_string<UTF8Unit, UTF8Traits, STLAllocator<UTF8Unit>>;

/// The bytes of a narrow text as UTF8String, and back. They are copied, never converted or checked.
inline UTF8String ToUTF8String(std::string_view inBytes)
{
    return UTF8String(reinterpret_cast<const UTF8Unit*>(inBytes.data()), inBytes.size());
}
inline std::string ToNarrowString(const UTF8String& inText)
{
    return std::string(reinterpret_cast<const char*>(inText.data()), inText.size());
}

// "using namespace qelcore::literals" gives u"name"_utf16 and "key"_utf8.
namespace literals
{
inline UTF16String operator""_utf16(const char16_t* inText, std::size_t inLength)
{
    return UTF16String(inText, inLength);
}
inline UTF8String operator""_utf8(const char* inText, std::size_t inLength)
{
    return ToUTF8String(std::string_view(inText, inLength));
}
} // namespace literals

} // namespace qelcore

// The standard library hashes only strings with its own allocator.
template <>
struct std::hash<qelcore::UTF16String>
{
    std::size_t operator()(const qelcore::UTF16String& inText) const noexcept
    {
        return std::hash<std::u16string_view>()(std::u16string_view(inText));
    }
};

template <>
struct std::hash<qelcore::UTF8String>
{
    std::size_t operator()(const qelcore::UTF8String& inText) const noexcept
    {
        return std::hash<std::string_view>()(
            std::string_view(reinterpret_cast<const char*>(inText.data()), inText.size()));
    }
};
