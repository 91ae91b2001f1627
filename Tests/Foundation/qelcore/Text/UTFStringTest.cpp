#include "qelcore/UTFString.h"

#include <limits>
#include <set>
#include <unordered_set>

#include <gtest/gtest.h>

namespace
{

using namespace qelcore;
using namespace qelcore::literals;

TEST(UTF8String, HoldsEveryByteAsAnUnsignedUnit)
{
    UTF8String text;
    for (int byte = 0; byte < 256; ++byte)
        text.push_back(static_cast<UTF8Unit>(byte));

    ASSERT_EQ(256u, text.size());
    EXPECT_EQ(255, text[255]);
    EXPECT_EQ(0u, text.find(UTF8Unit{0}));
    EXPECT_EQ(128u, text.find(UTF8Unit{128}));
}

TEST(UTF8String, OrdersBytesByTheirUnsignedValue)
{
    EXPECT_LT("\x7F"_utf8, "\x80"_utf8);
    EXPECT_LT("a"_utf8, "ab"_utf8);
    EXPECT_EQ(0, "ab"_utf8.compare("ab"_utf8));
    EXPECT_EQ((std::set<UTF8String>{"a"_utf8, "\xC3"_utf8}).rbegin()->front(), 0xC3);
}

TEST(UTF8String, CopesWithOverlappingAndEmptyParts)
{
    UTF8String text = "abcdef"_utf8;
    text.insert(1, text, 0, 3);
    EXPECT_EQ("aabcbcdef"_utf8, text);
    text.erase(0, 4).append(3, UTF8Unit{'x'}).append(UTF8String());
    EXPECT_EQ("bcdefxxx"_utf8, text);
    EXPECT_EQ(UTF8String::npos, UTF8String().find(UTF8Unit{'a'}));
}

TEST(UTF8Traits, KeepTheEndOfFileApartFromEveryUnit)
{
    for (int unit = 0; unit < 256; ++unit)
        ASSERT_NE(UTF8Traits::eof(), UTF8Traits::to_int_type(static_cast<UTF8Unit>(unit)));
    EXPECT_NE(UTF8Traits::eof(), UTF8Traits::not_eof(UTF8Traits::eof()));
    EXPECT_EQ(200, UTF8Traits::to_char_type(UTF8Traits::to_int_type(200)));
}

TEST(UTF8String, GoesToNarrowTextAndBackByteForByte)
{
    const std::string bytes("a\0\xFF\x80z", 5);
    EXPECT_EQ(bytes, ToNarrowString(ToUTF8String(bytes)));
    EXPECT_EQ(5u, ToUTF8String(bytes).size());
}

TEST(UTFStrings, CanBeKeysOfUnorderedContainers)
{
    const std::unordered_set<UTF16String> wide = {u"a"_utf16, u"b"_utf16, u"a"_utf16};
    const std::unordered_set<UTF8String> narrow = {"a"_utf8, "b"_utf8, "a"_utf8};

    EXPECT_EQ(2u, wide.size());
    EXPECT_EQ(1u, wide.count(u"b"_utf16));
    EXPECT_EQ(2u, narrow.size());
    EXPECT_EQ(0u, narrow.count("c"_utf8));
}

TEST(UTFStrings, KeepNULsThatALiteralHolds)
{
    EXPECT_EQ(3u, u"a\0b"_utf16.size());
    EXPECT_EQ(3u, "a\0b"_utf8.size());
}

} // namespace
