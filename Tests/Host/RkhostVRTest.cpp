// rkhost shows and changes files of VR text.
#include <filesystem>

#include <sys/stat.h>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

class RkhostVRTest : public RkhostTest
{
protected:
    std::string Write(const std::string& inText) const
    {
        return mTemporary.Write("clip.vr", inText);
    }
    std::string Text() const { return mTemporary.Read("clip.vr"); }
    std::vector<std::string> Beside() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mTemporary.Path()))
            names.push_back(entry.path().filename());
        return names;
    }
    /// Runs a change that must be refused, and looks at the file afterwards.
    Ended Refused(std::vector<std::string> inArguments, int inCode)
    {
        const std::string before = Text();
        inArguments.insert(inArguments.begin(), {"vr", "set"});
        const Ended ended = Run(inArguments);
        EXPECT_EQ(inCode, ended.mCode);
        EXPECT_EQ("", ended.mOutput);
        EXPECT_EQ(before, Text());
        EXPECT_THAT(Beside(), testing::ElementsAre("clip.vr"));
        return ended;
    }
    /// A line of what is shown, "name: value".
    static std::string Shown(const Ended& inEnded, const std::string& inName)
    {
        return Row(inEnded, inName + ":");
    }

    Testing::TemporaryFolder mTemporary;
};

TEST_F(RkhostVRTest, ShowsEachFieldAndTheVersion)
{
    const Ended ended = Run({"vr", "show",
                             Write("{\"version\":3,\"projectionType\":1,\"stereoscopicType\":1,"
                                   "\"fieldOfVerticalView\":90,\"stereoscopicEye\":2,"
                                   "\"ambisonicsMonitoringType\":1,\"ambisonicsHRIR\":\"hall\"}")});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("version:                3\n"
              "projection:             Equirectangular\n"
              "captured-horizontal:    360 degrees\n"
              "captured-vertical:      180 degrees\n"
              "field-horizontal:       108 degrees\n"
              "field-vertical:         90 degrees\n"
              "layout:                 Stereoscopic - Over/Under\n"
              "eye:                    Anaglyph\n"
              "ambisonics:             Binaural\n"
              "hrir:                   \"hall\"\n",
              ended.mOutput);
}

TEST_F(RkhostVRTest, ShowsWhatAnEarlierOrLaterVersionIsReadAs)
{
    const Ended first = Run({"vr", "show", Write("{\"version\":1}")});
    EXPECT_EQ("1", Shown(first, "version"));
    EXPECT_EQ("Equirectangular", Shown(first, "projection"));
    EXPECT_EQ("7, read as 3", Shown(Run({"vr", "show", Write("{\"version\":7}")}), "version"));
    EXPECT_EQ("none, read as 3", Shown(Run({"vr", "show", Write("{}")}), "version"));
    EXPECT_EQ("none, read as 3", Shown(Run({"vr", "show", Write("")}), "version"));
}

TEST_F(RkhostVRTest, ShowsValuesWithoutANameAsNumbers)
{
    const Ended ended = Run({"vr", "show", Write("{\"stereoscopicEye\":7}")});
    EXPECT_EQ("Unknown (7)", Shown(ended, "eye"));
}

TEST_F(RkhostVRTest, WhatOthersWroteDoesNotSteerTheTerminal)
{
    const Ended ended = Run({"vr", "show", Write("{\"ambisonicsHRIR\":\"\\u001b[2J\"}")});
    EXPECT_EQ("\"\\u001b[2J\"", Shown(ended, "hrir"));
}

TEST_F(RkhostVRTest, ShowingRefusesWhatIsNoConfiguration)
{
    const auto refusal = [this](const std::string& inText)
    {
        const Ended ended = Run({"vr", "show", Write(inText)});
        EXPECT_EQ(1, ended.mCode) << inText;
        EXPECT_EQ("", ended.mOutput);
        return ended.mError;
    };
    EXPECT_THAT(refusal("no JSON"), HasSubstr("clip.vr: is no VR configuration"));
    EXPECT_THAT(refusal("[1]"), HasSubstr("is no VR configuration"));
    EXPECT_THAT(refusal("{\"version\":3,\"stereoscopicEye\":\"left\"}"),
                HasSubstr("the value of \"stereoscopicEye\" is of the wrong kind"));
    EXPECT_THAT(refusal("{\"version\":-1}"),
                HasSubstr("the value of \"version\" is of the wrong kind"));
    EXPECT_THAT(refusal("{\"ambisonicsHRIR\":3}"),
                HasSubstr("the value of \"ambisonicsHRIR\" is of the wrong kind"));
}

TEST_F(RkhostVRTest, ShowingRefusesWhatIsNoFile)
{
    EXPECT_EQ("rkhost: " + mTemporary.Path("none") + ": there is no such file\n",
              Run({"vr", "show", mTemporary.Path("none")}).mError);
    EXPECT_EQ("rkhost: " + mTemporary.Path() + ": is no file\n",
              Run({"vr", "show", mTemporary.Path()}).mError);
    ASSERT_EQ(0, mkfifo(mTemporary.Path("pipe").c_str(), 0600));
    EXPECT_EQ("rkhost: " + mTemporary.Path("pipe") + ": is no file\n",
              Run({"vr", "show", mTemporary.Path("pipe")}).mError);
}

TEST_F(RkhostVRTest, SetsEveryField)
{
    const Ended ended =
        Run({"vr", "set", mTemporary.Path("clip.vr"), "--projection", "equirectangular",
             "--captured-horizontal=180", "--captured-vertical=90", "--field-horizontal=100",
             "--field-vertical=80", "--layout", "side-by-side", "--eye", "right", "--ambisonics",
             "binaural", "--hrir", "caf\xC3\xA9"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("{\"ambisonicsHRIR\":\"caf\xC3\xA9\",\"ambisonicsMonitoringType\":1,"
              "\"capturedHorizontalView\":180,\"capturedVerticalView\":90,"
              "\"fieldOfHorizontalView\":100,\"fieldOfVerticalView\":80,\"projectionType\":1,"
              "\"stereoscopicEye\":1,\"stereoscopicType\":2,\"version\":3}",
              Text());
    EXPECT_EQ("Right", Shown(ended, "eye"));
    EXPECT_EQ(ended.mOutput, Run({"vr", "show", mTemporary.Path("clip.vr")}).mOutput);
}

TEST_F(RkhostVRTest, SettingLeavesTheOtherFieldsAndBringsTheTextToTheCurrentVersion)
{
    const std::string path = Write("{\"version\":1,\"stereoscopicEye\":2}");
    EXPECT_EQ(0, Run({"vr", "set", "--field-vertical", "70", path}).mCode);
    const Ended ended = Run({"vr", "show", path});
    EXPECT_EQ("3", Shown(ended, "version"));
    EXPECT_EQ("Equirectangular", Shown(ended, "projection"));
    EXPECT_EQ("Anaglyph", Shown(ended, "eye"));
    EXPECT_EQ("70 degrees", Shown(ended, "field-vertical"));
}

TEST_F(RkhostVRTest, AValueMayTakeBackAnother)
{
    const std::string path = Write("{\"ambisonicsHRIR\":\"hall\",\"projectionType\":1}");
    EXPECT_EQ(0, Run({"vr", "set", "--hrir=", "--projection=none", path}).mCode);
    EXPECT_THAT(Text(), HasSubstr("\"ambisonicsHRIR\":\"\""));
    EXPECT_THAT(Text(), HasSubstr("\"projectionType\":0"));
}

TEST_F(RkhostVRTest, BadValuesAreRefusedWithTheGoodOnes)
{
    const std::string path = Write("{}");
    EXPECT_THAT(Refused({"--projection", "cubic", path}, 2).mError,
                HasSubstr("--projection takes none or equirectangular, not 'cubic'"));
    EXPECT_THAT(Refused({"--eye", "left", "--captured-horizontal", "361", path}, 2).mError,
                HasSubstr("--captured-horizontal takes degrees from 1 to 360, not '361'"));
    for (const char* value : {"0", "-1", "181", "90.5", "90 ", "", "99999999999", "nan"})
        Refused({std::string("--field-vertical=") + value, path}, 2);
    EXPECT_THAT(Refused({"--hrir", "\xFF", path}, 2).mError,
                HasSubstr("--hrir takes text in UTF-8"));
    EXPECT_THAT(Refused({path}, 2).mError, HasSubstr("wants something to set"));
    EXPECT_THAT(Refused({"--eye", "left", path, path}, 2).mError, HasSubstr("is a second one"));
    EXPECT_THAT(Refused({"--depth", "3", path}, 2).mError,
                HasSubstr("vr set has no option --depth"));
}

TEST_F(RkhostVRTest, WhatAChangeWouldLoseIsRefused)
{
    EXPECT_THAT(Refused({"--eye", "left", Write("{\"version\":4}")}, 1).mError,
                HasSubstr("is of version 4"));
    EXPECT_THAT(Refused({"--eye", "left", Write("{\"rig\\u001b\":1}")}, 1).mError,
                HasSubstr("says \"rig\\u001b\", which a change would lose"));
    EXPECT_THAT(Refused({"--eye", "left", Write("notes of somebody")}, 1).mError,
                HasSubstr("is no VR configuration"));
}

TEST_F(RkhostVRTest, AFileThatCannotBeWrittenStaysWhole)
{
    const std::string path = Write("{\"version\":3,\"stereoscopicEye\":2}");
    const Ended ended = RunCommand(
        {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" vr set --eye left \"$1\"",
         RKHOST_TEST_PROGRAM, path});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot be written, and is as it was: File too large"));
    EXPECT_EQ("{\"version\":3,\"stereoscopicEye\":2}", Text());
    EXPECT_THAT(Beside(), testing::ElementsAre("clip.vr"));
}

TEST_F(RkhostVRTest, AFolderThatIsNotThereIsToldOf)
{
    const Ended ended = Run({"vr", "set", "--eye", "left", mTemporary.Path("none/clip.vr")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError,
                HasSubstr("no file can be made beside it: No such file or directory"));
    EXPECT_THAT(Beside(), IsEmpty());
}

TEST_F(RkhostVRTest, RightsAndLinksStay)
{
    const std::string path = Write("{}");
    ASSERT_EQ(0, chmod(path.c_str(), 0640));
    std::filesystem::create_symlink("clip.vr", mTemporary.Path("link"));

    EXPECT_EQ(0, Run({"vr", "set", "--eye", "right", mTemporary.Path("link")}).mCode);

    EXPECT_TRUE(std::filesystem::is_symlink(mTemporary.Path("link")));
    EXPECT_THAT(Text(), HasSubstr("\"stereoscopicEye\":1"));
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 07777);
}

TEST_F(RkhostVRTest, ToldOfItsVerbs)
{
    const Ended help = Run({"vr", "--help"});
    EXPECT_EQ(0, help.mCode);
    EXPECT_THAT(help.mOutput, HasSubstr("--captured-vertical     degrees from 1 to 180\n"));
    EXPECT_EQ(2, Run({"vr"}).mCode);
    EXPECT_THAT(Run({"vr", "get", "x"}).mError, HasSubstr("vr has no verb 'get'"));
    EXPECT_THAT(Run({"vr", "show"}).mError, HasSubstr("vr show wants a file"));
}

} // namespace
} // namespace RKHostTests
