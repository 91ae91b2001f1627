#include "qelcore/StackTrace.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace qelcore::debug;
using testing::HasSubstr;

[[gnu::noinline]] StackTrace TraceOfThisFunction(std::size_t inMostFrames, std::size_t inSkip)
{
    StackTrace trace = GenerateStackTrace(inMostFrames, inSkip);
    trace.shrink_to_fit(); // something behind the call
    return trace;
}

std::string Described(const StackTrace& inTrace)
{
    return qelcore::ToNarrowString(DelimitedStackTraceDescription(inTrace, "|"));
}

TEST(StackTrace, TheFirstTwoFramesAreItsOwnAndTheCallerComesNext)
{
    std::string name;
    ASSERT_TRUE(StackFrameFunctionName(TraceOfThisFunction(1, 1).at(0), name));
    EXPECT_THAT(name, HasSubstr("qelcore::debug::GenerateStackTrace"));
    ASSERT_TRUE(StackFrameFunctionName(TraceOfThisFunction(1, 2).at(0), name));
    EXPECT_THAT(name, HasSubstr("TraceOfThisFunction"));
}

TEST(StackTrace, HasNoMoreFramesThanAskedFor)
{
    EXPECT_EQ(3u, TraceOfThisFunction(3, 0).size());
    EXPECT_TRUE(TraceOfThisFunction(0, 0).empty());
    EXPECT_TRUE(TraceOfThisFunction(10, 100000).empty());
}

TEST(StackTrace, DelimitersStandBetweenTheFrames)
{
    const std::string text = Described(TraceOfThisFunction(3, 2));
    EXPECT_EQ(2, std::count(text.begin(), text.end(), '|')) << text;
    EXPECT_NE('|', text.back());
}

TEST(StackTrace, AnAddressWithoutAFunctionIsShownAsSuch)
{
    EXPECT_EQ("??? <0x1f>", Described({0x1f}));
    std::string name = "kept";
    EXPECT_FALSE(StackFrameFunctionName(0x1f, name));
    EXPECT_EQ("kept", name);
}

template <int... kNumbers>
struct Numbers
{
    [[gnu::noinline]] static StackTrace Trace()
    {
        StackTrace trace = TraceOfThisFunction(2, 2);
        trace.shrink_to_fit();
        return trace;
    }
};

template <int... kNumbers>
Numbers<kNumbers...> MakeNumbers(std::integer_sequence<int, kNumbers...>);

TEST(StackTrace, LongNamesAreCut)
{
    // Some 700 characters.
    const StackTrace trace = decltype(MakeNumbers(std::make_integer_sequence<int, 160>()))::Trace();
    bool seen = false;
    for (const std::uintptr_t address : trace)
    {
        std::string name;
        ASSERT_TRUE(StackFrameFunctionName(address, name));
        EXPECT_LE(name.size(), kMaxFunctionNameBytes);
        seen = seen || name.size() == kMaxFunctionNameBytes;
    }
    EXPECT_TRUE(seen);
}

TEST(StackTrace, ThreadsMayTakeAndDescribeTheirsAtTheSameTime)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            []
            {
                for (int round = 0; round < 50; ++round)
                    EXPECT_THAT(Described(TraceOfThisFunction(2, 2)),
                                HasSubstr("TraceOfThisFunction"));
            });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
