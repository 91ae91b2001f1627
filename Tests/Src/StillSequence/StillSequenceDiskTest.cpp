#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "RKStillSequence.h"
#include "StillText.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace Testing;
using qelcore::utility::FileNameToUTF16;
using RK::StillSequencePtr;

class StillSequenceDiskTest : public testing::Test
{
protected:
    TemporaryFolder mFolder;

    UTF16String Path(const std::string& inName) const
    {
        return FileNameToUTF16(mFolder.Path(inName));
    }
    static void SetModified(const std::string& inPath, time_t inSeconds, long inNanoseconds)
    {
        const timespec times[2] = {{0, UTIME_OMIT}, {inSeconds, inNanoseconds}};
        ASSERT_EQ(0, utimensat(AT_FDCWD, inPath.c_str(), times, 0));
    }
};

TEST_F(StillSequenceDiskTest, RecognisesAndNamesWhatIsOnTheRealDisk)
{
    for (const char* name : {"shot_0005.tif", "shot_0006.tif", "shot_0009.tif", "readme.txt"})
        mFolder.Write(name, "x");

    const StillSequencePtr sequence = RK::CreateStillSequenceFromExampleFile(Path("shot_0006.tif"));

    ASSERT_TRUE(sequence);
    EXPECT_EQ(5, sequence->GetNumberOfFrames());
    EXPECT_EQ(Path("shot_0005.tif"), FrameOf(*sequence, 0));
    EXPECT_EQ(Path("shot_0009.tif"), FrameOf(*sequence, 4));
    EXPECT_EQ(u"shot_[0005-0009].tif", DisplayNameOf(*sequence));
}

TEST_F(StillSequenceDiskTest, TheStateFollowsTouchingAndDeletingOnTheRealDisk)
{
    const std::string first = mFolder.Write("a1.tif", "x");
    const std::string second = mFolder.Write("a2.tif", "x");
    SetModified(first, 1000000000, 0);
    SetModified(second, 1000000000, 0);
    const StillSequencePtr sequence = RK::CreateStillSequenceFromExampleFile(Path("a1.tif"));
    ASSERT_TRUE(sequence);
    const auto state = [&] { return sequence->GetModificationState({}); };

    const auto before = state();
    EXPECT_FALSE(before.IsNull());
    EXPECT_EQ(before, state());
    SetModified(second, 1000000000, 1000);
    EXPECT_NE(before, state());
    SetModified(second, 1000000000, 0);
    EXPECT_EQ(before, state());
    std::filesystem::remove(second);
    EXPECT_NE(before, state());
    std::filesystem::remove(first);
    EXPECT_TRUE(state().IsNull());
}

TEST_F(StillSequenceDiskTest, NamesBeyondTheBasicPlaneAndOfBytesThatAreNoTextAreOpenable)
{
    for (const std::string stem : {"\xF0\x9F\x8E\xAC_", "\xFF\xC0_"})
    {
        mFolder.Write(stem + "09.tif", "x");
        mFolder.Write(stem + "10.tif", "x");
        const StillSequencePtr sequence =
            RK::CreateStillSequenceFromExampleFile(Path(stem + "10.tif"));
        ASSERT_TRUE(sequence);
        ASSERT_EQ(2, sequence->GetNumberOfFrames());
        const std::string path = qelcore::utility::UTF16ToFileName(FrameOf(*sequence, 0));
        EXPECT_EQ(0, access(path.c_str(), F_OK)) << path;
    }
}

} // namespace
