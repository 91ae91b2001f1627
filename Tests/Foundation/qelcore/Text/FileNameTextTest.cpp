#include "qelcore/TextConversion.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "TextGenerators.h"

namespace
{

using namespace qelcore;
using namespace qelcore::literals;
using namespace qelcore::utility;

UTF16String Units(std::initializer_list<char16_t> inUnits)
{
    return UTF16String(inUnits);
}

TEST(FileNames, OfSoundTextAreThatText)
{
    EXPECT_EQ(u"Ärger_0001_\u20AC\U0001F600.tif"_utf16,
              FileNameToUTF16("Ärger_0001_\u20AC\U0001F600.tif"));
    EXPECT_EQ("Ärger_0001_\u20AC\U0001F600.tif",
              UTF16ToFileName(u"Ärger_0001_\u20AC\U0001F600.tif"_utf16));
}

TEST(FileNames, KeepEachByteThatIsNoUTF8AsALoneUnit)
{
    EXPECT_EQ(u"Gr"_utf16 + Units({0xDCFC, 0xDCDF}) + u"e.tif"_utf16, FileNameToUTF16("Gr\xFC\xDF"
                                                                                      "e.tif"));
    EXPECT_EQ(Units({0xDCE2, 0xDC82, u'a'}), FileNameToUTF16("\xE2\x82"
                                                             "a"));
}

TEST(FileNames, ComeBackForEveryByteAndEveryPairOfBytes)
{
    for (int first = 0; first < 256; ++first)
        for (int second = 0; second < 256; ++second)
        {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(bytes, UTF16ToFileName(FileNameToUTF16(bytes))) << first << ' ' << second;
        }
}

TEST(FileNames, ComeBackThoughTheirBytesSpellSurrogates)
{
    const std::string bytes = "\xED\xB2\x80\xED\xA0\x80\xED\xB3\xBF";
    EXPECT_EQ(9u, FileNameToUTF16(bytes).size());
    EXPECT_EQ(bytes, UTF16ToFileName(FileNameToUTF16(bytes)));
}

TEST(FileNames, TakeALoneUnitBehindAPairForAByte)
{
    const std::string bytes = "\U0001F600\x80";
    EXPECT_EQ(Units({0xD83D, 0xDE00, 0xDC80}), FileNameToUTF16(bytes));
    EXPECT_EQ(bytes, UTF16ToFileName(FileNameToUTF16(bytes)));
}

TEST(FileNames, NeverGetASlashOrANulFromALoneSurrogate)
{
    for (int unit = 0xD800; unit <= 0xDFFF; ++unit)
    {
        const std::string bytes = UTF16ToFileName(Units({static_cast<char16_t>(unit)}));
        for (const char byte : bytes)
            ASSERT_GE(static_cast<unsigned char>(byte), 0x80) << std::hex << unit;
        ASSERT_EQ(unit >= 0xDC80 && unit <= 0xDCFF ? 1u : 3u, bytes.size()) << std::hex << unit;
    }
}

TEST(FileNames, DifferForDifferentLoneSurrogatesThatAreNoBytes)
{
    EXPECT_EQ("\xED\xA0\x80", UTF16ToFileName(Units({0xD800})));
    EXPECT_EQ("\xED\xB0\xAF", UTF16ToFileName(Units({0xDC2F})));
    EXPECT_EQ("\xED\xBF\xBF", UTF16ToFileName(Units({0xDFFF})));
}

TEST(FileNames, OfBytesSpelledAsLoneUnitsReadBackAsTheTextThatTheySpell)
{
    const UTF16String spelled = Units({0xDCC3, 0xDCA9});
    EXPECT_EQ("\xC3\xA9", UTF16ToFileName(spelled));
    EXPECT_EQ(u"é"_utf16, FileNameToUTF16(UTF16ToFileName(spelled)));
}

RC_GTEST_PROP(FileNames, OfAnyBytesComeBackByteForByte, ())
{
    const std::string bytes = *NearlyUTF8();
    RC_ASSERT(UTF16ToFileName(FileNameToUTF16(bytes)) == bytes);
}

RC_GTEST_PROP(FileNames, JoinedAsTextAreTheJoinedBytes, ())
{
    const std::string a = *NearlyUTF8();
    const std::string b = *NearlyUTF8();
    RC_ASSERT(UTF16ToFileName(FileNameToUTF16(a) + FileNameToUTF16(b)) == a + b);
}

RC_GTEST_PROP(FileNames, ReadBackFromAnyTextNameTheSameFile, ())
{
    const std::string bytes = UTF16ToFileName(UTF16String(*NearlyUTF16()));
    RC_ASSERT(UTF16ToFileName(FileNameToUTF16(bytes)) == bytes);
}

RC_GTEST_PROP(FileNames, OfSoundTextConvertAsTheStrictConversionDoes, ())
{
    const UTF16String text = NarrowToUTF16(*NearlyUTF8()); // sound, with U+FFFD for what was not
    const std::string strict = UTF16ToNarrow(text);
    RC_ASSERT(UTF16ToFileName(text) == strict);
    RC_ASSERT(FileNameToUTF16(strict) == text);
}

} // namespace
