#pragma once

#include <ostream>
#include <string>

#include "RKStillSequence.h"

// Test text is plain string literals with UTF-16 in it: this prints it readably when a test fails.
namespace std
{

inline void PrintTo(const qelcore::UTF16String& inText, ostream* outStream)
{
    for (const char16_t unit : inText)
    {
        if (unit >= 0x20 && unit < 0x7F)
            *outStream << static_cast<char>(unit);
        else
            *outStream << "\\u" << hex << static_cast<unsigned>(unit) << dec;
    }
}

} // namespace std

namespace Testing
{

using qelcore::UTF16String;

inline UTF16String FrameOf(const RK::StillSequence& inSequence, int inN)
{
    UTF16String path = u"untouched";
    EXPECT_EQ(0, inSequence.GenerateNthFileName(inN, path));
    return path;
}

inline UTF16String DisplayNameOf(const RK::StillSequence& inSequence)
{
    UTF16String name = u"untouched";
    inSequence.GetDisplayName(name);
    return name;
}

struct NumericItems
{
    UTF16String prefix;
    UTF16String suffix;
    int first = -99;
    int last = -99;
    int width = -99;
    bool zeroPadded = false;
};

inline NumericItems ItemsOf(const RK::StillSequence& inSequence)
{
    NumericItems items;
    EXPECT_EQ(0, inSequence.GetNumericItems(items.prefix, items.suffix, items.first, items.last,
                                            items.width, items.zeroPadded));
    return items;
}

} // namespace Testing
