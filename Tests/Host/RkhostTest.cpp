// rkhost plays, runs commands, and answers to a wrong use.
#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

TEST_F(RkhostTest, TheSecondPassComesWhollyFromTheCache)
{
    const std::string path = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3, 4, 5});

    const Ended ended = Run({"play", path});

    EXPECT_EQ(0, ended.mCode);
    EXPECT_EQ("", ended.mError);
    EXPECT_THAT(ended.mOutput, HasSubstr("f[0001-0005].jpg: 5 frames"));
    EXPECT_EQ("5 5", Row(ended, "frames"));
    EXPECT_EQ("0.0 % 100.0 %", Row(ended, "hit ratio"));
    EXPECT_EQ("0 0", Row(ended, "errors"));
}

TEST_F(RkhostTest, TheSummaryTellsRatesSizesAndPeak)
{
    const std::string path = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3, 4});

    const Ended ended = Run({"play", path});

    // A frame of this file takes 1536 bytes.
    EXPECT_THAT(Row(ended, "cache size"), ContainsRegex("^6\\.00 "));
    for (const char* name : {"frames per second", "warm against cold", "cache budget", "purged",
                             "peak resident memory"})
        EXPECT_THAT(Row(ended, name), ContainsRegex("[0-9]")) << name;
    EXPECT_THAT(Row(ended, "purged"), ContainsRegex("^0 "));
}

TEST_F(RkhostTest, EachFormatIsPlayed)
{
    for (const char* image :
         {"quadrants.png", "quadrants-422.jpg", "quadrants.tiff", "quadrants.dpx", "quadrants.exr"})
    {
        const std::string prefix = std::string(image) + "_";
        const Ended ended = Run({"play", mFolder.WriteFrames(image, prefix, {8, 9, 10})});
        EXPECT_EQ(0, ended.mCode) << image << ": " << ended.mError;
        EXPECT_EQ("0.0 % 100.0 %", Row(ended, "hit ratio")) << image;
    }
}

TEST_F(RkhostTest, ReadingEveryByteFindsWhatWasDecoded)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3});
    const Ended ended = Run({"play", "--every-byte", path});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("0.0 % 100.0 %", Row(ended, "hit ratio"));
}

TEST_F(RkhostTest, ALimitPlaysTheFirstFramesOnly)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3, 4});
    EXPECT_EQ("2 2", Row(Run({"play", "--limit", "2", path}), "frames"));
}

TEST_F(RkhostTest, WithoutATerminalThereAreWholeLinesOnly)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3, 4});

    const Ended ended = Run({"play", path});

    EXPECT_THAT(ended.mOutput, HasSubstr("\ncold  4/4  "));
    EXPECT_THAT(ended.mOutput, HasSubstr("\nwarm  4/4  "));
    EXPECT_EQ(std::string::npos, ended.mOutput.find_first_of("\r\033"));
}

TEST_F(RkhostTest, OnATerminalABarIsDrawn)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        GTEST_SKIP() << "needs a pseudo-terminal";
    const int output = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(output, 0);
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3, 4});

    const ChildProcess child({RKHOST_TEST_PROGRAM, "play", path}, "", {}, output);
    const std::string text = ChildProcess::ReadAll(terminal); // ends when the child does
    EXPECT_EQ(0, child.Wait());
    close(terminal);

    EXPECT_THAT(text, HasSubstr("\r\033[Kcold [##########"));
    EXPECT_THAT(text, HasSubstr("100 %"));
}

TEST_F(RkhostTest, AHoleIsAnErrorOfThatFrameAlone)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 4});

    const Ended ended = Run({"play", path});

    EXPECT_EQ(1, ended.mCode);
    EXPECT_EQ("rkhost: " + mFolder.Path("f0003.png") + ": No such file or directory\n",
              ended.mError);
    EXPECT_EQ("4 4", Row(ended, "frames"));
    EXPECT_EQ("0.0 % 75.0 %", Row(ended, "hit ratio"));
    EXPECT_EQ("1 1", Row(ended, "errors"));
}

TEST_F(RkhostTest, ATruncatedImageIsAnErrorOfThatFrameAlone)
{
    for (const char* image :
         {"quadrants.png", "quadrants-420.jpg", "quadrants.tiff", "quadrants.dpx", "quadrants.exr"})
    {
        const std::string prefix = std::string(image) + "_";
        const std::string path = mFolder.WriteFrames(image, prefix, {1, 2, 3, 4});
        const std::string second =
            prefix + "0002" + std::filesystem::path(image).extension().string();
        const Bytes whole = TestFile(image);
        mFolder.Write(second, Bytes(whole.begin(), whole.begin() + whole.size() / 2));

        const Ended ended = Run({"play", path});

        EXPECT_EQ(1, ended.mCode) << image;
        EXPECT_EQ(1, Count(ended.mError, "\n")) << ended.mError;
        EXPECT_THAT(ended.mError, HasSubstr(second + ": "));
        EXPECT_EQ("0.0 % 75.0 %", Row(ended, "hit ratio")) << image;
    }
}

TEST_F(RkhostTest, WhatIsNoImageIsToldForEachFile)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1});
    mFolder.Write("f0002.png", Bytes());
    mFolder.Write("f0003.png", Bytes(1000, 'x'));
    std::filesystem::create_directory(mFolder.Path("f0004.png"));
    mFolder.WriteFrames("quadrants.png", "f", {5});

    const Ended ended = Run({"play", path});

    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("f0002.png: the file is empty\n"));
    EXPECT_THAT(ended.mError,
                HasSubstr("f0003.png: not a PNG, JPEG, TIFF, DPX or OpenEXR image\n"));
    EXPECT_THAT(ended.mError, HasSubstr("f0004.png: is not a regular file\n"));
    EXPECT_EQ("3 3", Row(ended, "errors"));
}

TEST_F(RkhostTest, AnUnreadableFileIsAnErrorOfThatFrameAlone)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3});
    std::filesystem::permissions(mFolder.Path("f0002.png"), std::filesystem::perms::none);
    std::vector<std::string> command = {RKHOST_TEST_PROGRAM, "play", path};
    if (access(mFolder.Path("f0002.png").c_str(), R_OK) == 0)
    {
        // For root nothing is unreadable, unless it gives up the right to that.
        const std::string giveUp = "/usr/bin/setpriv";
        if (access(giveUp.c_str(), X_OK) != 0)
            GTEST_SKIP() << "needs setpriv, or a user for whom a file without rights is unreadable";
        command.insert(command.begin(),
                       {giveUp, "--bounding-set", "-dac_override,-dac_read_search"});
    }

    const Ended ended = RunCommand(command);

    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("f0002.png: Permission denied\n"));
    EXPECT_EQ("1 1", Row(ended, "errors"));
}

TEST_F(RkhostTest, ManyFailuresAreToldShortly)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 100});
    const Ended ended = Run({"play", path});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_EQ(21, Count(ended.mError, "\n"));
    EXPECT_THAT(ended.mError, HasSubstr("rkhost: and 78 more frames that failed\n"));
}

TEST_F(RkhostTest, AMissingPathIsAFailure)
{
    const Ended ended = Run({"play", mFolder.Path("f0001.png")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_EQ("rkhost: " + mFolder.Path("f0001.png") + ": there is no such file\n", ended.mError);
    EXPECT_EQ("", ended.mOutput);
}

TEST_F(RkhostTest, AFolderIsAWrongUse)
{
    const Ended ended = Run({"play", mFolder.Path()});
    EXPECT_EQ(2, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("is a folder"));
}

TEST_F(RkhostTest, ANameWithoutANumberIsAWrongUseUnlessItIsPlayedAlone)
{
    const std::string path = mFolder.Write("still.png", TestFile("quadrants.png"));

    const Ended refused = Run({"play", path});
    EXPECT_EQ(2, refused.mCode);
    EXPECT_THAT(refused.mError, HasSubstr("has no number in its name"));
    EXPECT_THAT(refused.mError, HasSubstr("--still"));

    const Ended played = Run({"play", "--still", path});
    EXPECT_EQ(0, played.mCode) << played.mError;
    EXPECT_EQ("1 1", Row(played, "frames"));
}

TEST_F(RkhostTest, AStillWithANumberLeavesItsNeighboursOut)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 3});
    EXPECT_EQ("1 1", Row(Run({"play", "--still", path}), "frames"));
}

TEST_F(RkhostTest, NumbersTooFarApartAreRefusedRatherThanCounted)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1});
    mFolder.WriteFrames("quadrants.png", "f", {2000000000});
    const Ended ended = Run({"play", path});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("too far apart"));
}

TEST_F(RkhostTest, ANameThatIsNotUTF8IsPlayed)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "\xff\xfe_\xc3_", {1, 2});
    const Ended ended = Run({"play", path});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("2 2", Row(ended, "frames"));
}

class ContactSheetOfRkhost : public RkhostTest
{
protected:
    // Frames of 32 x 32 pixels, a gap of 8 between and around them.
    static Color InCell(const Decoded& inSheet, std::uint32_t inColumn, std::uint32_t inRow,
                        std::uint32_t inX, std::uint32_t inY)
    {
        return ColorAt(inSheet.mPixels, inSheet.mInfo.mWidth, 8 + inColumn * 40 + inX,
                       8 + inRow * 40 + inY);
    }

    Decoded ReadSheet() const
    {
        std::ifstream file(mSheet, std::ios::binary);
        return Decode(Bytes(std::istreambuf_iterator<char>(file), {}));
    }

    const std::string mSheet = mFolder.Path("sheet.png");
};

TEST_F(ContactSheetOfRkhost, ShowsTheFramesInAGrid)
{
    const std::string path =
        mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3, 4, 5, 6, 7, 8});

    const Ended ended = Run({"play", "--contact-sheet", mSheet, path});
    const Decoded sheet = ReadSheet();

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr(mSheet));
    ASSERT_EQ(kRKImageStatus_OK, sheet.mStatus) << sheet.mError;
    EXPECT_EQ(8u + 6 * 40, sheet.mInfo.mWidth);
    EXPECT_EQ(8u + 2 * 40, sheet.mInfo.mHeight);
    const Color gap = ColorAt(sheet.mPixels, sheet.mInfo.mWidth, 2, 2);
    for (std::uint32_t cell = 0; cell < 8; ++cell)
    {
        EXPECT_TRUE(IsNear({200, 50, 50}, InCell(sheet, cell % 6, cell / 6, 8, 8), 4)) << cell;
        EXPECT_TRUE(IsNear({50, 200, 50}, InCell(sheet, cell % 6, cell / 6, 24, 8), 4)) << cell;
        EXPECT_TRUE(IsNear({50, 50, 200}, InCell(sheet, cell % 6, cell / 6, 8, 24), 4)) << cell;
        EXPECT_TRUE(IsNear(gap, InCell(sheet, cell % 6, cell / 6, 36, 16), 0)) << cell;
    }
    EXPECT_TRUE(IsNear(gap, InCell(sheet, 2, 1, 8, 8), 0)) << "there is no ninth frame";
}

TEST_F(ContactSheetOfRkhost, ShowsAFrameThatFailedInRed)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 3});

    const Ended ended = Run({"play", "--contact-sheet", mSheet, path});
    const Decoded sheet = ReadSheet();

    EXPECT_EQ(1, ended.mCode);
    ASSERT_EQ(kRKImageStatus_OK, sheet.mStatus) << sheet.mError;
    const Color failed = InCell(sheet, 1, 0, 24, 24);
    EXPECT_GT(failed.mRed, 2 * failed.mGreen);
    EXPECT_GT(failed.mRed, 2 * failed.mBlue);
    EXPECT_TRUE(IsNear({128, 128, 128}, InCell(sheet, 2, 0, 24, 24), 0));
}

TEST_F(ContactSheetOfRkhost, IsNotWrittenWhereNoFrameCouldBeDecoded)
{
    const std::string path = mFolder.Write("f1.png", Bytes(100, 'x'));
    const Ended ended = Run({"play", "--contact-sheet", mSheet, path});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("no frame could be decoded"));
    EXPECT_FALSE(std::filesystem::exists(mSheet));
}

TEST_F(ContactSheetOfRkhost, ThatCannotBeWrittenIsAFailureWithoutLeftOvers)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1});
    const std::string nowhere = mFolder.Path("no-such-folder/sheet.png");
    const Ended missing = Run({"play", "--contact-sheet", nowhere, path});
    EXPECT_EQ(1, missing.mCode);
    EXPECT_THAT(missing.mError, HasSubstr(nowhere + ": cannot be written"));

    std::filesystem::create_directory(mSheet);
    EXPECT_EQ(1, Run({"play", "--contact-sheet", mSheet, path}).mCode);
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder.Path()))
        left.push_back(entry.path().filename());
    EXPECT_THAT(left, testing::UnorderedElementsAre("f0001.png", "sheet.png"));
}

TEST_F(RkhostTest, EachPassMoreIsCountedAndHasTheSameFrames)
{
    const std::string path = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3});
    const Ended ended = Run({"play", "--passes", "4", path});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("1 3", Row(ended, "passes"));
    EXPECT_EQ("3 9", Row(ended, "frames"));
    EXPECT_THAT(Row(ended, "checksum"), ContainsRegex("^[0-9a-f]+ same$"));
    EXPECT_THAT(ended.mOutput, HasSubstr("\npass 4  3/3  "));
    EXPECT_EQ("3", Row(ended, "files kept open"));
}

TEST_F(RkhostTest, TheTimeEndsThePasses)
{
    const std::string path = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2});
    const Ended ended = Run({"play", "--seconds", "0.2", path});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(Row(ended, "checksum"), HasSubstr(" same"));
}

TEST_F(RkhostTest, AnInterruptionEndsCleanlyWith130)
{
    // So many numbers without files that the pass is still under way when the signal comes.
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1});
    mFolder.Write("f60000.png", TestFile("quadrants.png"));
    const ChildProcess child({RKHOST_TEST_PROGRAM, "play", path}, "", {});
    EXPECT_THAT(child.ReadLine(), HasSubstr("60000 frames"));

    child.Signal(SIGINT);
    const std::string output = child.ReadOutput();
    const std::string error = child.ReadError();

    EXPECT_EQ(130, child.Wait());
    EXPECT_THAT(error, HasSubstr("rkhost: interrupted\n"));
    EXPECT_THAT(output, Not(HasSubstr("hit ratio")));
}

TEST_F(RkhostTest, AMissingImporterIsAFailureThatNamesIt)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1});
    const std::vector<std::string> environment = {"RKHOST_IMPORTER=" + mFolder.Path("none.so")};

    const Ended ended = Run({"play", path}, "", environment);

    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot load the image importer"));
    EXPECT_THAT(ended.mError, HasSubstr("none.so"));
    EXPECT_EQ(0, Run({"info"}, "", environment).mCode) << "the figures need no importer";
}

TEST_F(RkhostTest, TheConsoleListsTheCommandsOfTheLibrary)
{
    const Ended ended = Run({"console", "help"});
    EXPECT_EQ(0, ended.mCode);
    EXPECT_THAT(ended.mOutput, HasSubstr("RK.PurgeMediaManager <bytes> - Purges <bytes>"));
    EXPECT_THAT(ended.mOutput, HasSubstr("RK.StressMediaVector - Stress the MediaVector"));
}

TEST_F(RkhostTest, TheConsoleRunsEachArgumentAsALine)
{
    const Ended ended = Run({"console", "RK.PurgeMediaManager", "RK.PurgeMediaManager 1000"});
    EXPECT_EQ(0, ended.mCode);
    EXPECT_EQ(2, Count(ended.mOutput, "Purged: "));
}

TEST_F(RkhostTest, TheConsoleReadsLinesUntilQuit)
{
    const Ended ended =
        Run({"console"}, "\n  RK.PurgeMediaManager 5  \nquit\nRK.PurgeMediaManager\n");
    EXPECT_EQ(0, ended.mCode);
    EXPECT_EQ(1, Count(ended.mOutput, "Purged: "));
    EXPECT_THAT(ended.mOutput, Not(HasSubstr("rkhost>"))) << "no prompt without a terminal";
}

TEST_F(RkhostTest, AnUnknownCommandIsToldAndTheOthersStillRun)
{
    const Ended ended = Run({"console", "Dance now", "RK.PurgeMediaManager"});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("there is no command 'Dance'"));
    EXPECT_EQ(1, Count(ended.mOutput, "Purged: "));
    EXPECT_EQ(1, Run({"console"}, "Dance\n").mCode);
}

TEST_F(RkhostTest, InfoTellsFiguresThatScriptsCanRead)
{
    const Ended ended = Run({"info"});
    EXPECT_EQ(0, ended.mCode);
    for (const char* name : {"cache budget", "physical memory", "free physical memory"})
        EXPECT_THAT(ended.mOutput, ContainsRegex(std::string(name) + ": +[1-9][0-9]* bytes"));
    EXPECT_THAT(ended.mOutput, ContainsRegex("importer: .*FFmpeg.*licence: .*GPL"));
}

TEST_F(RkhostTest, HelpAndVersionAreNoErrors)
{
    const Ended help = Run({"--help"});
    EXPECT_EQ(0, help.mCode);
    EXPECT_EQ("", help.mError);
    EXPECT_THAT(help.mOutput, HasSubstr("--contact-sheet FILE"));
    EXPECT_THAT(Run({"--version"}).mOutput, ContainsRegex("^rkhost [0-9]+\\.[0-9]+\\.[0-9]+\n$"));
}

TEST_F(RkhostTest, AWrongCommandLineIsAnsweredWithTwo)
{
    EXPECT_EQ(2, Run({}).mCode);
    EXPECT_EQ(2, Run({"dance"}).mCode);
    const Ended ended = Run({"play", "--fast", "a1.png"});
    EXPECT_EQ(2, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("play has no option --fast"));
}

TEST_F(RkhostTest, OutputThatCannotBeWrittenIsAFailure)
{
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (full < 0)
        GTEST_SKIP() << "needs /dev/full";
    const ChildProcess child({RKHOST_TEST_PROGRAM, "info"}, "", {}, full);
    EXPECT_THAT(child.ReadError(), HasSubstr("cannot be written"));
    EXPECT_EQ(1, child.Wait());
}

} // namespace
} // namespace RKHostTests
