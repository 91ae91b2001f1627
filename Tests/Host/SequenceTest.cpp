#include "Sequence.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "HostFixture.h"

namespace RKHostTests
{
namespace
{

using RKHost::Sequence;

class SequenceTest : public testing::Test
{
protected:
    std::string Write(int inNumber) const
    {
        return mFolder.WriteFrames("quadrants-420.jpg", "f", {inNumber});
    }
    FrameFolder mFolder;
};

TEST_F(SequenceTest, GrowsByFramesBehindItsLast)
{
    Sequence sequence = Sequence::FromExampleFile(Write(5));
    const std::string eighth = Write(8);
    EXPECT_EQ(sequence.FrameCount(), 1);
    sequence.Grow();
    EXPECT_EQ(sequence.FrameCount(), 4);
    EXPECT_EQ(sequence.FramePath(3), eighth);
}

TEST_F(SequenceTest, KeepsTheNumbersOfItsFramesWhereOthersComeBeforeTheFirst)
{
    const std::string fifth = Write(5);
    Sequence sequence = Sequence::FromExampleFile(fifth);
    Write(2);
    const std::string sixth = Write(6);
    sequence.Grow();
    EXPECT_EQ(sequence.FrameCount(), 2);
    EXPECT_EQ(sequence.FramePath(0), fifth);
    EXPECT_EQ(sequence.FramePath(1), sixth);
}

TEST_F(SequenceTest, NeverGetsShorter)
{
    const std::string first = Write(1);
    const std::string second = Write(2);
    Sequence sequence = Sequence::FromExampleFile(first);
    std::filesystem::remove(second);
    sequence.Grow();
    EXPECT_EQ(sequence.FrameCount(), 2);
    std::filesystem::remove_all(mFolder.Path(""));
    sequence.Grow();
    EXPECT_EQ(sequence.FramePath(1), second);
}

TEST_F(SequenceTest, AStillDoesNotGrow)
{
    Sequence still = Sequence::FromStill(Write(1));
    Write(2);
    still.Grow();
    EXPECT_EQ(still.FrameCount(), 1);
}

} // namespace
} // namespace RKHostTests
