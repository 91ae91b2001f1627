// "rkhost watch", and "rkhost play --watch" of a sequence that grows.
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

// Changes a folder again and again from the side: a watch begins at a time that nobody tells.
class Changing
{
public:
    explicit Changing(const FrameFolder& inFolder, const std::string& inName)
        : mThread(
              [this, &inFolder, inName]
              {
                  while (!mMustEnd)
                  {
                      inFolder.Write(inName, std::string("x"));
                      std::filesystem::remove(inFolder.Path(inName));
                      std::this_thread::sleep_for(std::chrono::milliseconds(20));
                  }
              })
    {
    }
    ~Changing()
    {
        mMustEnd = true;
        mThread.join();
    }

private:
    std::atomic<bool> mMustEnd{false};
    std::thread mThread;
};

class RkhostWatchTest : public RkhostTest
{
protected:
    /// A line without the time at its begin.
    static std::string Told(const std::string& inLine)
    {
        EXPECT_THAT(inLine, MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  .*"));
        return inLine.substr(std::min<std::size_t>(14, inLine.size()));
    }
};

TEST_F(RkhostWatchTest, AChangeIsALineWithItsTimeAndThePathAsGiven)
{
    const std::string folder = mFolder.Path("") + "/"; // another spelling
    const ChildProcess child({RKHOST_TEST_PROGRAM, "watch", "--count", "1", folder}, "", {});
    const Changing changing(mFolder, "x");
    EXPECT_EQ(Told(child.ReadLine()), "changed   " + folder);
    EXPECT_EQ(child.ReadOutput(), "");
    EXPECT_EQ(child.Wait(), 0);
}

TEST_F(RkhostWatchTest, RecursivelyChangesBelowAreTold)
{
    mFolder.MakeFolder("a/b");
    const ChildProcess child(
        {RKHOST_TEST_PROGRAM, "watch", "--recursive", "--count=1", mFolder.Path("a")}, "", {});
    const Changing changing(mFolder, "a/b/x");
    EXPECT_EQ(Told(child.ReadLine()), "changed   " + mFolder.Path("a"));
    EXPECT_EQ(child.Wait(), 0);
}

TEST_F(RkhostWatchTest, ItEndsAfterTheSecondsGivenWithoutALine)
{
    const Ended ended = Run({"watch", "--volumes", "--seconds", "0.2"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("", ended.mOutput);
}

TEST_F(RkhostWatchTest, AnInterruptionEndsItWith130)
{
    const ChildProcess child({RKHOST_TEST_PROGRAM, "watch", mFolder.Path("")}, "", {});
    const Changing changing(mFolder, "x");
    child.ReadLine();
    child.Signal(SIGINT);
    child.ReadOutput();
    EXPECT_EQ(child.Wait(), 130);
}

TEST_F(RkhostWatchTest, WhatCannotBeWatchedIsRefused)
{
    EXPECT_EQ(2, Run({"watch"}).mCode);
    EXPECT_EQ(2, Run({"watch", "--count", "0", mFolder.Path("")}).mCode);
    const Ended absent = Run({"watch", mFolder.Path("absent")});
    EXPECT_EQ(1, absent.mCode);
    EXPECT_THAT(absent.mError, HasSubstr("absent: there is no such folder"));
    mFolder.Write("file", std::string("x"));
    EXPECT_THAT(Run({"watch", mFolder.Path("file")}).mError, HasSubstr("file: is no folder"));
}

TEST_F(RkhostWatchTest, HelpTellsWhatALineSays)
{
    const Ended ended = Run({"watch", "--help"});
    EXPECT_EQ(0, ended.mCode);
    EXPECT_THAT(ended.mOutput, HasSubstr("look-now"));
}

TEST_F(RkhostWatchTest, PlayGoesOnWithFramesThatAreAddedWhileItPlays)
{
    const std::string first = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2});
    const ChildProcess child({RKHOST_TEST_PROGRAM, "play", "--watch", "--seconds", "6", first}, "",
                             {});
    EXPECT_EQ(child.ReadLine(), "f[0001-0002].jpg: 2 frames");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    mFolder.WriteFrames("quadrants-420.jpg", "f", {3, 5}); // 4 is still being made
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    mFolder.WriteFrames("quadrants-420.jpg", "f", {4, 6});
    mFolder.WriteFrames("quadrants-420.jpg", "f", {0}); // before the first: not taken up
    Ended ended;
    ended.mOutput = "\n" + child.ReadOutput();
    ended.mError = child.ReadError();
    ended.mCode = child.Wait();
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("6 0", Row(ended, "frames"));
    EXPECT_EQ("0 0", Row(ended, "errors"));
}

TEST_F(RkhostWatchTest, PlayRefusesToWatchWhatItWouldPlayTwiceOrOutOfOrder)
{
    const std::string first = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2});
    for (const char* option : {"--still", "--scrub=1", "--passes=2", "--analysis=a"})
        EXPECT_EQ(2, Run({"play", "--watch", option, first}).mCode) << option;
}

} // namespace
} // namespace RKHostTests
