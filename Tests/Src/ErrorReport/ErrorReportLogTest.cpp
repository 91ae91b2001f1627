// What goes to the trace.
#include "ErrorReportFixture.h"
#include "Support/TraceCapture.h"

using namespace Testing;
using testing::ElementsAre;
using testing::MatchesRegex;

namespace
{

constexpr const char* kCategory = "RK::ErrorReport";

using ErrorReportLog = ErrorReportFixture;

TEST_F(ErrorReportLog, HasALineForEachItemInItsOrder)
{
    const TraceCapture trace(kCategory, 1);
    Report("T", "D",
           Properties()
               .Text("effect", "Blur")
               .Number("b", -3)
               .Real("a", 2)
               .Flag("yes", true)
               .Flag("no", false)
               .Text("", "nameless"));
    mReport->Log();
    EXPECT_THAT(trace.Texts(),
                ElementsAre("Summary:", " * errorTitle=T", " * errorDescription=D", " * a=2.0",
                            " * b=-3", " * effect=Blur", " * no=FALSE", " * yes=TRUE"));
}

TEST_F(ErrorReportLog, EachLineNamesThreadCategoryAndLevel)
{
    const TraceCapture trace(kCategory, 1);
    Report("T", "D");
    mReport->Log();
    ASSERT_EQ(3u, trace.Lines().size());
    for (const std::string& line : trace.Lines())
        EXPECT_THAT(line, MatchesRegex("<[0-9]+> <RK::ErrorReport> <1> .*\n"));
}

TEST_F(ErrorReportLog, PrintsWhatTheSummaryLeavesOut)
{
    const TraceCapture trace(kCategory, 1);
    Report("T", "D", Properties().Real("frameNumber", 3.5));
    EXPECT_EQ("D\n", Summary());
    mReport->Log();
    EXPECT_EQ(1u, trace.Count(" * frameNumber=3.5"));
}

TEST_F(ErrorReportLog, ShowsNoFoldersOfPaths)
{
    const TraceCapture trace(kCategory, 1);
    Report("T", "D",
           Properties()
               .Text("outputFilePath", "/home/somebody/secret.mov")
               .Text("theFilePathOfIt", "/x/y")
               .Text("inputFilePath", "/ends/with/slash/")
               .Text("inputFileType", "/a/b"));
    mReport->Log();
    EXPECT_EQ(1u, trace.Count(" * outputFilePath=secret.mov"));
    EXPECT_EQ(1u, trace.Count(" * theFilePathOfIt=y"));
    EXPECT_EQ(1u, trace.Count(" * inputFilePath=/ends/with/slash/")); // has no file part
    EXPECT_EQ(1u, trace.Count(" * inputFileType=/a/b"));
}

TEST_F(ErrorReportLog, OfAnEmptyReportIsSilent)
{
    const TraceCapture trace(kCategory, 1);
    mReport->Log();
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(ErrorReportLog, BelowItsLevelIsSilent)
{
    const TraceCapture trace(kCategory, 0);
    Report("T", "D", Properties().Text("a", "b"));
    mReport->Log();
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(ErrorReportLog, WritesTextAsUTF8)
{
    const TraceCapture trace(kCategory, 1);
    Report("\xC3\xA4", "\xF0\x9F\x98\x80", Properties().Text("a", "\xE2\x82\xAC"));
    mReport->Log();
    EXPECT_EQ(1u, trace.Count(" * errorTitle=\xC3\xA4"));
    EXPECT_EQ(1u, trace.Count(" * errorDescription=\xF0\x9F\x98\x80"));
    EXPECT_EQ(1u, trace.Count(" * a=\xE2\x82\xAC"));
}

} // namespace
