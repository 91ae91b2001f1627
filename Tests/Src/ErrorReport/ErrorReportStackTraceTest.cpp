// The stack trace of the first event; runs against the release build too, where names must be found as well.
#include <sstream>

#include "ErrorReportFixture.h"
#include "Support/TraceCapture.h"

using namespace Testing;
using testing::HasSubstr;

namespace
{

class ErrorReportStackTrace : public ErrorReportFixture
{
protected:
    // Not inlined, and with something to do behind the call, so that each has a frame.
    [[gnu::noinline]] void ReportFromAFunctionOfItsOwn(const std::string& inTitle)
    {
        Report(inTitle, "d");
        mDepth = 1;
    }
    std::string LoggedTrace()
    {
        const TraceCapture trace("RK::ErrorReport", 1);
        mReport->Log();
        const std::string key = " * stackTrace=";
        for (const std::string& text : trace.Texts())
        {
            if (text.compare(0, key.size(), key) == 0)
                return text.substr(key.size());
        }
        return "none";
    }
    volatile int mDepth = 0;
};

[[gnu::noinline]] void ReportStraight(RK::ErrorReport& ioReport, volatile int& outDone)
{
    ioReport.Report(u"t", u"d", {});
    outDone = 1;
}

TEST_F(ErrorReportStackTrace, BeginsWithWhoReportedAndNamesHiddenFunctions)
{
    Setting("ErrorReport.StackTrace", "true");
    ReportStraight(*mReport, mDepth);
    const std::string trace = LoggedTrace();
    const std::string first = trace.substr(0, trace.find('\n'));
    EXPECT_THAT(first, HasSubstr("ReportStraight(RK::ErrorReport&")) << trace;
}

TEST_F(ErrorReportStackTrace, HasTenFramesAtTheMostOneALine)
{
    Setting("ErrorReport.StackTrace", "true");
    ReportStraight(*mReport, mDepth);
    const std::string trace = LoggedTrace();
    const auto ends = std::count(trace.begin(), trace.end(), '\n');
    EXPECT_GE(ends, 2) << trace;
    EXPECT_LE(ends, 9) << trace;
    EXPECT_NE('\n', trace.back());
}

TEST_F(ErrorReportStackTrace, IsThatOfTheFirstEventOnly)
{
    Setting("ErrorReport.StackTrace", "true");
    ReportFromAFunctionOfItsOwn("first");
    ReportStraight(*mReport, mDepth);
    EXPECT_THAT(LoggedTrace(), HasSubstr("ReportFromAFunctionOfItsOwn"));
}

TEST_F(ErrorReportStackTrace, IsNotTakenUnlessAskedFor)
{
    ReportStraight(*mReport, mDepth);
    EXPECT_EQ("none", LoggedTrace());
}

TEST_F(ErrorReportStackTrace, IsForgottenWithTheReport)
{
    Setting("ErrorReport.StackTrace", "true");
    ReportStraight(*mReport, mDepth);
    mReport->Clear();
    Setting("ErrorReport.StackTrace", "false");
    ReportStraight(*mReport, mDepth);
    EXPECT_EQ("none", LoggedTrace());
}

} // namespace
