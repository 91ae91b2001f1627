#include "qelcore/Contract.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/ForgivingErrors.h"
#include "Support/TraceCapture.h"
#include "qelcore/ErrorManager.h"

namespace
{

using qelcore::debug::BreakKind;
using qelcore::debug::FailedCondition;
using testing::ElementsAre;
using testing::HasSubstr;

const char kKey[] = "$$$/qelcore/utility/Error/Contract/InputContractViolation=An input contract "
                    "violation has occurred!";

class ContractTest : public testing::Test
{
protected:
    struct Seen
    {
        BreakKind kind;
        std::string condition;
        std::string path;
        std::string signature;
        int line;
    };
    void SetUp() override
    {
        testing::internal::CaptureStderr(); // a debug build speaks there
        qelcore::debug::SetBreakObserver(
            [this](const FailedCondition& inFailed)
            {
                mSeen.push_back({inFailed.kind, inFailed.condition, inFailed.path,
                                 inFailed.signature, inFailed.line});
            });
    }
    void TearDown() override
    {
        qelcore::debug::SetBreakObserver(qelcore::debug::BreakObserver());
        if (!mErrorRead)
            testing::internal::GetCapturedStderr();
    }
    std::string StandardError()
    {
        mErrorRead = true;
        return testing::internal::GetCapturedStderr();
    }
    std::vector<Seen> mSeen;
    bool mErrorRead = false;
};

void RequirePositive(int inNumber)
{
    RK_REQUIRE_CONTRACT(inNumber > 0, "inNumber > 0", "Src/Sample");
}

TEST_F(ContractTest, AConditionThatHoldsIsNotReported)
{
    RequirePositive(1);
    EXPECT_TRUE(mSeen.empty());
}

TEST_F(ContractTest, AViolationTellsConditionPathSignatureAndLine)
{
    EXPECT_THROW(RequirePositive(0), qelcore::config::Error);

    ASSERT_EQ(1u, mSeen.size());
    EXPECT_EQ(BreakKind::kContract, mSeen[0].kind);
    EXPECT_EQ("inNumber > 0", mSeen[0].condition);
    EXPECT_EQ("Src/Sample", mSeen[0].path);
    EXPECT_THAT(mSeen[0].signature, HasSubstr("RequirePositive(int)"));
    EXPECT_LT(0, mSeen[0].line);
}

TEST_F(ContractTest, AViolationThenRaisesTheErrorOfItsKey)
{
    try
    {
        RequirePositive(0);
        FAIL() << "nothing was raised";
    }
    catch (const qelcore::config::Error& error)
    {
        EXPECT_EQ(1u, mSeen.size()) << "the first step comes first";
        EXPECT_EQ(kKey, error.Key());
        EXPECT_STREQ("An input contract violation has occurred!", error.what());
    }
}

int PositiveOr(int inNumber)
{
    RK_CHECK_CONTRACT(inNumber > 0, "inNumber > 0", "Src/Sample");
    return inNumber;
}

TEST_F(ContractTest, AViolationOfWhatHasAnAnswerIsRaisedAsWell)
{
    EXPECT_EQ(1, PositiveOr(1));
    EXPECT_THROW(PositiveOr(0), qelcore::config::Error);
    EXPECT_EQ(1u, mSeen.size());
}

TEST_F(ContractTest, WhatHasAnAnswerGoesOnWhereTheErrorManagerReturnsAndNothingElseDoes)
{
    const Testing::ForgivingErrors forgiving;
    EXPECT_EQ(-7, PositiveOr(-7));
    ASSERT_EQ(1u, mSeen.size());
    EXPECT_EQ("inNumber > 0", mSeen[0].condition);
    EXPECT_THAT(mSeen[0].signature, HasSubstr("PositiveOr(int)"));
    EXPECT_THROW(RequirePositive(-7), qelcore::config::Error);
}

TEST_F(ContractTest, AnAssertionIsReportedAndRaisesNothing)
{
    qelcore::debug::BreakAfterAssertDialog("freeSpace>0", "Src/Sample", "void Sample()", 12);

    ASSERT_EQ(1u, mSeen.size());
    EXPECT_EQ(BreakKind::kAssert, mSeen[0].kind);
    EXPECT_EQ("freeSpace>0", mSeen[0].condition);
    EXPECT_EQ(12, mSeen[0].line);
}

TEST_F(ContractTest, AFailedConditionIsTracedInEveryBuild)
{
    Testing::TraceCapture contracts("Contract");
    qelcore::debug::BreakAfterContractDialog("a > b", "Src/Sample", "void Sample()", 12);
    EXPECT_THAT(contracts.Texts(),
                ElementsAre("Contract failed: \"a > b\" in void Sample(), Src/Sample:12"));

    Testing::TraceCapture asserts("Assert");
    qelcore::debug::BreakAfterAssertDialog("a > b", "Src/Sample", "void Sample()", 12);
    EXPECT_THAT(asserts.Texts(),
                ElementsAre("Assert failed: \"a > b\" in void Sample(), Src/Sample:12"));
}

TEST_F(ContractTest, ADebugBuildAloneSpeaksOnStandardError)
{
    qelcore::debug::BreakAfterContractDialog("a > b", "Src/Sample", "void Sample()", 12);
#ifdef NDEBUG
    EXPECT_EQ("", StandardError());
#else
    EXPECT_EQ("Contract failed: \"a > b\" in void Sample(), Src/Sample:12\n", StandardError());
#endif
}

TEST_F(ContractTest, MissingTextsDoNoHarm)
{
    qelcore::debug::SetBreakObserver(qelcore::debug::BreakObserver());
    EXPECT_NO_THROW(qelcore::debug::BreakAfterContractDialog(nullptr, nullptr, nullptr, 0));
}

TEST_F(ContractTest, NothingAsksForADebuggerThatIsNotThere)
{
    if (qelcore::debug::IsDebuggerAttached())
        GTEST_SKIP() << "a debugger is attached";
    EXPECT_FALSE(qelcore::debug::BreakAfterContractDialog("a", "b", "c", 1));
    EXPECT_FALSE(qelcore::debug::BreakAfterAssertDialog("a", "b", "c", 1));
}

TEST_F(ContractTest, WhatAnObserverRaisesDoesNotTakeThePlaceOfTheError)
{
    qelcore::debug::SetBreakObserver([](const FailedCondition&)
                                     { throw std::runtime_error("observer"); });
    EXPECT_THROW(RequirePositive(0), qelcore::config::Error);
}

} // namespace
