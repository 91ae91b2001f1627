// rkhost tries plug-ins, and bears what they do.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>

#include <sys/stat.h>

#include "RkhostFixture.h"
#include "Support/Sanitizers.h"

namespace RKHostTests
{
namespace
{

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

class RkhostPlugins : public RkhostTest
{
protected:
    /// Puts a sample into the folder that is scanned.
    std::string Put(const std::string& inSample, const std::string& inFolder = "plug-ins")
    {
        const std::string name = "Sample" + inSample + ".so";
        std::filesystem::create_directories(mFolder.Path(inFolder));
        const std::string path = mFolder.Path(inFolder) + "/" + name;
        std::filesystem::copy_file(std::string(RKHOST_TEST_SAMPLES) + "/" + name, path,
                                   std::filesystem::copy_options::overwrite_existing);
        return path;
    }
    Ended Scan(const std::vector<std::string>& inOptions = {},
               const std::vector<std::string>& inEnvironment = {})
    {
        std::vector<std::string> arguments = {"plugins", "scan", "--quarantine", Quarantine()};
        arguments.insert(arguments.end(), inOptions.begin(), inOptions.end());
        arguments.push_back(mFolder.MakeFolder("plug-ins"));
        return Run(arguments, "", inEnvironment);
    }
    std::string Quarantine() const { return mFolder.Path("quarantine"); }
    /// The line of a table whose cells begin so; the empty text if there is none.
    static std::string Line(const Ended& inEnded, const std::string& inPart)
    {
        std::istringstream lines(inEnded.mOutput);
        for (std::string line; std::getline(lines, line);)
            if (line.find(inPart) != std::string::npos)
                return line;
        return std::string();
    }
    static std::size_t Place(const Ended& inEnded, const std::string& inName)
    {
        return inEnded.mOutput.find("  " + inName + "  ");
    }
};

/// A sanitizer makes an exit of its own out of a crash.
std::string CrashText()
{
    return RK_TEST_SANITIZER ? "ended the process" : "SIGSEGV";
}

TEST_F(RkhostPlugins, GoodOnesAreStartedInTheirOrderWithTheReasonForEachPlace)
{
    for (const char* const sample : {"Good", "Early", "Answers", "Exports", "Adapter"})
        Put(sample);
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mError << ended.mOutput;
    EXPECT_THAT(Line(ended, "SampleGood.so"), ContainsRegex("  good$"));
    EXPECT_THAT(Line(ended, "  Early  "), ContainsRegex("starts early \\('StsP'\\)  +started$"));
    EXPECT_THAT(Line(ended, "  Exports  "),
                ContainsRegex("exports suites \\('expt'\\)  +started$"));
    EXPECT_THAT(Line(ended, "  Answers  "),
                ContainsRegex("answers properties \\('AcpM'\\)  +started$"));
    EXPECT_THAT(Line(ended, "  Good  "), ContainsRegex("ordinary  +started$"));
    EXPECT_THAT(Line(ended, "Moon Vetch 2 Adapter Plugin"),
                ContainsRegex("host plug-in  +started$"));
    EXPECT_LT(Place(ended, "Moon Vetch 2 Adapter Plugin"), Place(ended, "Early"));
    EXPECT_LT(Place(ended, "(without a name)"), Place(ended, "Early")) << "the library's own";
    EXPECT_THAT(Line(ended, "  Adapter  "), ContainsRegex("adapter \\('adpt'\\)  +started$"));
    EXPECT_LT(Place(ended, "Moon Vetch 2 Adapter Plugin"), Place(ended, "Adapter"));
    EXPECT_LT(Place(ended, "Adapter"), Place(ended, "Early"));
    EXPECT_LT(Place(ended, "Early"), Place(ended, "Exports"));
    EXPECT_LT(Place(ended, "Exports"), Place(ended, "Answers"));
    EXPECT_LT(Place(ended, "Answers"), Place(ended, "Good"));
    EXPECT_FALSE(std::filesystem::exists(Quarantine()));
}

TEST_F(RkhostPlugins, SuitesAreListedWithVersionsProvidersAndCounts)
{
    Put("Exports");
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mError << ended.mOutput;
    EXPECT_THAT(Line(ended, "Sample Suite"), ContainsRegex("^Sample Suite +7 +2 +Exports +0$"));
    EXPECT_THAT(Line(ended, "MV Basic Suite"),
                ContainsRegex("^MV Basic Suite +4 +1 +the host +1$"));
    EXPECT_THAT(ended.mOutput, ContainsRegex("MV Plug-ins Suite +4 [^\n]*\nMV Plug-ins Suite +5 "));
}

TEST_F(RkhostPlugins, OneThatNeedsASuiteIsStartedAgainOnceThatHasAppeared)
{
    Put("Needs"); // ahead of the other, since it starts early
    Put("Exports");
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mError << ended.mOutput;
    EXPECT_THAT(Line(ended, "  Needs  "), HasSubstr("started again after Sample Suite 7 appeared"));
    EXPECT_THAT(Line(ended, "Sample Suite  "), ContainsRegex("Exports +1$"));
}

TEST_F(RkhostPlugins, WhatDoesNotStartIsToldWithItsCode)
{
    Put("Broken");
    Put("NeedsMissing");
    const Ended ended = Scan();
    EXPECT_EQ(1, ended.mCode) << ended.mOutput;
    EXPECT_THAT(Line(ended, "  Broken  "), ContainsRegex("broken, 'Boom'$"));
    EXPECT_THAT(Line(ended, "  NeedsMissing  "), ContainsRegex("waits for a suite, 'S!Fd'$"));
    EXPECT_FALSE(std::filesystem::exists(Quarantine())) << "they have done no harm";
}

TEST_F(RkhostPlugins, WhatIsNoPluginIsLeftOut)
{
    Put("NoPlugin");
    Put("Good");
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mError << ended.mOutput;
    EXPECT_THAT(Line(ended, "SampleNoPlugin.so"), HasSubstr("  no plug-in"));
}

TEST_F(RkhostPlugins, WhatDoesHarmWhenItIsLoadedTakesNothingDownAndIsNotTriedAgain)
{
    const std::string crashing = Put("CrashesOnLoad");
    const std::string hanging = Put("HangsOnLoad");
    const std::string exiting = Put("ExitsOnLoad");
    const std::string closing = Put("ClosesOnLoad");
    Put("Good");
    const Ended first = Scan({"--limit", RK_TEST_SANITIZER ? "5" : "1"});
    EXPECT_EQ(1, first.mCode);
    EXPECT_THAT(Line(first, crashing), HasSubstr(CrashText()));
    EXPECT_THAT(Line(first, hanging), ContainsRegex("took longer than . s when it was loaded"));
    EXPECT_THAT(Line(first, exiting),
                HasSubstr(RK_TEST_SANITIZER ? "ended the process (exit code "
                                            : "ended the process (exit code 0)"));
    EXPECT_THAT(Line(first, closing), HasSubstr("closed descriptors of its process"));
    EXPECT_THAT(Line(first, "  Good  "), ContainsRegex("ordinary  +started$"));

    const auto begin = std::chrono::steady_clock::now();
    const Ended second = Scan({"--limit", "60"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
    for (const std::string& path : {crashing, hanging, exiting, closing})
        EXPECT_THAT(Line(second, path), HasSubstr("in quarantine: ")) << second.mOutput;
    EXPECT_THAT(Line(second, "  Good  "), ContainsRegex("started$"));
}

TEST_F(RkhostPlugins, OneThatHasChangedIsTriedAgain)
{
    const std::string path = Put("CrashesOnLoad");
    Scan();
    std::filesystem::copy_file(std::string(RKHOST_TEST_SAMPLES) + "/SampleGood.so", path,
                               std::filesystem::copy_options::overwrite_existing);
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mOutput;
    EXPECT_THAT(Line(ended, path), HasSubstr("good (has changed, and was tried again)"));
    EXPECT_THAT(Line(Scan(), path), ContainsRegex("  good$"));
}

TEST_F(RkhostPlugins, WhatDoesHarmWhenItIsStartedIsFoundAndTheOthersAreStartedWithoutIt)
{
    const std::string crashing = Put("CrashesOnStartup");
    const std::string hanging = Put("HangsOnStartup");
    const std::string closing = Put("ClosesOnStartup");
    Put("Good");
    Put("Exports");
    const Ended ended = Scan({"--limit", RK_TEST_SANITIZER ? "5" : "1"});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(Line(ended, crashing),
                AllOf(HasSubstr(CrashText()), HasSubstr("when it was started")));
    EXPECT_THAT(Line(ended, hanging), HasSubstr("took longer than"));
    EXPECT_THAT(Line(ended, closing), HasSubstr("closed descriptors of its process"));
    EXPECT_THAT(Line(ended, "  Good  "), ContainsRegex("started$")) << ended.mOutput;
    EXPECT_THAT(Line(ended, "Sample Suite"), ContainsRegex("Exports +0$"));
    EXPECT_THAT(Line(Scan(), crashing), HasSubstr("in quarantine: "));
}

TEST_F(RkhostPlugins, ProcessesThatAPluginLeavesBehindAreEnded)
{
    Put("ForksOnLoad");
    Put("CopiesOnLoad");
    const std::string file = mFolder.Path("left");
    const Ended ended = Scan({}, {"RK_TEST_LEFT_PROCESS=" + file});
    EXPECT_EQ(0, ended.mCode) << ended.mError << ended.mOutput;
    EXPECT_THAT(Line(ended, "  ForksOnLoad  "), ContainsRegex("started$"));
    EXPECT_THAT(Line(ended, "  CopiesOnLoad  "), ContainsRegex("started$"));
    pid_t left = 0;
    std::ifstream(file) >> left;
    ASSERT_GT(left, 0);
    EXPECT_TRUE(kill(left, 0) != 0 && errno == ESRCH) << "process " << left << " is still there";
}

TEST_F(RkhostPlugins, OneThatWritesIntoTheReportKeepsNoneFromBeingToldAndReachesNoTerminal)
{
    Put("ScribblesOnStartup");
    Put("Good");
    const Ended ended = Scan();
    EXPECT_THAT(Line(ended, "  Good  "), ContainsRegex("started$")) << ended.mOutput;
    EXPECT_THAT(Line(ended, "  ScribblesOnStartup  "), ContainsRegex("started$"));
    EXPECT_EQ(std::string::npos, ended.mOutput.find('\x1b'));
}

TEST_F(RkhostPlugins, OneThatWritesForEverIsEnded)
{
    const std::string flooding = Put("FloodsOnStartup");
    Put("Good");
    const Ended ended = Scan();
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(Line(ended, flooding), HasSubstr("wrote too much into the report"));
    EXPECT_THAT(Line(ended, "  Good  "), ContainsRegex("started$")) << ended.mOutput;
}

TEST_F(RkhostPlugins, AFileThatIsCutShortIsToldAndNotTriedAgain)
{
    const std::string path = Put("Good");
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_THAT(Line(Scan(), path), HasSubstr("cannot be read, 'Parm': damaged"));
    EXPECT_THAT(Line(Scan(), path), HasSubstr("in quarantine: cannot be read"));
    mFolder.Write("plug-ins/empty.so", "");
    EXPECT_THAT(Line(Scan(), "empty.so"), HasSubstr("no shared object"));
}

TEST_F(RkhostPlugins, WithoutACandidateTheHostsOwnAreTold)
{
    const Ended ended = Scan();
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("Moon Vetch 2 Adapter Plugin"));
    EXPECT_THAT(ended.mOutput, HasSubstr("MV Suites Suite"));
}

TEST_F(RkhostPlugins, WhatIsNotThereIsToldAndTheRestIsScanned)
{
    Put("Good");
    const Ended ended = Scan({mFolder.Path("nowhere")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("nowhere: No such file or directory"));
    EXPECT_THAT(Line(ended, "  Good  "), ContainsRegex("started$"));
}

TEST_F(RkhostPlugins, AQuarantineThatCannotBeReadIsLeftAsItIs)
{
    mFolder.Write("quarantine", "somebody's file\n");
    const Ended ended = Scan();
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("is no quarantine of plug-ins"));
    EXPECT_EQ("somebody's file\n", mFolder.Read("quarantine"));
}

TEST_F(RkhostPlugins, TheQuarantineIsInTheUsersCacheFolder)
{
    const std::string path = Put("ExitsOnLoad");
    const Ended ended = Run({"plugins", "scan", mFolder.Path("plug-ins")}, "",
                            {"XDG_CACHE_HOME=" + mFolder.Path("caches")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(mFolder.Read("caches/rkhost/plugin-quarantine"), HasSubstr(path));
}

TEST_F(RkhostPlugins, AnInterruptionEndsThePluginThatIsTried)
{
    Put("HangsOnLoad");
    const std::string pipe = mFolder.Path("hangs");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    const ChildProcess child({RKHOST_TEST_PROGRAM, "plugins", "scan", "--quarantine", Quarantine(),
                              mFolder.Path("plug-ins")},
                             "", {"RK_TEST_HANGS=" + pipe});
    close(open(pipe.c_str(), O_RDONLY | O_CLOEXEC)); // waits until the plug-in is there
    child.Signal(SIGINT);
    EXPECT_EQ(130, child.Wait());
    EXPECT_FALSE(std::filesystem::exists(Quarantine())) << "it was given no time";
}

TEST_F(RkhostPlugins, WhatMakesNoSenseIsRefused)
{
    EXPECT_EQ(2, Run({"plugins"}).mCode);
    EXPECT_EQ(2, Run({"plugins", "scan"}).mCode);
    EXPECT_EQ(2, Run({"plugins", "sing"}).mCode);
    EXPECT_EQ(2, Run({"plugins", "scan", "--limit", "0", "."}).mCode);
    EXPECT_EQ(2, Run({"plugins", "scan", "--limit", "soon", "."}).mCode);
    EXPECT_EQ(2, Run({"plugins", "load-one", "--", "x.so"}).mCode) << "nobody listens";
    const Ended help = Run({"plugins", "scan", "--help"});
    EXPECT_EQ(0, help.mCode);
    EXPECT_THAT(help.mOutput, HasSubstr("--quarantine FILE"));
}

} // namespace
} // namespace RKHostTests
