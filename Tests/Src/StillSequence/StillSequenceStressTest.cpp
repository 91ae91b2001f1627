#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <fcntl.h>
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

TEST(StillSequenceStress, AFolderOfAHundredThousandFilesIsOneSequence)
{
    constexpr int kFiles = 100000;
    const TemporaryFolder parent;
    const auto pathOf = [&parent](const std::string& inName)
    { return FileNameToUTF16(parent.Path(inName)); };
    const int folder = open(parent.Path().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(folder, 0);
    for (int i = 0; i < kFiles; ++i)
    {
        char name[32];
        std::snprintf(name, sizeof name, "frame_%06d.dpx", i + 1);
        const int file = openat(folder, name, O_WRONLY | O_CREAT | O_EXCL, 0600);
        ASSERT_GE(file, 0) << name;
        close(file);
    }
    close(folder);

    const StillSequencePtr sequence =
        RK::CreateStillSequenceFromExampleFile(pathOf("frame_050000.dpx"));
    ASSERT_TRUE(sequence);
    EXPECT_EQ(kFiles, sequence->GetNumberOfFrames());
    EXPECT_EQ(pathOf("frame_000001.dpx"), FrameOf(*sequence, 0));
    EXPECT_EQ(pathOf("frame_100000.dpx"), FrameOf(*sequence, kFiles - 1));
    EXPECT_FALSE(sequence->GetModificationState({}).IsNull());
}

} // namespace
