#include "RKStillSequence.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "StillText.h"

namespace
{

using namespace Testing;
using qelcore::filesupport::Dir;
using RK::StillSequence;

using Names = std::vector<UTF16String>;

StillSequence Numeric(int inFirst, int inLast, int inWidth, bool inZeroPadded)
{
    return StillSequence(Dir(u"/f"), u"a_", u".tif", inFirst, inLast, inWidth, inZeroPadded);
}

UTF16String Padded(int inNumber, int inWidth, bool inZeroPadded)
{
    UTF16String name;
    StillSequence::GenerateNthNumericFileName(0, u"", u"", inNumber, inWidth, inZeroPadded, name);
    return name;
}

UTF16String Incremented(const UTF16String& inPath, int inN)
{
    UTF16String path = u"untouched";
    EXPECT_TRUE(StillSequence().IncrementClassicStillSequencePath(inPath, path, inN));
    return path;
}

// The class

TEST(StillSequence, IsPolymorphicWithoutAVirtualDestructor)
{
    EXPECT_TRUE(std::is_polymorphic_v<StillSequence>);
    EXPECT_FALSE(std::has_virtual_destructor_v<StillSequence>);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

TEST(StillSequence, ItsTwoVirtualOperationsCanBeOverridden)
{
    class Doubled : public StillSequence
    {
    public:
        int GetNumberOfFrames() const override { return 2 * StillSequence::GetNumberOfFrames(); }
        qelcore::Result GenerateNthFileName(int, UTF16String& outPath) const override
        {
            outPath = u"/f/same.tif";
            return 0;
        }
    };
    const Doubled sequence;
    const StillSequence& base = sequence;
    EXPECT_EQ(2, base.GetNumberOfFrames());
    EXPECT_EQ(u"/f/same.tif", FrameOf(base, 7));
}

#pragma GCC diagnostic pop

TEST(StillSequence, TypesKeepTheirNumbers)
{
    EXPECT_EQ(0, RK::kStillSequenceType_None);
    EXPECT_EQ(1, RK::kStillSequenceType_Classic);
    EXPECT_EQ(2, RK::kStillSequenceType_Numeric);
    EXPECT_EQ(3, RK::kStillSequenceType_Alpha);
    EXPECT_EQ(4, RK::kStillSequenceType_PathList);
}

TEST(StillSequence, TheContainingFolderCanBeReplaced)
{
    StillSequence sequence = Numeric(1, 2, 1, false);
    Dir folder;
    sequence.GetContainingFolder(folder);
    EXPECT_EQ(u"/f", folder.FullPath());

    sequence.SetContainingFolder(Dir(u"/g/"));
    sequence.GetContainingFolder(folder);
    EXPECT_EQ(u"/g/", folder.FullPath());
    EXPECT_EQ(u"/g/a_1.tif", FrameOf(sequence, 0));
}

// None

TEST(NoSequence, IsEmptyAndCountsAsOneItem)
{
    const RK::StillSequencePtr sequence = StillSequence::MakeDefaultStillSequencePtr();
    ASSERT_TRUE(sequence);
    EXPECT_NE(sequence, StillSequence::MakeDefaultStillSequencePtr());
    EXPECT_EQ(RK::kStillSequenceType_None, sequence->GetStillSequenceType());
    EXPECT_EQ(1, sequence->GetNumberOfFrames());
    EXPECT_EQ(u"", DisplayNameOf(*sequence));

    const NumericItems items = ItemsOf(*sequence);
    EXPECT_EQ(u"", items.prefix);
    EXPECT_EQ(u"", items.suffix);
    EXPECT_EQ(0, items.first);
    EXPECT_EQ(0, items.last);
    EXPECT_EQ(0, items.width);
    EXPECT_FALSE(items.zeroPadded);
    Dir folder(u"/something");
    sequence->GetContainingFolder(folder);
    EXPECT_EQ(u"", folder.FullPath());
}

TEST(NoSequence, LeavesThePathOfAFrameUntouched)
{
    EXPECT_EQ(u"untouched", FrameOf(StillSequence(), 0));
    EXPECT_EQ(u"untouched", FrameOf(StillSequence(), 3));
}

// Numeric

TEST(NumericSequence, CountsFromTheFirstNumberToTheLastHolesIncluded)
{
    EXPECT_EQ(5, Numeric(5, 9, 4, true).GetNumberOfFrames());
    EXPECT_EQ(1, Numeric(5, 5, 4, true).GetNumberOfFrames());
    EXPECT_EQ(7, Numeric(-3, 3, 1, false).GetNumberOfFrames());
    EXPECT_EQ(0, Numeric(5, 4, 1, false).GetNumberOfFrames());
}

TEST(NumericSequence, ACountThatNoIntHoldsIsTheGreatestInt)
{
    EXPECT_EQ(INT_MAX, Numeric(0, INT_MAX, 1, false).GetNumberOfFrames());
    EXPECT_EQ(INT_MAX, Numeric(INT_MIN, INT_MAX, 1, false).GetNumberOfFrames());
}

TEST(NumericSequence, NamesFramesByFolderPrefixNumberAndSuffix)
{
    const StillSequence sequence = Numeric(5, 9, 4, true);
    EXPECT_EQ(u"/f/a_0005.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/a_0009.tif", FrameOf(sequence, 4));
}

TEST(NumericSequence, BeyondItsEndItGivesTheLastFrameAndBelowZeroItGoesOn)
{
    const StillSequence sequence = Numeric(5, 9, 4, true);
    EXPECT_EQ(u"/f/a_0009.tif", FrameOf(sequence, 5));
    EXPECT_EQ(u"/f/a_0009.tif", FrameOf(sequence, INT_MAX));
    EXPECT_EQ(u"/f/a_0004.tif", FrameOf(sequence, -1));
    EXPECT_EQ(u"/f/a_00-5.tif", FrameOf(sequence, -10));
}

TEST(NumericSequence, ItsEndsMayBeThoseOfAnInt)
{
    const StillSequence sequence = Numeric(INT_MIN, INT_MAX, 1, false);
    EXPECT_EQ(u"/f/a_-2147483648.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/a_-1.tif", FrameOf(sequence, INT_MAX));
}

TEST(NumericSequence, PadsOnlyIfToldToAndNeverCutsDigits)
{
    EXPECT_EQ(u"7", Padded(7, 3, false));
    EXPECT_EQ(u"007", Padded(7, 3, true));
    EXPECT_EQ(u"1234", Padded(1234, 3, true));
    EXPECT_EQ(u"7", Padded(7, 0, true));
    EXPECT_EQ(u"7", Padded(7, -5, true));
}

TEST(NumericSequence, AMinusStaysInsideThePadding)
{
    EXPECT_EQ(u"0-5", Padded(-5, 3, true));
    EXPECT_EQ(u"-5", Padded(-5, 3, false));
    EXPECT_EQ(u"-123", Padded(-123, 3, true));
}

TEST(NumericSequence, NamesAFrameWithoutAFolder)
{
    UTF16String name;
    StillSequence::GenerateNthNumericFileName(3, u"x", u"_y.dpx", 98, 3, true, name);
    EXPECT_EQ(u"x101_y.dpx", name);
}

TEST(NumericSequence, IsShownWithTheRangeInBrackets)
{
    EXPECT_EQ(u"a_[0001-0240].tif", DisplayNameOf(Numeric(1, 240, 4, true)));
    EXPECT_EQ(u"a_[9-10].tif", DisplayNameOf(Numeric(9, 10, 2, false)));
}

TEST(NumericSequence, GivesItsItemsAndPrefix)
{
    const StillSequence sequence = Numeric(1, 240, 4, true);
    const NumericItems items = ItemsOf(sequence);
    EXPECT_EQ(u"a_", items.prefix);
    EXPECT_EQ(u".tif", items.suffix);
    EXPECT_EQ(1, items.first);
    EXPECT_EQ(240, items.last);
    EXPECT_EQ(4, items.width);
    EXPECT_TRUE(items.zeroPadded);

    UTF16String prefix;
    sequence.GetPrefix(prefix);
    EXPECT_EQ(u"a_", prefix);
}

TEST(NumericSequence, AFolderWithATrailingSlashGetsNoSecondOneAndNoFolderNone)
{
    const StillSequence slash(Dir(u"/f/"), u"a", u".tif", 1, 2, 1, false);
    EXPECT_EQ(u"/f/a1.tif", FrameOf(slash, 0));
    const StillSequence none(Dir(), u"a", u".tif", 1, 2, 1, false);
    EXPECT_EQ(u"a1.tif", FrameOf(none, 0));
}

// Alpha and path list

TEST(AlphaSequence, NamesItsFilesRelativeToTheFolder)
{
    const StillSequence sequence(Dir(u"/f/clip"), Names{u"b.tif", u"a.tif"});
    EXPECT_EQ(RK::kStillSequenceType_Alpha, sequence.GetStillSequenceType());
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/clip/b.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/clip/a.tif", FrameOf(sequence, 1));
    EXPECT_EQ(u"clip", DisplayNameOf(sequence));
}

TEST(PathListSequence, GivesItsPathsAsTheyStandAndItsOwnName)
{
    const StillSequence sequence(Dir(u"/f"), Names{u"/x/b.tif", u"rel/a.tif"}, u"My clip");
    EXPECT_EQ(RK::kStillSequenceType_PathList, sequence.GetStillSequenceType());
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/x/b.tif", FrameOf(sequence, 0));
    EXPECT_EQ(u"rel/a.tif", FrameOf(sequence, 1));
    EXPECT_EQ(u"My clip", DisplayNameOf(sequence));
}

TEST(PathListSequence, AnEmptyOneHasNoFramesAndLeavesThePathUntouched)
{
    const StillSequence sequence(Dir(u"/f"), Names(), u"Nothing");
    EXPECT_EQ(0, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"untouched", FrameOf(sequence, 0));
}

TEST(ListSequences, AreNotProtectedByTheirLimitButRaise)
{
    UTF16String path;
    const StillSequence alpha(Dir(u"/f"), Names{u"a.tif"});
    EXPECT_THROW(alpha.GenerateNthFileName(1, path), std::out_of_range);
    EXPECT_THROW(alpha.GenerateNthFileName(-1, path), std::out_of_range);
    const StillSequence list(Dir(u"/f"), Names{u"/f/a.tif"}, u"x");
    EXPECT_THROW(list.GenerateNthFileName(7, path), std::out_of_range);
}

TEST(ListSequences, GiveTheirListsBackInOrder)
{
    const Names names{u"b.tif", u"a.tif"};
    Names list{u"before"};
    EXPECT_EQ(0, StillSequence(Dir(u"/f"), names).GetAlphaFileList(list));
    EXPECT_EQ(names, list);
    EXPECT_EQ(0, StillSequence(Dir(u"/f"), names, u"x").GetAlphaFileList(list));
    EXPECT_EQ(names, list);
    EXPECT_EQ(0, Numeric(1, 2, 1, false).GetAlphaFileList(list));
    EXPECT_TRUE(list.empty());
}

// Incrementing

TEST(IncrementedPath, KeepsItsWidthWhileTheSumFits)
{
    EXPECT_EQ(u"/f/a010.tif", Incremented(u"/f/a009.tif", 1));
    EXPECT_EQ(u"/f/a100.tif", Incremented(u"/f/a99.tif", 1));
    EXPECT_EQ(u"/f/a0007.tif", Incremented(u"/f/a0009.tif", -2));
    EXPECT_EQ(u"/f/a0-1.tif", Incremented(u"/f/a009.tif", -10));
}

TEST(IncrementedPath, ByNothingIsThePathItselfAndFalse)
{
    UTF16String path;
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u"no dot", path, 0));
    EXPECT_EQ(u"no dot", path);
}

TEST(IncrementedPath, WithoutDigitsGetsTheSumAlone)
{
    EXPECT_EQ(u"/f/a1.tif", Incremented(u"/f/a.tif", 1));
    EXPECT_EQ(u"/f/12.tif", Incremented(u"/f/.tif", 12));
}

TEST(IncrementedPath, DigitsWithinTheFirstTwoCharactersAreRefused)
{
    UTF16String path = u"untouched";
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u"12.tif", path, 1));
    EXPECT_EQ(u"", path);
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u"a12.tif", path, 1));
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u"1.tif", path, 1));
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u"a.tif", path, 1));
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(u".tif", path, 1));
    EXPECT_EQ(u"ab13.tif", Incremented(u"ab12.tif", 1));
    EXPECT_EQ(u"ab1.tif", Incremented(u"ab.tif", 1));
}

TEST(IncrementedPath, SplitsAtTheLastDotOfTheWholePath)
{
    EXPECT_EQ(u"/f2.d/a1", Incremented(u"/f1.d/a1", 1));
    EXPECT_EQ(u"/f/a1.b3.tif", Incremented(u"/f/a1.b2.tif", 1));
}

TEST(IncrementedPath, WithoutAnyDotRaisesAndLeavesItEmpty)
{
    UTF16String path = u"untouched";
    EXPECT_THROW(StillSequence().IncrementClassicStillSequencePath(u"/f/a1", path, 1),
                 std::out_of_range);
    EXPECT_EQ(u"", path);
}

TEST(IncrementedPath, MayBeWrittenOverTheOldOne)
{
    UTF16String path = u"/f/a09.tif";
    EXPECT_TRUE(StillSequence().IncrementClassicStillSequencePath(path, path, 1));
    EXPECT_EQ(u"/f/a10.tif", path);
    EXPECT_FALSE(StillSequence().IncrementClassicStillSequencePath(path, path, 0));
    EXPECT_EQ(u"/f/a10.tif", path);
}

TEST(IncrementedPath, ANumberThatNo64BitsHoldCountsAsZeroAndASumBeyondThemWraps)
{
    EXPECT_EQ(u"/f/a00000000000000000001.tif", Incremented(u"/f/a99999999999999999999.tif", 1));
    EXPECT_EQ(u"/f/a00000000000000000001.tif", Incremented(u"/f/a12345678901234567890.tif", 1));
    EXPECT_EQ(u"/f/a00000000000000000124.tif", Incremented(u"/f/a00000000000000000123.tif", 1));
    EXPECT_EQ(u"/f/a9223372036854775807.tif", Incremented(u"/f/a9223372036854775806.tif", 1));
    EXPECT_EQ(u"/f/a-9223372036854775808.tif", Incremented(u"/f/a9223372036854775807.tif", 1));
}

TEST(IncrementedPath, DigitsOfFullWidthCountAsDigits)
{
    EXPECT_EQ(u"/f/a010.tif", Incremented(u"/f/a\uFF10\uFF10\uFF19.tif", 1));
}

TEST(IncrementedPath, KeepsCharactersBeyondTheBasicPlane)
{
    EXPECT_EQ(u"/f/\U0001F3AC10.tif", Incremented(u"/f/\U0001F3AC9.tif", 1));
    EXPECT_EQ(u"/f/\U0001F3AC1.tif", Incremented(u"/f/\U0001F3AC.tif", 1));
}

TEST(IncrementalPath, IsOneWithADigitBeforeTheLastDot)
{
    EXPECT_TRUE(StillSequence::IsIncrementalFilePath(u"/f/a1.tif"));
    EXPECT_TRUE(StillSequence::IsIncrementalFilePath(u"1.tif"));
    EXPECT_TRUE(StillSequence::IsIncrementalFilePath(u"/f/a\uFF11.tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u"/f/a1b.tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u"/f/1a.tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u"/f/.tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u".tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u"/f/a\u00B2.tif"));
}

TEST(IncrementalPath, LooksBehindTheLastBackslashAlone)
{
    EXPECT_TRUE(StillSequence::IsIncrementalFilePath(u"c:\\f\\a1.tif"));
    EXPECT_FALSE(StillSequence::IsIncrementalFilePath(u"a1\\.tif"));
}

TEST(IncrementalPath, WithoutADotInTheTextLookedAtRaises)
{
    EXPECT_THROW(StillSequence::IsIncrementalFilePath(u"/f/a1"), std::out_of_range);
    EXPECT_THROW(StillSequence::IsIncrementalFilePath(u""), std::out_of_range);
    EXPECT_THROW(StillSequence::IsIncrementalFilePath(u"a1.b\\c"), std::out_of_range);
}

} // namespace
