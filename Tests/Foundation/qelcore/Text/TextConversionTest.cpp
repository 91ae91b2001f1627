#include "qelcore/TextConversion.h"

#include <ostream>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <unicode/ustring.h>

#include "TextGenerators.h"

namespace
{

using namespace qelcore;
using namespace qelcore::literals;
using namespace qelcore::utility;
using Code = ConversionErrorCode;

struct Malformed
{
    const char* name;
    std::string bytes;
    Code code;
    std::size_t position;
    UTF16String text;
};

void PrintTo(const Malformed& inCase, std::ostream* outStream)
{
    *outStream << inCase.name;
}

class MalformedUTF8 : public testing::TestWithParam<Malformed>
{
};

TEST_P(MalformedUTF8, IsToldWithCodeAndPositionAndReplaced)
{
    ConversionError error;
    EXPECT_EQ(GetParam().text, NarrowToUTF16(GetParam().bytes, &error));
    EXPECT_EQ(GetParam().code, error.code);
    EXPECT_EQ(GetParam().position, error.position);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, MalformedUTF8,
    testing::Values(
        Malformed{"LoneContinuation", "a\x80", Code::kInvalidByte, 1, u"a\uFFFD"_utf16},
        Malformed{"OverlongOfTwo", "\xC0\xAF", Code::kInvalidByte, 0, u"\uFFFD\uFFFD"_utf16},
        Malformed{"OverlongOfTwoC1", "\xC1\xBF", Code::kInvalidByte, 0, u"\uFFFD\uFFFD"_utf16},
        Malformed{"OverlongOfThree", "\xE0\x9F\xBF", Code::kInvalidByte, 0,
                  u"\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"OverlongOfFour", "\xF0\x8F\xBF\xBF", Code::kInvalidByte, 0,
                  u"\uFFFD\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"FirstSurrogate", "ab\xED\xA0\x80", Code::kSurrogate, 2,
                  u"ab\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"LastSurrogate", "\xED\xBF\xBF", Code::kSurrogate, 0,
                  u"\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"AboveTheLastCodePoint", "\xF4\x90\x80\x80", Code::kOutOfRange, 0,
                  u"\uFFFD\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"LeadF5", "\xF5\x80\x80\x80", Code::kOutOfRange, 0,
                  u"\uFFFD\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"FiveBytes", "\xF8\x88\x80\x80\x80", Code::kInvalidByte, 0,
                  u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"ByteFF", "x\xFFy", Code::kInvalidByte, 1, u"x\uFFFDy"_utf16},
        Malformed{"TruncatedOfTwo", "a\xC3", Code::kTruncated, 1, u"a\uFFFD"_utf16},
        Malformed{"TruncatedOfThree", "\xE2\x82", Code::kTruncated, 0, u"\uFFFD"_utf16},
        Malformed{"TruncatedOfFour", "\xF0\x9F\x98", Code::kTruncated, 0, u"\uFFFD"_utf16},
        Malformed{"TruncatedSurrogate", "\xED\xA0", Code::kSurrogate, 0, u"\uFFFD\uFFFD"_utf16},
        Malformed{"BrokenOff", "\xF0\x9F\x41", Code::kInvalidByte, 0, u"\uFFFD\u0041"_utf16},
        Malformed{"TheFirstOfTwo", "\xE2\x82\xAC\xC3(\xED\xA0\x80", Code::kInvalidByte, 3,
                  u"\u20AC\uFFFD(\uFFFD\uFFFD\uFFFD"_utf16},
        Malformed{"BehindALongRun", std::string(100, 'a') + "\x80", Code::kInvalidByte, 100,
                  UTF16String(100, u'a') + u"\uFFFD"_utf16}),
    [](const auto& inInfo) { return inInfo.param.name; });

TEST(UTF8to16, TakesTheFirstAndTheLastCodePointOfEveryLength)
{
    ConversionError error;
    EXPECT_EQ(UTF16String({0, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFF, 0xD800, 0xDC00,
                           0xDBFF, 0xDFFF}),
              NarrowToUTF16(std::string_view("\0\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF"
                                             "\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                                             "\xF4\x8F\xBF\xBF",
                                             26),
                            &error));
    EXPECT_EQ(Code::kNone, error.code);
}

TEST(UTF8to16, ClearsTheErrorOfAnEarlierConversion)
{
    ConversionError error{Code::kTruncated, 9};
    UTF8to16("sound"_utf8, &error);
    EXPECT_EQ(Code::kNone, error.code);
    EXPECT_EQ(0u, error.position);

    error = {Code::kTruncated, 9};
    UTF16to8(u"sound"_utf16, &error);
    EXPECT_EQ(Code::kNone, error.code);
    EXPECT_EQ(0u, error.position);
}

TEST(UTF16to8, ReplacesEachUnpairedSurrogateAndTellsTheFirst)
{
    ConversionError error;
    const UTF16String text = {u'a', 0xDC00, 0xD800, u'b', 0xD83D, 0xDE00, 0xD800};

    EXPECT_EQ("a\uFFFD\uFFFDb\U0001F600\uFFFD"_utf8, UTF16to8(text, &error));
    EXPECT_EQ(Code::kSurrogate, error.code);
    EXPECT_EQ(1u, error.position);
}

TEST(UTF16to8, TakesTwoHighSurrogatesForOneLoneAndOnePair)
{
    ConversionError error;
    EXPECT_EQ("\uFFFD\U0001F600", UTF16ToNarrow(UTF16String{0xD800, 0xD83D, 0xDE00}, &error));
    EXPECT_EQ(0u, error.position);
}

TEST(AsciiToUTF16, MakesAUnitOfTheSameValueOfEachByte)
{
    std::string bytes;
    UTF16String units;
    for (int byte = 0; byte < 256; ++byte)
    {
        bytes.push_back(static_cast<char>(byte));
        units.push_back(static_cast<char16_t>(byte));
    }
    EXPECT_EQ(units, AsciiToUTF16(bytes.data(), bytes.size()));
}

TEST(AsciiToUTF16, TakesNullForTheEmptyText)
{
    EXPECT_EQ(UTF16String(), AsciiToUTF16(nullptr));
    EXPECT_EQ(UTF16String(), AsciiToUTF16(nullptr, 0));
}

TEST(Conversions, GiveBackTheRoomOfTheWorstCase)
{
    std::string euros;
    for (int i = 0; i < 1000; ++i)
        euros += "\u20AC";
    EXPECT_LT(NarrowToUTF16(euros).capacity(), 1100u);
}

// The block-wise run of ASCII meets a unit that is none at each place of a block.
TEST(Conversions, FindTheEndOfARunOfASCIIWhereverItIs)
{
    for (std::size_t length = 0; length < 70; ++length)
    {
        const std::string bytes = std::string(length, 'a') + "\u00E9" + std::string(20, 'b');
        const UTF16String units = UTF16String(length, u'a') + u"\u00E9" + UTF16String(20, u'b');
        ASSERT_EQ(units, NarrowToUTF16(bytes)) << length;
        ASSERT_EQ(bytes, UTF16ToNarrow(units)) << length;
    }
}

UTF16String ConvertedByICU(const std::string& inBytes)
{
    UErrorCode status = U_ZERO_ERROR;
    std::vector<UChar> units(inBytes.size() + 1);
    std::int32_t length = 0;
    u_strFromUTF8WithSub(units.data(), static_cast<std::int32_t>(units.size()), &length,
                         inBytes.data(), static_cast<std::int32_t>(inBytes.size()), 0xFFFD, nullptr,
                         &status);
    EXPECT_TRUE(U_SUCCESS(status));
    return UTF16String(units.begin(), units.begin() + length);
}

RC_GTEST_PROP(UTF8to16, ReplacesExactlyWhatICUReplaces, ())
{
    const std::string bytes = *NearlyUTF8();
    RC_ASSERT(NarrowToUTF16(bytes) == ConvertedByICU(bytes));
}

RC_GTEST_PROP(UTF8to16, TellsAnErrorExactlyForBytesThatDoNotComeBack, ())
{
    const std::string bytes = *NearlyUTF8();
    ConversionError error;
    const UTF16String text = NarrowToUTF16(bytes, &error);

    RC_ASSERT((UTF16ToNarrow(text) == bytes) == (error.code == Code::kNone));
}

RC_GTEST_PROP(UTF8to16, TellsThePositionUpToWhichTheTextIsSound, ())
{
    const std::string bytes = *NearlyUTF8();
    ConversionError error;
    NarrowToUTF16(bytes, &error);
    RC_PRE(error.code != Code::kNone);

    ConversionError before;
    NarrowToUTF16(bytes.substr(0, error.position), &before);
    RC_ASSERT(before.code == Code::kNone);
    NarrowToUTF16(std::string_view(bytes).substr(error.position), &before);
    RC_ASSERT(before.code == error.code);
    RC_ASSERT(before.position == 0u);
}

RC_GTEST_PROP(UTF16to8, TellsAnErrorExactlyForTextThatDoesNotComeBack, ())
{
    const UTF16String text(*NearlyUTF16());
    ConversionError error, back;
    const UTF8String bytes = UTF16to8(text, &error);

    const UTF16String again = UTF8to16(bytes, &back);
    RC_ASSERT(back.code == Code::kNone);
    RC_ASSERT((again == text) == (error.code == Code::kNone));
    RC_ASSERT(UTF16ToNarrow(text) == ToNarrowString(bytes));
}

} // namespace
