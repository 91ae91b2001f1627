#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "RKStillSequence.h"
#include "StillText.h"
#include "Support/MemoryFileSystem.h"

namespace
{

using namespace Testing;
using RK::CreateStillSequenceFromExampleFile;
using RK::StillSequencePtr;

class RecognitionTest : public testing::Test
{
protected:
    MemoryFileSystem mDisk;

    void AddFiles(std::initializer_list<const char*> inNames)
    {
        for (const char* name : inNames)
            mDisk.AddFile(std::string("/f/") + name);
    }
    /// The sequence of a file in the folder, which must be one.
    static RK::StillSequence From(const UTF16String& inName)
    {
        const StillSequencePtr sequence = CreateStillSequenceFromExampleFile(u"/f/" + inName);
        EXPECT_TRUE(sequence);
        if (!sequence)
            return RK::StillSequence();
        EXPECT_EQ(RK::kStillSequenceType_Numeric, sequence->GetStillSequenceType());
        return *sequence;
    }
};

TEST_F(RecognitionTest, FindsTheRangeAndThePaddingFromOneFileAmongOthers)
{
    AddFiles({"shot_0005.tif", "shot_0006.tif", "shot_0007.tif", "shot_0008.tif", "shot_0009.tif"});
    const RK::StillSequence sequence = From(u"shot_0007.tif");

    const NumericItems items = ItemsOf(sequence);
    EXPECT_EQ(u"shot_", items.prefix);
    EXPECT_EQ(u".tif", items.suffix);
    EXPECT_EQ(5, items.first);
    EXPECT_EQ(9, items.last);
    EXPECT_EQ(4, items.width);
    EXPECT_TRUE(items.zeroPadded);
    EXPECT_EQ(u"/f/shot_0005.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/shot_0009.tif", FrameOf(sequence, 4));
    EXPECT_EQ(u"/f/shot_0009.tif", FrameOf(sequence, 100));
    EXPECT_EQ(u"shot_[0005-0009].tif", DisplayNameOf(sequence));
}

TEST_F(RecognitionTest, NumbersWithoutZerosInFrontAreNotPadded)
{
    AddFiles({"a_9.tif", "a_10.tif"});
    const RK::StillSequence sequence = From(u"a_10.tif");

    const NumericItems items = ItemsOf(sequence);
    EXPECT_EQ(9, items.first);
    EXPECT_EQ(10, items.last);
    EXPECT_EQ(2, items.width);
    EXPECT_FALSE(items.zeroPadded);
    EXPECT_EQ(u"/f/a_9.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/a_10.tif", FrameOf(sequence, 1));
}

TEST_F(RecognitionTest, TheFileWithTheLowestNumberAloneDecidesAboutPadding)
{
    AddFiles({"009.tif", "010.tif"});
    EXPECT_TRUE(ItemsOf(From(u"010.tif")).zeroPadded);
    EXPECT_EQ(u"/f/009.tif", FrameOf(From(u"010.tif"), 0));

    AddFiles({"b9.tif", "b010.tif"});
    EXPECT_FALSE(ItemsOf(From(u"b010.tif")).zeroPadded);
    EXPECT_EQ(3, ItemsOf(From(u"b010.tif")).width);

    AddFiles({"c0.tif", "c1.tif", "c10.tif"}); // a lone 0 begins with 0
    EXPECT_TRUE(ItemsOf(From(u"c1.tif")).zeroPadded);
}

TEST_F(RecognitionTest, OfTwoFilesWithTheLowestNumberTheOneListedLastDecides)
{
    AddFiles({"d01.tif", "d1.tif"}); // this disk lists by name
    EXPECT_FALSE(ItemsOf(From(u"d01.tif")).zeroPadded);
    EXPECT_EQ(2, ItemsOf(From(u"d1.tif")).width);
}

TEST_F(RecognitionTest, ANameWithoutDigitsIsNoSequence)
{
    AddFiles({"img.tif", "img1.tif"});
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u"/f/img.tif"));
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u"/f1/img.tif"));
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u"/f/img.tif1"));
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u"/f/"));
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u""));
}

TEST_F(RecognitionTest, ALoneFileIsASequenceOfOneFrame)
{
    AddFiles({"one_07.tif", "two_08.tif"});
    const RK::StillSequence sequence = From(u"one_07.tif");
    EXPECT_EQ(1, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/one_07.tif", FrameOf(sequence, 0));
}

TEST_F(RecognitionTest, TheExampleItselfNeedNotExist)
{
    AddFiles({"g07.tif", "g08.tif"});
    const NumericItems items = ItemsOf(From(u"g10.tif"));
    EXPECT_EQ(7, items.first);
    EXPECT_EQ(10, items.last);
}

TEST_F(RecognitionTest, AnEmptyPrefixTakesOnlyNamesThatBeginWithTheirDigits)
{
    AddFiles({"0001.tif", "0003.tif", "x0009.tif", "9_0010.tif"});
    const RK::StillSequence sequence = From(u"0001.tif");
    const NumericItems items = ItemsOf(sequence);
    EXPECT_EQ(u"", items.prefix);
    EXPECT_EQ(1, items.first);
    EXPECT_EQ(3, items.last);
    EXPECT_EQ(u"/f/0002.tif", FrameOf(sequence, 1));
}

TEST_F(RecognitionTest, OnlyFilesWithTheSameTextBehindTheNumberJoin)
{
    AddFiles({"shot12_final.tif", "shot13_final.tif", "shot14.tif", "shot15_final.png",
              "shot16_finaL.tif"});
    const RK::StillSequence sequence = From(u"shot12_final.tif");
    const NumericItems items = ItemsOf(sequence);
    EXPECT_EQ(u"_final.tif", items.suffix);
    EXPECT_EQ(12, items.first);
    EXPECT_EQ(13, items.last);
    EXPECT_EQ(u"/f/shot13_final.tif", FrameOf(sequence, 1));
}

TEST_F(RecognitionTest, OnlyFilesWithTheSameTextBeforeTheNumberJoin)
{
    AddFiles({"shot12.tif", "Shot13.tif", "shot_14.tif", "sho15.tif", "shots16.tif", "s"});
    const NumericItems items = ItemsOf(From(u"shot12.tif"));
    EXPECT_EQ(12, items.first);
    EXPECT_EQ(12, items.last);
}

TEST_F(RecognitionTest, TheLastRunOfDigitsIsTheNumber)
{
    AddFiles({"shot01_v2.tif", "shot01_v3.tif", "shot02_v4.tif"});
    const NumericItems items = ItemsOf(From(u"shot01_v2.tif"));
    EXPECT_EQ(u"shot01_v", items.prefix);
    EXPECT_EQ(u".tif", items.suffix);
    EXPECT_EQ(2, items.first);
    EXPECT_EQ(3, items.last);
}

TEST_F(RecognitionTest, TextKeepsItsLettersOnBothSidesOfTheNumber)
{
    AddFiles({"Shot1_LEFT.TIF", "Shot2_LEFT.TIF"});
    const RK::StillSequence sequence = From(u"Shot1_LEFT.TIF");
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/Shot2_LEFT.TIF", FrameOf(sequence, 1));
}

// The number's text is as long as its end is from the start of the name, so text behind it is in it:
// "1b", "12cd". Its value is the same, and the width comes out wider than the digits.
TEST_F(RecognitionTest, TextBehindTheDigitsWidensThePadding)
{
    AddFiles({"a1b.tif", "ab12cdefgh.tif", "shot12_final.tif"});
    EXPECT_EQ(2, ItemsOf(From(u"a1b.tif")).width);
    EXPECT_EQ(1, ItemsOf(From(u"a1b.tif")).first);
    EXPECT_EQ(4, ItemsOf(From(u"ab12cdefgh.tif")).width);
    EXPECT_EQ(12, ItemsOf(From(u"ab12cdefgh.tif")).first);
    EXPECT_EQ(6, ItemsOf(From(u"shot12_final.tif")).width);
    EXPECT_EQ(4, ItemsOf(From(u"name0001.tif")).width);
}

TEST_F(RecognitionTest, TextBehindPaddedDigitsMakesNamesTooWide)
{
    AddFiles({"ab02cdefgh.tif"});
    EXPECT_EQ(u"/f/ab0002cdefgh.tif", FrameOf(From(u"ab02cdefgh.tif"), 0));
}

TEST_F(RecognitionTest, AHoleCountsAsFrames)
{
    AddFiles({"h1.tif", "h5.tif"});
    const RK::StillSequence sequence = From(u"h5.tif");
    EXPECT_EQ(5, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/h3.tif", FrameOf(sequence, 2));
}

TEST_F(RecognitionTest, FilesInFoldersBelowAndFoldersDoNotJoin)
{
    AddFiles({"k1.tif", "below/k2.tif"});
    mDisk.AddDirectory("/f/k3.tif");
    EXPECT_EQ(1, From(u"k1.tif").GetNumberOfFrames());
}

TEST_F(RecognitionTest, NumbersThatNoIntHoldsCountAsZero)
{
    AddFiles({"m12345678901234567890.tif"});
    NumericItems items = ItemsOf(From(u"m12345678901234567890.tif"));
    EXPECT_EQ(0, items.first);
    EXPECT_EQ(0, items.last);
    EXPECT_EQ(20, items.width);
    EXPECT_FALSE(items.zeroPadded);

    AddFiles({"n2147483647.tif", "n2147483648.tif"});
    items = ItemsOf(From(u"n2147483647.tif"));
    EXPECT_EQ(0, items.first);
    EXPECT_EQ(2147483647, items.last);
}

TEST_F(RecognitionTest, TwentyDigitsWhoseValueFitsAreASequenceLikeAnyOther)
{
    AddFiles({"p00000000000000000007.tif", "p00000000000000000008.tif"});
    const RK::StillSequence sequence = From(u"p00000000000000000008.tif");
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/p00000000000000000007.tif", FrameOf(sequence, 0));
}

TEST_F(RecognitionTest, NamesBeyondTheBasicPlaneKeepTheirCharacters)
{
    AddFiles({"\xF0\x9F\x8E\xAC"
              "1\xF0\x9D\x94\x98.tif",
              "\xF0\x9F\x8E\xAC"
              "2\xF0\x9D\x94\x98.tif"});
    const RK::StillSequence sequence = From(u"\U0001F3AC1\U0001D518.tif");
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/\U0001F3AC2\U0001D518.tif", FrameOf(sequence, 1));
    EXPECT_EQ(u"\U0001F3AC[1-2]\U0001D518.tif", DisplayNameOf(sequence));
}

TEST_F(RecognitionTest, DigitsOfFullWidthAreDigitsAndSuperscriptsAreNot)
{
    AddFiles({"q\xEF\xBC\x91.tif", "r\xC2\xB2.tif"}); // full-width 1, superscript 2
    const NumericItems items = ItemsOf(From(u"q\uFF11.tif"));
    EXPECT_EQ(u"q", items.prefix);
    EXPECT_EQ(1, items.first);
    EXPECT_FALSE(CreateStillSequenceFromExampleFile(u"/f/r\u00B2.tif"));
}

TEST_F(RecognitionTest, NamesThatAreNoTextStillMakeASequence)
{
    AddFiles({"\xFF\xFE_01.tif", "\xFF\xFE_02.tif"}); // bytes that no UTF-8 holds
    const RK::StillSequence sequence = From(u"\xDCFF\xDCFE_01.tif");
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
}

TEST_F(RecognitionTest, AFolderThatCannotBeListedRaises)
{
    EXPECT_THROW(CreateStillSequenceFromExampleFile(u"/none/a1.tif"),
                 qelcore::filesupport::dir_exception);
    EXPECT_THROW(CreateStillSequenceFromExampleFile(u"a1.tif"),
                 qelcore::filesupport::dir_exception);
    AddFiles({"s1.tif"});
    mDisk.Fail(FileOperation::kNext, "/f", EIO);
    EXPECT_THROW(CreateStillSequenceFromExampleFile(u"/f/s1.tif"),
                 qelcore::filesupport::dir_exception);
}

TEST_F(RecognitionTest, AFolderThatVanishesWhileItIsListedGivesWhatWasSeenUntilThen)
{
    AddFiles({"t1.tif", "t2.tif", "t3.tif", "t4.tif"});
    mDisk.VanishAfter("/f", 3);
    const NumericItems items = ItemsOf(From(u"t2.tif"));
    EXPECT_EQ(1, items.first);
    EXPECT_LE(2, items.last);
    EXPECT_GE(3, items.last);
}

} // namespace
