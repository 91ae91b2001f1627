#include "qelcore/CaseFolding.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <unicode/uchar.h>

#include "TextGenerators.h"

namespace
{

using namespace qelcore;
using namespace qelcore::literals;
using namespace qelcore::utility;

constexpr UVersionInfo kTableVersion = {15, 0, 0, 0};

UTF16String Text(UChar32 inCodePoint)
{
    if (inCodePoint < 0x10000)
        return UTF16String(1, static_cast<char16_t>(inCodePoint));
    return {static_cast<char16_t>(0xD7C0 + (inCodePoint >> 10)),
            static_cast<char16_t>(0xDC00 + (inCodePoint & 0x3FF))};
}

/// False for what this ICU knows and the table cannot, since it is younger.
bool IsAsOldAsTheTable(UChar32 inCodePoint)
{
    UVersionInfo age;
    u_charAge(inCodePoint, age);
    return std::memcmp(age, kTableVersion, sizeof age) <= 0;
}

class EveryCodePoint : public testing::Test
{
protected:
    void SetUp() override
    {
        UVersionInfo version;
        u_getUnicodeVersion(version);
        if (std::memcmp(version, kTableVersion, sizeof version) < 0)
            GTEST_SKIP() << "this ICU is older than the table: Unicode " << U_UNICODE_VERSION;
    }
};

TEST_F(EveryCodePoint, FoldsAsInICU)
{
    for (UChar32 c = 0; c <= 0x10FFFF; ++c)
    {
        if (!IsAsOldAsTheTable(c))
            continue;
        const UChar32 folded = u_foldCase(c, U_FOLD_CASE_DEFAULT);
        ASSERT_TRUE(CaseInsensitive::StringEquals(Text(c), Text(folded))) << std::hex << c;
        const std::int32_t digit = c < 0x10000 ? u_charDigitValue(c) : -1;
        ASSERT_EQ(digit >= 0 ? Text(u'0' + digit) : Text(folded), ToNumericCase(Text(c)))
            << std::hex << c;
    }
}

TEST_F(EveryCodePoint, EqualsOnlyThoseThatFoldAlike)
{
    for (UChar32 c = 0; c < 0x10FFFF; ++c)
    {
        if (!IsAsOldAsTheTable(c) || !IsAsOldAsTheTable(c + 1))
            continue;
        ASSERT_EQ(u_foldCase(c, U_FOLD_CASE_DEFAULT) == u_foldCase(c + 1, U_FOLD_CASE_DEFAULT),
                  CaseInsensitive::StringEquals(Text(c), Text(c + 1)))
            << std::hex << c;
    }
}

TEST(ToNumericCase, FoldsOneUnitAsItFoldsTheTextOfIt)
{
    for (int unit = 0; unit < 0x10000; ++unit)
        ASSERT_EQ(ToNumericCase(UTF16String(1, static_cast<char16_t>(unit))),
                  UTF16String(1, ToNumericCase(static_cast<char16_t>(unit))))
            << std::hex << unit;
}

TEST(ToNumericCase, MakesAsciiDigitsOfThoseOfEveryWidthAndScript)
{
    EXPECT_EQ(u"0123456789"_utf16, ToNumericCase(u"０１２３４５６７８９"_utf16));
    EXPECT_EQ(u"123"_utf16, ToNumericCase(u"\u0661\u0662\u0663"_utf16));
    EXPECT_EQ(u"90"_utf16, ToNumericCase(u"\u096F\u0966"_utf16));
}

TEST(ToNumericCase, LeavesSuperscriptsFractionsAndRomanNumbersAlone)
{
    EXPECT_EQ(u"\u00B2\u00BD\u2460\u4E00"_utf16, ToNumericCase(u"\u00B2\u00BD\u2460\u4E00"_utf16));
}

TEST(ToNumericCase, LeavesDigitsBeyondTheBasicPlaneAlone)
{
    EXPECT_EQ(u"\U0001D7D7"_utf16, ToNumericCase(u"\U0001D7D7"_utf16));
}

TEST(ToNumericCase, FoldsPairsAsPairsAndLeavesLoneSurrogates)
{
    EXPECT_EQ(u"\U00010428x"_utf16, ToNumericCase(u"\U00010400X"_utf16));
    const UTF16String lone = {0xDC00, u'a', 0xD801};
    EXPECT_EQ(lone, ToNumericCase(UTF16String{0xDC00, u'A', 0xD801}));
}

RC_GTEST_PROP(ToNumericCase, KeepsTheNumberOfUnitsAndChangesNothingTheSecondTime, ())
{
    const UTF16String text(*NearlyUTF16());
    const UTF16String folded = ToNumericCase(text);
    RC_ASSERT(folded.size() == text.size());
    RC_ASSERT(ToNumericCase(folded) == folded);
}

TEST(StringEquals, DisregardsCaseInEveryScript)
{
    EXPECT_TRUE(CaseInsensitive::StringEquals(u"Straße_ÄÖ.TIF"_utf16, u"sTRAßE_äö.tif"_utf16));
    EXPECT_TRUE(CaseInsensitive::StringEquals(u"ΣΊΣΥΦΟΣ"_utf16, u"σίσυφος"_utf16));
    EXPECT_TRUE(CaseInsensitive::StringEquals(u"ДОРОГА"_utf16, u"дорога"_utf16));
    EXPECT_TRUE(CaseInsensitive::StringEquals(u"\U00010400"_utf16, u"\U00010428"_utf16));
    EXPECT_TRUE(CaseInsensitive::StringEquals(u""_utf16, u""_utf16));
}

TEST(StringEquals, TellsOtherTextsApart)
{
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"a"_utf16, u"b"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"a"_utf16, u"ab"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"ß"_utf16, u"ss"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"1"_utf16, u"\uFF11"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"@"_utf16, u"`"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"["_utf16, u"{"_utf16));
    EXPECT_FALSE(CaseInsensitive::StringEquals(u"\u0130"_utf16, u"i"_utf16));
}

TEST(StringEquals, ComparesLoneSurrogatesByTheirValue)
{
    EXPECT_TRUE(CaseInsensitive::StringEquals({u'A', 0xD801}, {u'a', 0xD801}));
    EXPECT_FALSE(CaseInsensitive::StringEquals({0xD801}, {0xD802}));
    // Only the pair has a case: cut in halves, its low units differ.
    EXPECT_FALSE(CaseInsensitive::StringEquals({u'x', 0xDC00}, {u'x', 0xDC28}));
}

} // namespace
