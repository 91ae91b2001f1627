// The summary's table and its texts, with and without a string table.
#include "ErrorReportFixture.h"

using namespace Testing;

namespace
{

using ErrorReportSummary = ErrorReportFixture;
using ErrorReportLocalize = ErrorReportFixture;

TEST_F(ErrorReportSummary, ShowsEveryRowInItsOrderWithItsText)
{
    Report("t", "Description.",
           Properties()
               .Text("exporter", "E")
               .Text("outputFilePath", "/o/p.mov")
               .Text("outputFileType", "MOV")
               .Text("timecode", "01:00:00:00")
               .Number("renderPass", 1)
               .Number("renderPassMax", 2)
               .Text("importer", "I")
               .Text("inputFilePath", "/i/p.dpx")
               .Text("inputFileType", "DPX")
               .Real("importOffsetSeconds", 2.5)
               .Text("effect", "Blur")
               .Real("effectOffsetSeconds", 0.25)
               .Number("frameNumber", -7)
               .Number("sampleNumber", 9223372036854775807)
               .Text("componentName", "C")
               .Text("componentType", "T")
               .Number("componentSelector", 12)
               .Text("exception", "X")
               .Number("errorCode", -9223372036854775807 - 1));
    EXPECT_EQ("Description.\n"
              "\nWriting with exporter: E"
              "\nWriting to file: /o/p.mov"
              "\nWriting file type: MOV"
              "\nAround timecode: 01:00:00:00"
              "\nOn render pass: 1 of 2"
              "\nReading with importer: I"
              "\nReading from file: /i/p.dpx"
              "\nReading file type: DPX"
              "\nReading media at offset: 2.5 seconds"
              "\nRendering effect: Blur"
              "\nRendering at offset: 0.25 seconds"
              "\nAt frame number: -7"
              "\nAt sample number: 9223372036854775807"
              "\nComponent: C of type T"
              "\nSelector: 12"
              "\nException: X"
              "\nError code: -9223372036854775808",
              Summary());
}

TEST_F(ErrorReportSummary, LeavesOutWhatIsOfAnotherAlternative)
{
    Report("t", "d",
           Properties()
               .Real("frameNumber", 3)
               .Number("exporter", 3)
               .Flag("importer", true)
               .Number("importOffsetSeconds", 3)
               .Text("errorCode", "3")
               .Number("sampleNumber", 4));
    EXPECT_EQ("d\n\nAt sample number: 4", Summary());
}

TEST_F(ErrorReportSummary, LeavesOutWhatTheTableDoesNotName)
{
    Report("t", "d", Properties().Text("colour", "red"));
    EXPECT_EQ("d\n", Summary());
}

TEST_F(ErrorReportSummary, SecondsHaveOneToThreeDecimals)
{
    const std::pair<double, const char*> cases[] = {
        {2, "2.0"}, {2.5, "2.5"}, {2.0625, "2.062"}, {-1.25, "-1.25"}, {1e300, "1e+300"}};
    for (const auto& [value, text] : cases)
    {
        mReport->Clear();
        Report("t", "d", Properties().Real("importOffsetSeconds", value));
        EXPECT_EQ("d\n\nReading media at offset: " + std::string(text) + " seconds", Summary());
    }
}

TEST_F(ErrorReportSummary, ATextThatIsALiteralShowsItsDefault)
{
    Report("t", "d", Properties().Text("effect", "$$$/Effects/Blur=Gaussian = soft"));
    EXPECT_EQ("d\n\nRendering effect: Gaussian = soft", Summary());
}

TEST_F(ErrorReportSummary, ATextWithAnEqualsSignThatIsNoLiteralStays)
{
    Report("t", "d", Properties().Text("effect", "$$/a=b"));
    EXPECT_EQ("d\n\nRendering effect: $$/a=b", Summary());
}

TEST_F(ErrorReportSummary, AStringTableGivesLabelsValuesAndTheUnit)
{
    ASSERT_EQ(qelcore::kResult_OK, qelcore::config::Localizer::Get().LoadTable(
                                       "\"$$$/ErrorEvent/Effect\"=\"\\nEffekt: \"\n"
                                       "\"$$$/ErrorEvent/RenderOffsetS\"=\"\\nbei \"\n"
                                       "\"$$$/ErrorEvent/Seconds\"=\" Sekunden\"\n"
                                       "\"$$$/Effects/Blur\"=\"Weichzeichner \xC3\xA4\"\n"));
    Report("t", "d",
           Properties()
               .Text("effect", "$$$/Effects/Blur=Blur")
               .Real("effectOffsetSeconds", 1.5)
               .Number("frameNumber", 2));
    EXPECT_EQ("d\n\nEffekt: Weichzeichner \xC3\xA4\nbei 1.5 Sekunden\nAt frame number: 2",
              Summary());
}

TEST_F(ErrorReportLocalize, WithoutATableTheTextBehindTheFirstEqualsSignStands)
{
    EXPECT_EQ("b=c", Narrow(RK::ErrorReport::Localize("$$$/a=b=c")));
    EXPECT_EQ("", Narrow(RK::ErrorReport::Localize("$$$/a=")));
    EXPECT_EQ("no literal", Narrow(RK::ErrorReport::Localize("no literal")));
    EXPECT_EQ("", Narrow(RK::ErrorReport::Localize("")));
}

TEST_F(ErrorReportLocalize, WithoutATableEachByteBecomesAUnit)
{
    EXPECT_EQ(u"\u00C3\u00A4", RK::ErrorReport::Localize("$$$/a=\xC3\xA4"));
}

} // namespace
