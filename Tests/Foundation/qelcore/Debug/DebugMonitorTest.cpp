#include "qelcore/DebugMonitor.h"

#include <atomic>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using qelcore::UTF16String;
using qelcore::UTF16StringStream;
using qelcore::debug::GenerateDebugMonitorReport;
using qelcore::debug::ListDebugMonitorSources;
using qelcore::debug::RegisterDebugMonitorCallback;
using qelcore::debug::UnregisterDebugMonitorCallback;
using testing::ElementsAre;
using testing::IsEmpty;

class DebugMonitorTest : public testing::Test
{
protected:
    void TearDown() override
    {
        for (const std::string& name : ListDebugMonitorSources())
            if (name.rfind("Test", 0) == 0)
                UnregisterDebugMonitorCallback(name.c_str());
    }
    static UTF16String Report(const char* inName)
    {
        UTF16StringStream stream;
        return GenerateDebugMonitorReport(inName, stream) ? stream.str() : u"(none)";
    }
    static qelcore::debug::DebugMonitorCallback Writes(const char* inText)
    {
        return [inText](UTF16StringStream& outReport) { outReport << inText; };
    }
};

TEST_F(DebugMonitorTest, ASourceIsAskedByItsName)
{
    RegisterDebugMonitorCallback("Test.One", Writes("one"));
    RegisterDebugMonitorCallback("Test.Two", Writes("two"));
    EXPECT_EQ(u"one", Report("Test.One"));
    EXPECT_EQ(u"two", Report("Test.Two"));
}

TEST_F(DebugMonitorTest, AnUnknownSourceLeavesTheReportUntouched)
{
    UTF16StringStream stream;
    stream << "before";
    EXPECT_FALSE(GenerateDebugMonitorReport("Test.None", stream));
    EXPECT_EQ(u"before", stream.str());
}

TEST_F(DebugMonitorTest, ANameRegisteredAgainTakesThePlaceOfTheFirst)
{
    RegisterDebugMonitorCallback("Test.One", Writes("first"));
    RegisterDebugMonitorCallback("Test.One", Writes("second"));
    EXPECT_EQ(u"second", Report("Test.One"));
    EXPECT_THAT(ListDebugMonitorSources(), ElementsAre("Test.One"));
}

TEST_F(DebugMonitorTest, SourcesAreListedByName)
{
    RegisterDebugMonitorCallback("Test.B", Writes(""));
    RegisterDebugMonitorCallback("Test.A", Writes(""));
    EXPECT_THAT(ListDebugMonitorSources(), ElementsAre("Test.A", "Test.B"));

    UnregisterDebugMonitorCallback("Test.A");
    UnregisterDebugMonitorCallback("Test.B");
    UnregisterDebugMonitorCallback("Test.B");
    EXPECT_THAT(ListDebugMonitorSources(), IsEmpty());
}

TEST_F(DebugMonitorTest, ACallbackMayAskTheRegistryItself)
{
    RegisterDebugMonitorCallback("Test.Inner", Writes("inner"));
    RegisterDebugMonitorCallback("Test.Outer",
                                 [](UTF16StringStream& outReport)
                                 {
                                     GenerateDebugMonitorReport("Test.Inner", outReport);
                                     RegisterDebugMonitorCallback("Test.New", Writes("new"));
                                 });
    EXPECT_EQ(u"inner", Report("Test.Outer"));
    EXPECT_EQ(u"new", Report("Test.New"));
}

TEST_F(DebugMonitorTest, ACallbackMayTakeItselfAway)
{
    RegisterDebugMonitorCallback("Test.One",
                                 [](UTF16StringStream& outReport)
                                 {
                                     UnregisterDebugMonitorCallback("Test.One");
                                     outReport << "last words";
                                 });
    EXPECT_EQ(u"last words", Report("Test.One"));
    EXPECT_EQ(u"(none)", Report("Test.One"));
}

TEST_F(DebugMonitorTest, WhatACallbackRaisesReachesWhoAskedAndLeavesTheSourceUsable)
{
    bool fails = true;
    RegisterDebugMonitorCallback("Test.One",
                                 [&](UTF16StringStream& outReport)
                                 {
                                     if (fails)
                                         throw std::runtime_error("no report");
                                     outReport << "report";
                                 });
    EXPECT_THROW(Report("Test.One"), std::runtime_error);
    fails = false;
    EXPECT_EQ(u"report", Report("Test.One"));
    UnregisterDebugMonitorCallback("Test.One"); // would wait for ever if the call still counted
}

// A source whose callback is running on another thread until End() lets it go.
class RunningSource
{
public:
    RunningSource()
    {
        RegisterDebugMonitorCallback("Test.Running",
                                     [this](UTF16StringStream&)
                                     {
                                         mEntered = true;
                                         while (!mMayEnd)
                                             std::this_thread::yield();
                                         // Time enough for who would not wait.
                                         for (int turn = 0; turn < 1000; ++turn)
                                             std::this_thread::yield();
                                         mEnded = true;
                                     });
        mAsker = std::thread(
            []
            {
                UTF16StringStream stream;
                GenerateDebugMonitorReport("Test.Running", stream);
            });
        while (!mEntered)
            std::this_thread::yield();
    }
    ~RunningSource()
    {
        LetGo();
        mAsker.join();
    }
    void LetGo() { mMayEnd = true; }
    bool HasEnded() const { return mEnded; }

private:
    std::atomic<bool> mEntered{false};
    std::atomic<bool> mMayEnd{false};
    std::atomic<bool> mEnded{false};
    std::thread mAsker;
};

TEST_F(DebugMonitorTest, UnregisteringWaitsForARunningCallback)
{
    RunningSource source;
    source.LetGo();
    UnregisterDebugMonitorCallback("Test.Running");
    EXPECT_TRUE(source.HasEnded());
}

TEST_F(DebugMonitorTest, RegisteringAnotherWaitsForTheCallbackBefore)
{
    RunningSource source;
    source.LetGo();
    RegisterDebugMonitorCallback("Test.Running", Writes("other"));
    EXPECT_TRUE(source.HasEnded());
}

TEST_F(DebugMonitorTest, ARunningCallbackHoldsUpNoOtherSource)
{
    RunningSource source;
    RegisterDebugMonitorCallback("Test.Other", Writes("other"));
    EXPECT_EQ(u"other", Report("Test.Other"));
    UnregisterDebugMonitorCallback("Test.Other");
    EXPECT_FALSE(source.HasEnded());
}

} // namespace
