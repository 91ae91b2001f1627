#include "qelcore/UTFStream.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace
{

using namespace qelcore;
using namespace qelcore::literals;

template <class... Values>
UTF16String Written(const Values&... inValues)
{
    oUTF16StringStream stream;
    (stream << ... << inValues);
    return stream.str();
}

template <class T>
UTF16String WrittenEnds()
{
    return Written(std::numeric_limits<T>::lowest(), ' ', std::numeric_limits<T>::max());
}

TEST(oUTF16StringStream, WritesTextOfEveryKindInOrder)
{
    EXPECT_EQ(u"wide narrow é \u20AC view c\u00FF"_utf16,
              Written(u"wide "_utf16, "narrow ", u"é ", "\xE2\x82\xAC "_utf8,
                      std::string_view("view "), 'c', u'\u00FF'));
}

TEST(oUTF16StringStream, WritesNarrowTextAsUTF8AndMalformedTextAsReplacementCharacters)
{
    EXPECT_EQ(u"é\uFFFD!"_utf16, Written("\xC3\xA9\xFF!"));
}

TEST(oUTF16StringStream, WritesNothingForNullText)
{
    EXPECT_EQ(u""_utf16,
              Written(static_cast<const char*>(nullptr), static_cast<const char16_t*>(nullptr)));
}

TEST(oUTF16StringStream, WritesTheEndsOfEveryIntegerType)
{
    EXPECT_EQ(u"-2147483648 2147483647"_utf16, WrittenEnds<int>());
    EXPECT_EQ(u"0 4294967295"_utf16, WrittenEnds<unsigned>());
    EXPECT_EQ(u"-9223372036854775808 9223372036854775807"_utf16, WrittenEnds<long>());
    EXPECT_EQ(u"0 18446744073709551615"_utf16, WrittenEnds<unsigned long>());
    EXPECT_EQ(u"-9223372036854775808 9223372036854775807"_utf16, WrittenEnds<long long>());
    EXPECT_EQ(u"0 18446744073709551615"_utf16, WrittenEnds<unsigned long long>());
}

TEST(oUTF16StringStream, WritesTheShortestTextThatReadsBackAsTheSameDouble)
{
    EXPECT_EQ(u"0.1 1e+300 -0 0.30000000000000004"_utf16,
              Written(0.1, ' ', 1e300, ' ', -0.0, ' ', 0.1 + 0.2));
    EXPECT_EQ(u"inf -inf nan"_utf16, Written(std::numeric_limits<double>::infinity(), ' ',
                                             -std::numeric_limits<double>::infinity(), ' ',
                                             std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(u"-1.7976931348623157e+308 5e-324"_utf16,
              Written(std::numeric_limits<double>::lowest(), ' ',
                      std::numeric_limits<double>::denorm_min()));
}

TEST(oUTF16StringStream, ReplacesItsTextAndWritesOnBehindIt)
{
    oUTF16StringStream stream;
    stream << "old";
    stream.str(u"new"_utf16);
    stream << 1;
    EXPECT_EQ(u"new1"_utf16, stream.str());
}

TEST(iUTF16StringStream, ReadsWordsBetweenBlanksOfEveryKind)
{
    iUTF16StringStream stream(u" \t one\r\n\vtwo\fthree"_utf16);
    UTF16String one, two, three, four = u"kept"_utf16;

    EXPECT_TRUE(stream >> one >> two >> three);
    EXPECT_FALSE(stream >> four);

    EXPECT_EQ(u"one"_utf16, one);
    EXPECT_EQ(u"two"_utf16, two);
    EXPECT_EQ(u"three"_utf16, three);
    EXPECT_EQ(u"kept"_utf16, four);
}

TEST(iUTF16StringStream, ReadsNumbersOfEveryType)
{
    iUTF16StringStream stream(
        u"-2147483648 4294967295 -5 18446744073709551615 +7 8 -1.5e3 inf"_utf16);
    int i = 0;
    unsigned u = 0;
    long l = 0;
    unsigned long ul = 0;
    long long ll = 0;
    unsigned long long ull = 0;
    double d = 0, infinite = 0;

    EXPECT_TRUE(stream >> i >> u >> l >> ul >> ll >> ull >> d >> infinite);

    EXPECT_EQ(std::numeric_limits<int>::min(), i);
    EXPECT_EQ(4294967295u, u);
    EXPECT_EQ(-5, l);
    EXPECT_EQ(18446744073709551615u, ul);
    EXPECT_EQ(7, ll);
    EXPECT_EQ(8u, ull);
    EXPECT_EQ(-1500, d);
    EXPECT_EQ(std::numeric_limits<double>::infinity(), infinite);
    EXPECT_TRUE(stream.eof());
}

TEST(iUTF16StringStream, LeavesWhatFollowsANumber)
{
    iUTF16StringStream stream(u"12ab-3"_utf16);
    int number = 0, next = 0;
    char16_t a = 0, b = 0;

    EXPECT_TRUE(stream >> number >> a >> b >> next);

    EXPECT_EQ(12, number);
    EXPECT_EQ(u'a', a);
    EXPECT_EQ(u'b', b);
    EXPECT_EQ(-3, next);
}

class FailedRead : public testing::TestWithParam<const char16_t*>
{
};

TEST_P(FailedRead, KeepsTheValueAndThePlace)
{
    iUTF16StringStream stream{UTF16String(GetParam())};
    int number = 42;

    EXPECT_FALSE(stream >> number);
    EXPECT_EQ(42, number);

    UTF16String rest = u"untouched"_utf16;
    EXPECT_FALSE(stream >> rest); // failed until cleared
    EXPECT_EQ(u"untouched"_utf16, rest);
    stream.clear();
    EXPECT_EQ(UTF16String(GetParam()).empty(), !stream.GetLine(rest));
    EXPECT_EQ(UTF16String(GetParam()), GetParam()[0] ? rest : UTF16String());
}

INSTANTIATE_TEST_SUITE_P(Texts, FailedRead,
                         testing::Values(u"", u"word", u"-", u"+", u"+-1", u"--1", u"2147483648",
                                         u"-2147483649", u"99999999999999999999999", u"\u0661",
                                         u"  x"));

TEST(iUTF16StringStream, RefusesASignForUnsignedNumbers)
{
    iUTF16StringStream stream(u"-1"_utf16);
    unsigned number = 7;
    EXPECT_FALSE(stream >> number);
    EXPECT_EQ(7u, number);
}

TEST(iUTF16StringStream, ReadsLinesWithEmptyOnesAndALastOneWithoutItsEnd)
{
    iUTF16StringStream stream(u"one\n\n two \nlast"_utf16);
    UTF16String line;
    std::vector<UTF16String> lines;
    while (stream.GetLine(line))
        lines.push_back(line);

    EXPECT_EQ((std::vector<UTF16String>{u"one"_utf16, u""_utf16, u" two "_utf16, u"last"_utf16}),
              lines);
    EXPECT_EQ(u"last"_utf16, line);
}

TEST(iUTF16StringStream, GivesNoEmptyLineBehindTheLastLineEnd)
{
    iUTF16StringStream stream(u"a;b;"_utf16);
    UTF16String field;
    EXPECT_TRUE(stream.GetLine(field, u';'));
    EXPECT_TRUE(stream.GetLine(field, u';'));
    EXPECT_EQ(u"b"_utf16, field);
    EXPECT_FALSE(stream.GetLine(field, u';'));
}

TEST(iUTF16StringStream, BeginsAtTheFrontOfANewTextAndNotFailed)
{
    iUTF16StringStream stream(u"x"_utf16);
    int number = 0;
    stream >> number;
    ASSERT_TRUE(stream.fail());

    stream.str(u"5"_utf16);
    EXPECT_TRUE(stream >> number);
    EXPECT_EQ(5, number);
}

TEST(UTF16StringStream, ReadsWhatWasWrittenWhileWritingGoesOnAtTheEnd)
{
    UTF16StringStream stream;
    int first = 0, second = 0;

    stream << 12 << ' ';
    EXPECT_TRUE(stream >> first);
    stream << 34;
    EXPECT_TRUE(stream >> second);

    EXPECT_EQ(12, first);
    EXPECT_EQ(34, second);
    EXPECT_EQ(u"12 34"_utf16, stream.str());
}

TEST(UTF16StringStream, SurvivesATextThatIsCutBelowItsReadingPlace)
{
    UTF16StringStream stream(u"a long text"_utf16);
    UTF16String word;
    stream >> word >> word;

    static_cast<oUTF16StringStream&>(stream).str(u"b"_utf16);

    EXPECT_TRUE(stream.eof());
    EXPECT_FALSE(stream >> word);
}

TEST(UTF16StringStream, TakesEveryDoubleBackAsItWas)
{
    for (const double number : {0.1, -1e-300, 5e-324, 1.7976931348623157e308, 123456789.123456789})
    {
        UTF16StringStream stream;
        double read = 0;
        stream << number;
        EXPECT_TRUE(stream >> read);
        EXPECT_EQ(number, read);
    }
}

} // namespace
