#include "qelcore/NumberText.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "TextGenerators.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace qelcore;
using namespace qelcore::literals;
using namespace qelcore::utility;
using Limits = std::numeric_limits<double>;

std::string Text(double inValue, int inMaxDecimals = 17)
{
    return UTF16ToNarrow(NumberToString(inValue, inMaxDecimals));
}

double Number(const std::string& inText, std::uint32_t inFlags = kStringToNumber_None)
{
    return StringToNumber(NarrowToUTF16(inText), inFlags);
}

std::string Memory(std::uint64_t inBytes, int inDecimals = 2, bool inLongUnits = false)
{
    return UTF16ToNarrow(NumberToMemoryString(inBytes, inDecimals, inLongUnits));
}

int Int(const std::string& inText)
{
    return Coercion<int>::Result(NarrowToUTF16(inText));
}

long long LongLong(const std::string& inText)
{
    return Coercion<long long>::Result(NarrowToUTF16(inText));
}

TEST(NumberToString, WritesAsManyDigitsAsReadBackTheSameNumber)
{
    EXPECT_EQ("0.1", Text(0.1));
    EXPECT_EQ("0.30000000000000004", Text(0.1 + 0.2));
    EXPECT_EQ("-42", Text(-42));
    EXPECT_EQ("9007199254740994", Text(9007199254740994.0));
    EXPECT_EQ("123456.789", Text(123456.789));
}

TEST(NumberToString, NeverUsesAnExponentOrGroups)
{
    EXPECT_EQ("1" + std::string(22, '0'), Text(1e22));
    EXPECT_EQ(309u, Text(Limits::max()).size());
    EXPECT_EQ("0.00001", Text(0.00001));
    EXPECT_EQ("0." + std::string(323, '0') + "5", Text(Limits::denorm_min(), 400));
}

TEST(NumberToString, RoundsToTheDecimalsAskedForAndDropsZerosAtTheEnd)
{
    EXPECT_EQ("0.3", Text(0.1 + 0.2, 3));
    EXPECT_EQ("2.67", Text(2.6666, 2));
    EXPECT_EQ("1", Text(0.9999, 3));
    EXPECT_EQ("100", Text(99.96, 1));
    EXPECT_EQ("3", Text(2.6666, 0));
    EXPECT_EQ("3", Text(2.6666, -5));
    EXPECT_EQ("1200", Text(1200, 0));
}

TEST(NumberToString, FillsUpToTheFewestDecimalsAndTakesAnExponentWhereItWouldBeTooLong)
{
    using namespace qelcore::utility;
    const auto text = [](double inValue, int inMin, int inMax, std::size_t inMost)
    { return UTF16ToNarrow(NumberToString(inValue, inMin, inMax, kNumberToString_None, inMost)); };
    EXPECT_EQ("2.0", text(2, 1, 3, 31));
    EXPECT_EQ("2.500", text(2.5, 3, 3, 31));
    EXPECT_EQ("2.667", text(2.66666, 1, 3, 31));
    EXPECT_EQ("0.0", text(-0.0001, 1, 3, 31));
    EXPECT_EQ("2", text(2, -1, 3, 31));
    EXPECT_EQ("2", text(2, 1, 0, 31)); // the most counts
    EXPECT_EQ("1e+300", text(1e300, 1, 3, 31));
    EXPECT_EQ("1e+03", text(1000, 1, 3, 5));
    EXPECT_EQ("1000.0", text(1000, 1, 3, 6));
    EXPECT_EQ("nan", text(Limits::quiet_NaN(), 1, 3, 31));
    EXPECT_EQ("-inf", text(-Limits::infinity(), 1, 3, 31));
}

TEST(NumberToString, WritesNoSignForWhatRoundsToZero)
{
    EXPECT_EQ("0", Text(-0.0));
    EXPECT_EQ("0", Text(-0.001, 2));
    EXPECT_EQ("0", Text(-Limits::denorm_min()));
    EXPECT_EQ("-0.01", Text(-0.009, 2));
}

TEST(NumberToString, NamesWhatIsNoFiniteNumber)
{
    EXPECT_EQ("nan", Text(Limits::quiet_NaN()));
    EXPECT_EQ("nan", Text(-Limits::quiet_NaN()));
    EXPECT_EQ("inf", Text(Limits::infinity()));
    EXPECT_EQ("-inf", Text(-Limits::infinity()));
}

TEST(StringToNumber, ReadsTheNumberThatTheTextBeginsWith)
{
    EXPECT_EQ(12.5, Number(" \t\n12.5 MB"));
    EXPECT_EQ(-1e3, Number("-1e3"));
    EXPECT_EQ(7, Number("+7"));
    EXPECT_EQ(0.5, Number(".5"));
    EXPECT_EQ(5, Number("5."));
    EXPECT_EQ(1, Number("1e"));
    EXPECT_EQ(1, Number("1e+x"));
    EXPECT_EQ(1.2, Number("1.2.3"));
}

class NoNumber : public testing::TestWithParam<std::string>
{
};

TEST_P(NoNumber, IsZero)
{
    EXPECT_EQ(0, Number(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Texts, NoNumber,
                         testing::Values("", " ", "-", "+", ".", "e5", "+-1", "-+1", "--1", "nan",
                                         "inf", "-inf", "infinity", "NaN(1)", "x1", "\u0661",
                                         "\uFF11", ",5", "0x", std::string(100000, ' ')));

TEST(StringToNumber, TakesTheDigitsOfHexadecimalTextForWhatTheyAreInDecimal)
{
    EXPECT_EQ(0, Number("0x10"));
    EXPECT_EQ(1, Number("1f"));
}

TEST(StringToNumber, GivesTheNearestFiniteNumberForOneOutOfRange)
{
    EXPECT_EQ(Limits::max(), Number("1e309"));
    EXPECT_EQ(-Limits::max(), Number("-1e309"));
    EXPECT_EQ(Limits::max(), Number("1e999999999999999999999999"));
    EXPECT_EQ(Limits::max(), Number(std::string(400, '9')));
    EXPECT_EQ(Limits::max(), Number("0.0001e400"));
    EXPECT_EQ(0, Number("1e-400"));
    EXPECT_EQ(0, Number("-1e-400"));
    EXPECT_EQ(0, Number("1e-999999999999999999999999"));
    EXPECT_EQ(0, Number("0." + std::string(400, '0') + "1"));
    EXPECT_EQ(0, Number(std::string(10, '1') + "e-400"));
    EXPECT_EQ(0, Number("0e999999999999999999999999"));
}

TEST(StringToNumber, JudgesTheRangeByTheWholeNumberNotByItsExponent)
{
    EXPECT_EQ(1, Number("1" + std::string(400, '0') + "e-400"));
    EXPECT_EQ(1, Number("0." + std::string(399, '0') + "1e400"));
    EXPECT_EQ(Limits::max(), Number("1" + std::string(800, '0') + "e-400"));
    EXPECT_EQ(0, Number("0." + std::string(800, '0') + "1e400"));
    EXPECT_EQ(Limits::denorm_min(), Number("5e-324"));
}

TEST(StringToNumber, ReadsAMillionDigits)
{
    EXPECT_EQ(Limits::max(), Number(std::string(1000000, '7')));
    EXPECT_EQ(1.0 / 3, Number("0." + std::string(1000000, '3')));
}

TEST(StringToNumber, TakesTheWholeTextOrNoneWhenAsked)
{
    EXPECT_EQ(12, Number(" 12 \n", kStringToNumber_WholeText));
    EXPECT_EQ(0, Number("12 MB", kStringToNumber_WholeText));
    EXPECT_EQ(0, Number("12,5", kStringToNumber_WholeText));
    EXPECT_EQ(0, Number("1e400 x", kStringToNumber_WholeText));
    EXPECT_EQ(Limits::max(), Number("1e400", kStringToNumber_WholeText));
}

RC_GTEST_PROP(Numbers, ComeBackFromTheirPlainText, (double inNumber))
{
    RC_PRE(std::isfinite(inNumber));
    RC_ASSERT(StringToNumber(NumberToString(inNumber, 400)) == inNumber);
}

RC_GTEST_PROP(Numbers, OfAnyBitsComeBackFromTheirPlainText, (std::uint64_t inBits))
{
    double number = 0;
    std::memcpy(&number, &inBits, sizeof number);
    RC_PRE(std::isfinite(number));
    RC_ASSERT(StringToNumber(NumberToString(number, 400)) == number);
}

RC_GTEST_PROP(Numbers, AreReadFromAnyTextAsFiniteNumbers, ())
{
    const UTF16String text(*NearlyUTF16());
    RC_ASSERT(std::isfinite(StringToNumber(text)));
    RC_ASSERT(std::isfinite(StringToNumber(text, kStringToNumber_WholeText)));
    Coercion<int>::Result(text);
    Coercion<long long>::Result(text);
}

TEST(NumberToMemoryString, ChoosesTheLargestUnitThatLeavesAtLeastOne)
{
    EXPECT_EQ("0 B", Memory(0));
    EXPECT_EQ("1 B", Memory(1));
    EXPECT_EQ("1023 B", Memory(1023));
    EXPECT_EQ("1.00 KB", Memory(1024));
    EXPECT_EQ("1.50 GB", Memory(std::uint64_t{3} << 29));
    EXPECT_EQ("1.00 TB", Memory(std::uint64_t{1} << 40));
    EXPECT_EQ("1.00 PB", Memory(std::uint64_t{1} << 50));
    EXPECT_EQ("16.00 EB", Memory(~std::uint64_t{0}));
}

TEST(NumberToMemoryString, MovesToTheNextUnitWhenRoundingReachesIt)
{
    EXPECT_EQ("1.00 MB", Memory((1u << 20) - 1));
    EXPECT_EQ("1023.99 KB", Memory(1048566));
    EXPECT_EQ("1 MB", Memory((1u << 20) - 512, 0));
    EXPECT_EQ("1023 KB", Memory((1u << 20) - 513, 0));
    EXPECT_EQ("1.00 EB", Memory((std::uint64_t{1} << 60) - 1));
}

TEST(NumberToMemoryString, WritesTheDecimalsAskedFor)
{
    EXPECT_EQ("2 KB", Memory(1600, 0));
    EXPECT_EQ("1.6 KB", Memory(1600, 1));
    EXPECT_EQ("1.56250 KB", Memory(1600, 5));
    EXPECT_EQ("2 KB", Memory(1600, -3));
    EXPECT_EQ("1.56250000000000000000 KB", Memory(1600, 1000));
    EXPECT_EQ("100 B", Memory(100, 5));
}

TEST(NumberToMemoryString, SpellsTheUnitsOutWhenAsked)
{
    EXPECT_EQ("1 byte", Memory(1, 2, true));
    EXPECT_EQ("2 bytes", Memory(2, 2, true));
    EXPECT_EQ("1.50 gigabytes", Memory(std::uint64_t{3} << 29, 2, true));
    EXPECT_EQ("16.00 exabytes", Memory(~std::uint64_t{0}, 2, true));
}

TEST(Coercion, StopsAtTheFirstCharacterThatIsNoDigit)
{
    EXPECT_EQ(1, Int("1b"));
    EXPECT_EQ(12, Int("12cd"));
    EXPECT_EQ(7, Int("007"));
    EXPECT_EQ(-5, Int("-5.9"));
    EXPECT_EQ(5, Int("+5"));
    EXPECT_EQ(12, LongLong("12e3"));
}

TEST(Coercion, IsZeroForTextThatCannotBeParsed)
{
    for (const char* text : {"", "b1", " 1", "-", "+", "+-1", "--1", "\uFF11", "\u0661", "e5"})
    {
        EXPECT_EQ(0, Int(text)) << text;
        EXPECT_EQ(0, LongLong(text)) << text;
    }
}

TEST(Coercion, HoldsTheEndsOfItsTypeAndIsZeroBeyondThem)
{
    EXPECT_EQ(2147483647, Int("2147483647"));
    EXPECT_EQ(-2147483647 - 1, Int("-2147483648"));
    EXPECT_EQ(0, Int("2147483648"));
    EXPECT_EQ(0, Int("-2147483649"));
    EXPECT_EQ(9223372036854775807, LongLong("9223372036854775807"));
    EXPECT_EQ(-9223372036854775807 - 1, LongLong("-9223372036854775808"));
    EXPECT_EQ(0, LongLong("9223372036854775808"));
    EXPECT_EQ(0, LongLong("-9223372036854775809"));
    EXPECT_EQ(0, LongLong("12345678901234567890"));
    EXPECT_EQ(0, LongLong(std::string(1000000, '9')));
    EXPECT_EQ(5, LongLong(std::string(1000000, '0') + "5"));
}

TEST(TruncateStringToNumChars, GivesTheFirstUnits)
{
    EXPECT_EQ(u"abc"_utf16, TruncateStringToNumChars(u"abcdef"_utf16, 3, false));
    EXPECT_EQ(u""_utf16, TruncateStringToNumChars(u"abcdef"_utf16, 0, true));
    EXPECT_EQ(u"abcdef"_utf16, TruncateStringToNumChars(u"abcdef"_utf16, 6, true));
    EXPECT_EQ(u"abcdef"_utf16, TruncateStringToNumChars(u"abcdef"_utf16, UTF16String::npos, true));
    EXPECT_EQ(u""_utf16, TruncateStringToNumChars(u""_utf16, 5, false));
}

TEST(TruncateStringToNumChars, LeavesNoHalfPairWhenAsked)
{
    const UTF16String text = u"a\U0001F600\U0001F600"_utf16;
    EXPECT_EQ(u"a"_utf16, TruncateStringToNumChars(text, 2, true));
    EXPECT_EQ(u"a\U0001F600"_utf16, TruncateStringToNumChars(text, 3, true));
    EXPECT_EQ(u"a\U0001F600"_utf16, TruncateStringToNumChars(text, 4, true));
    EXPECT_EQ((UTF16String{u'a', 0xD83D}), TruncateStringToNumChars(text, 2, false));
}

TEST(TruncateStringToNumChars, KeepsSurrogatesThatWereLoneBefore)
{
    const UTF16String text = {u'a', 0xD83D, u'b', 0xDE00};
    EXPECT_EQ((UTF16String{u'a', 0xD83D}), TruncateStringToNumChars(text, 2, true));
}

std::size_t Replace(UTF16String& ioText, const UTF16String& inPlaceholder,
                    const UTF16String& inValue)
{
    return ReplaceInString(ioText, inPlaceholder, inValue);
}

TEST(ReplaceInString, ReplacesEachPlaceholderFromTheFront)
{
    UTF16String text = u"@0 and @0: aaa"_utf16;
    EXPECT_EQ(2u, Replace(text, u"@0"_utf16, u"longer text"_utf16));
    EXPECT_EQ(u"longer text and longer text: aaa"_utf16, text);
    EXPECT_EQ(1u, Replace(text, u"aa"_utf16, u""_utf16));
    EXPECT_EQ(u"longer text and longer text: a"_utf16, text);
}

TEST(ReplaceInString, DoesNotSearchWhatItPutIn)
{
    UTF16String text = u"@0"_utf16;
    EXPECT_EQ(1u, Replace(text, u"@0"_utf16, u"@0@0"_utf16));
    EXPECT_EQ(u"@0@0"_utf16, text);
}

TEST(ReplaceInString, LeavesTheTextWithoutAPlaceholder)
{
    UTF16String text = u"text"_utf16;
    EXPECT_EQ(0u, Replace(text, u""_utf16, u"x"_utf16));
    EXPECT_EQ(0u, Replace(text, u"@"_utf16, u"x"_utf16));
    EXPECT_EQ(u"text"_utf16, text);
    text.clear();
    EXPECT_EQ(0u, Replace(text, u"@"_utf16, u"x"_utf16));
}

TEST(ReplaceInString, TakesOneObjectForSeveralArguments)
{
    UTF16String text = u"ab"_utf16;
    EXPECT_EQ(1u, Replace(text, text, text));
    EXPECT_EQ(u"ab"_utf16, text);
    EXPECT_EQ(1u, Replace(text, u"a"_utf16, text));
    EXPECT_EQ(u"abb"_utf16, text);
}

} // namespace
