#pragma once

#include <string>
#include <vector>

#include <rapidcheck.h>

#include "qelcore/UTFString.h"

// Texts that are often, but not always, sound: uniform ones hardly ever come near what is hard.

template <class String>
rc::Gen<String> Joined(rc::Gen<String> inPiece)
{
    return rc::gen::map(rc::gen::container<std::vector<String>>(std::move(inPiece)),
                        [](const std::vector<String>& inPieces)
                        {
                            String all;
                            for (const String& next : inPieces)
                                all += next;
                            return all;
                        });
}

inline rc::Gen<std::string> NearlyUTF8()
{
    return Joined(rc::gen::weightedOneOf<std::string>(
        {{4, rc::gen::element<std::string>("a", "sixteen letters.", "\u00E9", "\u20AC",
                                           "\U0001F600", "\uFFFF")},
         {3, rc::gen::element<std::string>("\xC3", "\xE2\x82", "\xF0\x9F", "\xED\xA0\x80", "\xE0",
                                           "\xF4\x90", "\xF8", "\xC0\x80")},
         {2, rc::gen::container<std::string>(rc::gen::arbitrary<char>())}}));
}

// std::u16string, because that is what a failure can be shown as.
inline rc::Gen<std::u16string> NearlyUTF16()
{
    const auto unit = [](int inFirst, int inBehind)
    {
        return rc::gen::map(rc::gen::inRange(inFirst, inBehind), [](int inUnit)
                            { return std::u16string(1, static_cast<char16_t>(inUnit)); });
    };
    return Joined(rc::gen::weightedOneOf<std::u16string>(
        {{4, rc::gen::element<std::u16string>(u"a", u"sixteen letters.", u"\u00E9", u"\u20AC",
                                              u"\U0001F600", u"\U0010FFFF")},
         {2, unit(0xD800, 0xDC00)},
         {2, unit(0xDC00, 0xE000)},
         {1, unit(0xDC80, 0xDD00)},
         {2, unit(0, 0x10000)}}));
}

namespace rc
{
inline void showValue(const std::u16string& inText, std::ostream& outStream)
{
    for (const char16_t unit : inText)
        outStream << std::hex << static_cast<unsigned>(unit) << ' ';
}
} // namespace rc
