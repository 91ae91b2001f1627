// Events: gathering, merging, switching off, clearing.
#include <boost/make_shared.hpp>

#include "ErrorReportFixture.h"

using namespace Testing;
using testing::ElementsAre;

namespace
{

using Record = RK::ErrorReport::ErrorEventRecord;
using RecordPtr = RK::ErrorReport::ErrorEventRecordPtr;

using ErrorReport = ErrorReportFixture;

std::string TextOf(const RecordPtr& inRecord, const std::string& inKey)
{
    return Narrow(
        boost::get<qelcore::UTF16String>(inRecord->mProperties.at(qelcore::ToUTF8String(inKey))));
}

TEST_F(ErrorReport, ThereIsOneForTheProcess)
{
    EXPECT_EQ(mReport, RK::ErrorReport::Get());
}

TEST_F(ErrorReport, OfTwoEventsTheFirstNamesTheErrorAndBothFillTheProperties)
{
    Report("First", "It broke.", Properties().Text("exporter", "E1"));
    Report("Second", "So did that.", Properties().Text("exporter", "E2").Text("importer", "I2"));
    qelcore::UTF16String title;
    qelcore::UTF16String description;
    ASSERT_TRUE(mReport->Summarize(title, description));
    EXPECT_EQ("First", Narrow(title));
    EXPECT_EQ("It broke.\n\nWriting with exporter: E1\nReading with importer: I2",
              Narrow(description));
}

TEST_F(ErrorReport, AnEmptyKeyReachesNoMerge)
{
    Report("t", "d", Properties().Text("", "nameless").Text("a", "A"));
    const RecordPtr merged = mReport->MergeReports();
    EXPECT_EQ(1u, merged->mProperties.size());
    EXPECT_EQ("A", TextOf(merged, "a"));
}

TEST_F(ErrorReport, WithoutEventsThereIsNoMergeAndNoSummary)
{
    EXPECT_TRUE(mReport->Empty());
    EXPECT_EQ(nullptr, mReport->MergeReports());
    qelcore::UTF16String title = u"kept?";
    qelcore::UTF16String description = u"kept?";
    EXPECT_FALSE(mReport->Summarize(title, description));
    EXPECT_TRUE(title.empty());
    EXPECT_TRUE(description.empty());
}

TEST_F(ErrorReport, AMergeIsKeptUntilTheNextEventAndThenMadeAnewWithANewNumber)
{
    Report("t", "d");
    const RecordPtr merged = mReport->MergeReports();
    EXPECT_EQ(merged, mReport->MergeReports());
    Report("u", "e");
    const RecordPtr again = mReport->MergeReports();
    EXPECT_NE(merged, again);
    // The merge and the event have taken a number each.
    EXPECT_EQ(merged->mEventNumber + 2, again->mEventNumber);
}

TEST_F(ErrorReport, ADisabledOneDropsAndCountsEvents)
{
    mReport->Disable();
    EXPECT_FALSE(mReport->IsEnabled());
    Report("t", "d");
    Report("t", "d");
    EXPECT_TRUE(mReport->Empty());
    EXPECT_EQ(2u, mReport->DroppedCount());
    mReport->Enable();
    EXPECT_TRUE(mReport->IsEnabled());
    Report("t", "d");
    EXPECT_FALSE(mReport->Empty());
    EXPECT_EQ(2u, mReport->DroppedCount());
}

TEST_F(ErrorReport, TheSettingDisablesItAtOnceAndDropsAndCounts)
{
    EXPECT_TRUE(mReport->IsEnabled());
    Setting("ErrorReport.Disable", "true");
    EXPECT_FALSE(mReport->IsEnabled());
    Report("t", "d");
    EXPECT_TRUE(mReport->Empty());
    EXPECT_EQ(1u, mReport->DroppedCount());
    Setting("ErrorReport.Disable", "false");
    EXPECT_TRUE(mReport->IsEnabled());
}

TEST_F(ErrorReport, EnablingDoesNotOverruleTheSetting)
{
    Setting("ErrorReport.Disable", "true");
    mReport->Enable();
    EXPECT_FALSE(mReport->IsEnabled());
}

TEST_F(ErrorReport, ClearingForgetsEventsAndDropsAndNotWhetherItIsDisabled)
{
    Report("t", "d");
    mReport->MergeReports();
    mReport->Disable();
    Report("t", "d");
    mReport->Clear();
    EXPECT_TRUE(mReport->Empty());
    EXPECT_EQ(nullptr, mReport->MergeReports());
    EXPECT_EQ(0u, mReport->DroppedCount());
    EXPECT_FALSE(mReport->IsEnabled());
}

TEST_F(ErrorReport, ClearingLetsNumbersGoOn)
{
    Report("t", "d");
    const std::int64_t before = mReport->MergeReports()->mEventNumber;
    mReport->Clear();
    Report("t", "d");
    EXPECT_EQ(before + 2, mReport->MergeReports()->mEventNumber);
}

TEST_F(ErrorReport, AMergedRecordStaysAsItIsAfterTheReportIsCleared)
{
    Report("t", "d", Properties().Text("a", "A"));
    const RecordPtr merged = mReport->MergeReports();
    mReport->Clear();
    EXPECT_EQ("t", Narrow(merged->mTitle));
    EXPECT_EQ("A", TextOf(merged, "a"));
}

TEST(ErrorEventRecord, KeysAreOrderedByTheirBytesAsUnsignedOnes)
{
    const RK::ErrorPropertySet set =
        Properties().Flag("\xC3\xA9", true).Flag("z", true).Flag("Z", true);
    std::vector<std::string> keys;
    for (const auto& property : set)
        keys.push_back(qelcore::ToNarrowString(property.first));
    EXPECT_THAT(keys, ElementsAre("Z", "z", "\xC3\xA9"));
}

TEST(ErrorEventRecord, NumbersOrderRecordsAndMovesTakeThemOver)
{
    Record first(u"1", u"", {});
    Record second(u"2", u"", {});
    EXPECT_TRUE(first < second);
    EXPECT_FALSE(second < first);
    const std::int64_t number = second.mEventNumber;
    first = std::move(second);
    EXPECT_EQ(number, first.mEventNumber);
    EXPECT_EQ(u"2", first.mTitle);
}

// A report of the test's own, that takes events in any order.
class OpenReport : public RK::ErrorReport
{
public:
    using ErrorReport::Add;
    const std::vector<RecordPtr>& Events() const RK_NO_THREAD_SAFETY_ANALYSIS { return mEvents; }
    RecordPtr FirstEvent() const RK_NO_THREAD_SAFETY_ANALYSIS { return mFirstEvent; }
};

RecordPtr MakeRecord(const std::string& inTitle)
{
    return boost::make_shared<Record>(Wide(inTitle), Wide("of " + inTitle),
                                      Properties().Text("exporter", inTitle));
}

TEST(ErrorReportOrder, EventsThatOvertookEachOtherAreMergedByTheirNumbers)
{
    const RecordPtr one = MakeRecord("one");
    const RecordPtr two = MakeRecord("two");
    OpenReport report;
    report.Add(two, nullptr);
    EXPECT_EQ(two, report.FirstEvent());
    report.Add(one, nullptr);
    EXPECT_EQ(one, report.FirstEvent());
    const RecordPtr merged = report.MergeReports();
    EXPECT_EQ("one", Narrow(merged->mTitle));
    EXPECT_EQ("of one", Narrow(merged->mDescription));
    EXPECT_EQ("one", TextOf(merged, "exporter"));
}

TEST(ErrorReportOrder, SortingMovesContentsAndLeavesTheRecordsInTheirPlaces)
{
    const RecordPtr one = MakeRecord("one");
    const RecordPtr two = MakeRecord("two");
    const RecordPtr three = MakeRecord("three");
    const std::int64_t number = one->mEventNumber;
    OpenReport report;
    for (const RecordPtr& record : {three, one, two})
        report.Add(record, nullptr);
    report.MergeReports();
    EXPECT_THAT(report.Events(), ElementsAre(three, one, two));
    EXPECT_EQ("one", Narrow(three->mTitle));
    EXPECT_EQ(number, three->mEventNumber);
    EXPECT_EQ("two", Narrow(one->mTitle));
    EXPECT_EQ("three", Narrow(two->mTitle));
    // The first event is where it was, and holds a later one now.
    EXPECT_EQ(one, report.FirstEvent());
}

} // namespace
