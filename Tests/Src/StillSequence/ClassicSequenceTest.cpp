#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

#include "RKStillSequence.h"
#include "StillText.h"
#include "Support/MemoryFileSystem.h"

namespace
{

using namespace Testing;
using qelcore::filesupport::Dir;
using RK::StillSequence;

class ClassicSequenceTest : public testing::Test
{
protected:
    MemoryFileSystem mDisk;

    void AddFiles(std::initializer_list<const char*> inNames)
    {
        for (const char* name : inNames)
            mDisk.AddFile(std::string("/f/") + name);
    }
    static StillSequence From(const UTF16String& inFirst)
    {
        return StillSequence(Dir(u"/f"), inFirst);
    }
};

TEST_F(ClassicSequenceTest, CountsUpFromItsFirstFile)
{
    AddFiles({"f0098.dpx", "f0099.dpx", "f0100.dpx"});
    const StillSequence sequence = From(u"f0098.dpx");

    EXPECT_EQ(RK::kStillSequenceType_Classic, sequence.GetStillSequenceType());
    EXPECT_EQ(3, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/f0098.dpx", FrameOf(sequence, 0));
    EXPECT_EQ(u"/f/f0100.dpx", FrameOf(sequence, 2));
    EXPECT_EQ(u"f0098.dpx", DisplayNameOf(sequence));
}

TEST_F(ClassicSequenceTest, BeyondItsEndItGivesTheNameAfterTheLastFrame)
{
    AddFiles({"f0098.dpx", "f0099.dpx", "f0100.dpx"});
    const StillSequence sequence = From(u"f0098.dpx");

    EXPECT_EQ(u"/f/f0101.dpx", FrameOf(sequence, 3));
    EXPECT_EQ(u"/f/f0101.dpx", FrameOf(sequence, 4));
    EXPECT_EQ(u"/f/f0101.dpx", FrameOf(sequence, INT_MAX));
    EXPECT_EQ(u"/f/f0097.dpx", FrameOf(sequence, -1));
}

TEST_F(ClassicSequenceTest, StopsAtTheFirstGapAndNeverLooksBack)
{
    AddFiles({"f1.dpx", "f2.dpx", "f3.dpx", "f5.dpx"});
    EXPECT_EQ(3, From(u"f1.dpx").GetNumberOfFrames());
    EXPECT_EQ(2, From(u"f2.dpx").GetNumberOfFrames());
}

TEST_F(ClassicSequenceTest, CountsOnceWhenConstructed)
{
    AddFiles({"f1.dpx", "f2.dpx"});
    StillSequence sequence = From(u"f1.dpx");
    mDisk.AddFile("/f/f3.dpx");

    EXPECT_EQ(2, sequence.GetNumberOfFrames());
    EXPECT_EQ(3, sequence.CountClassicStillSequenceFrames());
    EXPECT_EQ(2, sequence.GetNumberOfFrames());
}

TEST_F(ClassicSequenceTest, AFileWithoutANumberBeforeTheDotCountsOneAndIsNoSequence)
{
    AddFiles({"f.dpx", "f1.dpx"});
    StillSequence sequence = From(u"f.dpx");

    EXPECT_EQ(RK::kStillSequenceType_None, sequence.GetStillSequenceType());
    EXPECT_EQ(1, sequence.CountClassicStillSequenceFrames());
    EXPECT_EQ(1, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"f.dpx", DisplayNameOf(sequence));
    EXPECT_EQ(u"untouched", FrameOf(sequence, 0));
}

TEST_F(ClassicSequenceTest, AMissingFileCountsZeroAndIsNoSequence)
{
    AddFiles({"f2.dpx"});
    StillSequence sequence = From(u"f1.dpx");

    EXPECT_EQ(RK::kStillSequenceType_None, sequence.GetStillSequenceType());
    EXPECT_EQ(0, sequence.CountClassicStillSequenceFrames());
}

TEST_F(ClassicSequenceTest, ALoneFileIsNoSequence)
{
    AddFiles({"f1.dpx"});
    StillSequence sequence = From(u"f1.dpx");

    EXPECT_EQ(RK::kStillSequenceType_None, sequence.GetStillSequenceType());
    EXPECT_EQ(1, sequence.CountClassicStillSequenceFrames());
}

TEST_F(ClassicSequenceTest, AFileThatExistsWithoutAnyDotInItsPathRaises)
{
    AddFiles({"f1"});
    EXPECT_THROW(From(u"f1"), std::out_of_range);
    EXPECT_EQ(RK::kStillSequenceType_None, From(u"f2").GetStillSequenceType());
}

TEST_F(ClassicSequenceTest, CountsFilesWhoseNamesLieBeyondTheBasicPlane)
{
    AddFiles({"\xF0\x9F\x8E\xAC"
              "08.dpx",
              "\xF0\x9F\x8E\xAC"
              "09.dpx",
              "\xF0\x9F\x8E\xAC"
              "10.dpx"});
    const StillSequence sequence = From(u"\U0001F3AC08.dpx");
    EXPECT_EQ(3, sequence.GetNumberOfFrames());
    EXPECT_EQ(u"/f/\U0001F3AC10.dpx", FrameOf(sequence, 2));
}

TEST_F(ClassicSequenceTest, CountsNumbersOfTwentyDigitsWhoseValueFits)
{
    AddFiles({"f00000000000000000009.dpx", "f00000000000000000010.dpx"});
    EXPECT_EQ(2, From(u"f00000000000000000009.dpx").GetNumberOfFrames());
}

TEST_F(ClassicSequenceTest, ANumberThatNo64BitsHoldIsCountedOnFromZero)
{
    AddFiles({"f99999999999999999998.dpx", "f99999999999999999999.dpx"});
    EXPECT_EQ(1, From(u"f99999999999999999998.dpx").CountClassicStillSequenceFrames());
}

TEST_F(ClassicSequenceTest, DigitsWithinTheFirstTwoCharactersOfTheWholePathAreNotCountedUp)
{
    // Without a folder in front of it there is no file on this disk, as its paths are absolute.
    StillSequence sequence(Dir(u""), u"1.dpx");
    EXPECT_EQ(0, sequence.CountClassicStillSequenceFrames());
    mDisk.AddFile("/1.dpx");
    mDisk.AddFile("/2.dpx");
    EXPECT_EQ(1, StillSequence(Dir(u"/"), u"1.dpx").CountClassicStillSequenceFrames());
}

} // namespace
