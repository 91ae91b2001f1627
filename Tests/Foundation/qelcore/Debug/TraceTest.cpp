#include "qelcore/Trace.h"

#include <atomic>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TraceCapture.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using qelcore::UTF16String;
using qelcore::debug::DebugDatabase;
using qelcore::debug::RecentTraceLines;
using qelcore::debug::SetTraceSink;
using qelcore::debug::TraceEnabled;
using qelcore::debug::TraceSink;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::TraceCapture;

class TraceTest : public testing::Test
{
protected:
    void TearDown() override
    {
        SetTraceSink(TraceSink());
        for (const DebugDatabase::Entry& entry : DebugDatabase::Instance().List())
            if (entry.first.rfind("Trace", 0) == 0)
                DebugDatabase::Instance().RemoveEntry(entry.first);
    }
    static void Set(const char* inKey, const char* inValue)
    {
        DebugDatabase::Instance().SetEntry(inKey, inValue);
    }
};

std::string Written(const std::function<void(qelcore::debug::SafeTraceStream&)>& inWrite)
{
    TraceCapture capture("Test.Operands");
    {
        qelcore::debug::SafeTraceStream stream("Test.Operands", 0);
        inWrite(stream);
    }
    return capture.Texts().at(0);
}

TEST_F(TraceTest, ALineHasThreadCategoryLevelAndTextInTheFixedForm)
{
    TraceCapture capture("Test.Form", 3);

    RK_TRACE("Test.Form", 3, "a " << 1 << u" \u00E9");

    const std::string thread = std::to_string(qelcore::threads::GetCurrentThreadID());
    EXPECT_THAT(capture.Lines(), ElementsAre("<" + thread + "> <Test.Form> <3> a 1 \xC3\xA9\n"));
}

TEST_F(TraceTest, TheTextIsNotEvaluatedWhileItsLevelIsOff)
{
    TraceCapture capture("Test.Off", 1);
    int evaluated = 0;

    RK_TRACE("Test.Off", 2, ++evaluated);

    EXPECT_EQ(0, evaluated);
    EXPECT_TRUE(capture.Lines().empty());
}

TEST_F(TraceTest, ASiteFollowsASettingAtItsNextRun)
{
    TraceCapture capture("Test.Follows", 0);
    const auto site = [] { RK_TRACE("Test.Follows", 5, "on"); };

    site();
    Set("Trace.Test.Follows", "5");
    site();
    Set("Trace.Test.Follows", "4");
    site();

    EXPECT_THAT(capture.Texts(), ElementsAre("on"));
}

TEST_F(TraceTest, LevelZeroAloneIsOnWithoutASetting)
{
    EXPECT_TRUE(TraceEnabled("Test.Unset", 0, true));
    EXPECT_FALSE(TraceEnabled("Test.Unset", 1, true));
}

TEST_F(TraceTest, NothingIsOnWithoutASettingForWhoAsksForOne)
{
    EXPECT_FALSE(TraceEnabled("Test.Unset", 0, false));
    Set("Trace.Test.Unset", "0");
    EXPECT_TRUE(TraceEnabled("Test.Unset", 0, false));
}

TEST_F(TraceTest, TheKeyForAllCategoriesYieldsToACategorysOwn)
{
    Set("Trace", "3");
    Set("Trace.Test.Own", "1");

    EXPECT_TRUE(TraceEnabled("Test.Any", 3, true));
    EXPECT_FALSE(TraceEnabled("Test.Any", 4, true));
    EXPECT_TRUE(TraceEnabled("Test.Own", 1, true));
    EXPECT_FALSE(TraceEnabled("Test.Own", 2, true));
}

TEST_F(TraceTest, MinusOneTurnsLevelZeroOff)
{
    Set("Trace.Test.Silent", "-1");
    EXPECT_FALSE(TraceEnabled("Test.Silent", 0, true));
}

TEST_F(TraceTest, AValueThatIsNoNumberCountsAsNotSet)
{
    Set("Trace", "2");
    Set("Trace.Test.Odd", "5x");
    EXPECT_TRUE(TraceEnabled("Test.Odd", 2, true));
    EXPECT_FALSE(TraceEnabled("Test.Odd", 3, true));
}

TEST_F(TraceTest, StandardErrorStaysSilentUntilATraceKeyIsSet)
{
    testing::internal::CaptureStderr();
    RK_TRACE("Test.Quiet", 0, "nobody asked");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());

    Set("Trace.Test.Quiet", "0");
    testing::internal::CaptureStderr();
    RK_TRACE("Test.Quiet", 0, "somebody asked");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("> somebody asked\n"));
}

TEST_F(TraceTest, ALineThatNobodyAskedForCanStillBeFound)
{
    RK_TRACE("Test.Found", 0, "the only word of a failure");
    EXPECT_THAT(RecentTraceLines().back(),
                HasSubstr("<Test.Found> <0> the only word of a failure\n"));
}

TEST_F(TraceTest, TheLast128LinesAreKeptAndCutTo1024Bytes)
{
    for (int line = 0; line < 200; ++line)
        qelcore::debug::Trace(std::to_string(line) + std::string(2000, 'x'));

    const std::vector<std::string> recent = RecentTraceLines();
    ASSERT_EQ(128u, recent.size());
    EXPECT_EQ("72" + std::string(1022, 'x'), recent.front());
    EXPECT_EQ("199" + std::string(1021, 'x'), recent.back());
}

TEST_F(TraceTest, ASinkTakesThePlaceOfStandardError)
{
    std::string sunk;
    SetTraceSink([&](const std::string& inLine) { sunk += inLine; });
    Set("Trace.Test.Sink", "0");

    testing::internal::CaptureStderr();
    qelcore::debug::Trace("line\n");

    EXPECT_EQ("line\n", sunk);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(TraceTest, WhatASinkRaisesDoesNotReachTheTracer)
{
    SetTraceSink([](const std::string&) { throw std::runtime_error("sink"); });
    EXPECT_NO_THROW(qelcore::debug::Trace("line\n"));
}

TEST_F(TraceTest, ASinkThatTracesIsNotCalledForItsOwnLine)
{
    int calls = 0;
    SetTraceSink(
        [&](const std::string&)
        {
            ++calls;
            qelcore::debug::Trace("from the sink\n");
        });

    qelcore::debug::Trace("line\n");

    EXPECT_EQ(1, calls);
    EXPECT_EQ("from the sink\n", RecentTraceLines().back());
}

TEST_F(TraceTest, ASinkIsNotRunningOnceItHasBeenReplaced)
{
    std::atomic<bool> entered{false};
    std::atomic<bool> replacing{false};
    std::atomic<bool> ended{false};
    SetTraceSink(
        [&](const std::string&)
        {
            entered = true;
            while (!replacing)
                std::this_thread::yield();
            for (int turn = 0; turn < 1000; ++turn)
                std::this_thread::yield(); // time enough for who would not wait
            ended = true;
        });
    std::thread tracer([] { qelcore::debug::Trace("line\n"); });
    while (!entered)
        std::this_thread::yield();

    replacing = true;
    SetTraceSink(TraceSink());
    EXPECT_TRUE(ended);

    tracer.join();
}

TEST_F(TraceTest, ASinkMayReplaceItself)
{
    int calls = 0;
    SetTraceSink(
        [&](const std::string&)
        {
            ++calls;
            SetTraceSink(TraceSink());
        });

    qelcore::debug::Trace("one\n");
    qelcore::debug::Trace("two\n");

    EXPECT_EQ(1, calls);
}

TEST_F(TraceTest, TextsAreWrittenAsUTF8)
{
    const qelcore::UTF8String narrow{0xC3, 0xA9};
    const UTF16String wide = u"\u00E9\U0001F600";
    EXPECT_EQ("a|b|c|\xC3\xA9|\xC3\xA9\xF0\x9F\x98\x80|\xC3\xA9",
              Written(
                  [&](auto& out)
                  {
                      out << "a" << '|' << std::string("b") << '|' << std::string_view("c") << '|'
                          << narrow << '|' << wide << '|' << u"\u00E9";
                  }));
}

TEST_F(TraceTest, AnUnpairedSurrogateIsWrittenAsTheReplacementCharacter)
{
    EXPECT_EQ("\xEF\xBF\xBD", Written([](auto& out) { out << UTF16String(1, char16_t(0xD800)); }));
}

TEST_F(TraceTest, NullTextsAreNamed)
{
    EXPECT_EQ("(null)(null)", Written(
                                  [](auto& out)
                                  {
                                      out << static_cast<const char*>(nullptr)
                                          << static_cast<const char16_t*>(nullptr);
                                  }));
}

TEST_F(TraceTest, NumbersAreWrittenWholeAndWithoutALocale)
{
    EXPECT_EQ("-2147483648 4294967295 -9223372036854775808 18446744073709551615 0.1 true false",
              Written(
                  [](auto& out)
                  {
                      out << INT32_MIN << ' ' << UINT32_MAX << ' ' << INT64_MIN << ' ' << UINT64_MAX
                          << ' ' << 0.1 << ' ' << true << ' ' << false;
                  }));
}

TEST_F(TraceTest, AResultCanBeWrittenInHexadecimal)
{
    EXPECT_EQ("a00f0001",
              Written([](auto& out) { out << qelcore::debug::Hex(std::int32_t(0xA00F0001)); }));
}

} // namespace
